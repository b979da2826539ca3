// Hostile and careless clients of a running pshost, speaking raw ONC RPC on
// its UDP and TCP ports: malformed datagrams and records get the library's
// error replies or are dropped, a client stalled in the middle of a record
// and a hundred idle connections keep no other client from an answer, and
// the host still stops cleanly on SIGTERM.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <rpc/rpc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "E2eSupport.h"

namespace {

const uint32_t kProgram = 0x2000000d, kVersion = 1, kNullProc = 0, kAddStaticProc = 7;
const uint32_t kLastFragment = 0x80000000u;
// Bounds a lost reply. Far above any answer time, yet below what the
// library waits for a stalled record when it reads connections blocking.
const struct timeval kReplyLimit = {20, 0};

typedef std::vector<uint8_t> Bytes;

void put(Bytes& out, uint32_t word) {
  const uint32_t net = htonl(word);
  const uint8_t* raw = reinterpret_cast<const uint8_t*>(&net);
  out.insert(out.end(), raw, raw + 4);
}

uint32_t wordAt(const Bytes& in, size_t index) {
  uint32_t net = 0;
  if ((index + 1) * 4 <= in.size()) std::memcpy(&net, &in[index * 4], 4);
  return ntohl(net);
}

// A call message with null credentials, then `body` words.
Bytes call(uint32_t xid, uint32_t program, uint32_t version, uint32_t procedure,
           const std::vector<uint32_t>& body = {}) {
  Bytes out;
  for (uint32_t word : {xid, 0u, 2u, program, version, procedure, 0u, 0u, 0u, 0u}) put(out, word);
  for (uint32_t word : body) put(out, word);
  return out;
}

Bytes cut(Bytes bytes, size_t length) {
  bytes.resize(length);
  return bytes;
}

// The accept status of an accepted reply to `xid`, followed by its
// remaining words; empty when `reply` is something else.
std::vector<uint32_t> accepted(const Bytes& reply, uint32_t xid) {
  if (reply.size() < 24 || wordAt(reply, 0) != xid || wordAt(reply, 1) != 1 ||
      wordAt(reply, 2) != 0)
    return {};
  std::vector<uint32_t> out;
  for (size_t i = 5 + (wordAt(reply, 4) + 3) / 4; i < reply.size() / 4; ++i)
    out.push_back(wordAt(reply, i));
  return out;
}

const std::vector<uint32_t> kSuccess = {0}, kProgUnavail = {1}, kProgMismatch = {2, 1, 1},
                            kProcUnavail = {3}, kGarbageArgs = {4};

int openSocket(int type, uint16_t port) {
  const int fd = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kReplyLimit, sizeof kReplyLimit);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    ADD_FAILURE() << "cannot connect to port " << port;
  }
  return fd;
}

void sendAll(int fd, const Bytes& bytes) {
  ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
            ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

// `record` as one last fragment.
Bytes framed(const Bytes& record) {
  Bytes out;
  put(out, kLastFragment | static_cast<uint32_t>(record.size()));
  out.insert(out.end(), record.begin(), record.end());
  return out;
}

bool receiveAll(int fd, uint8_t* into, size_t length) {
  for (size_t at = 0; at < length;) {
    const ssize_t n = ::recv(fd, into + at, length - at, 0);
    if (n <= 0) return false;
    at += static_cast<size_t>(n);
  }
  return true;
}

// One reply record from a stream; empty when the connection ended or timed out.
Bytes receiveRecord(int fd) {
  uint8_t mark[4];
  if (!receiveAll(fd, mark, sizeof mark)) return {};
  Bytes record((mark[1] << 16) | (mark[2] << 8) | mark[3]);
  if (!receiveAll(fd, record.data(), record.size())) return {};
  return record;
}

// True when the server closed the connection (not when it timed out).
bool closedByServer(int fd) {
  uint8_t byte;
  const ssize_t n = ::recv(fd, &byte, 1, 0);
  return n == 0 || (n < 0 && errno == ECONNRESET);
}

class HostileClientsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host.emplace(dir.write("node.json", e2e::kTestNode));
    ASSERT_TRUE(host->ready());
    sockaddr_in mapper = {};
    mapper.sin_family = AF_INET;
    mapper.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    udpPort = pmap_getport(&mapper, kProgram, kVersion, IPPROTO_UDP);
    tcpPort = pmap_getport(&mapper, kProgram, kVersion, IPPROTO_TCP);
    ASSERT_NE(0, udpPort);
    ASSERT_NE(0, tcpPort);
  }

  // A datagram call and the first reply that comes back on its socket.
  Bytes overUdp(int fd, const Bytes& request) {
    sendAll(fd, request);
    Bytes reply(UDPMSGSIZE);
    const ssize_t n = ::recv(fd, reply.data(), reply.size(), 0);
    reply.resize(n < 0 ? 0 : static_cast<size_t>(n));
    return reply;
  }

  Bytes overTcp(int fd, const Bytes& request) {
    sendAll(fd, framed(request));
    return receiveRecord(fd);
  }

  e2e::TempDir dir;
  std::optional<e2e::Pshost> host;
  uint16_t udpPort = 0, tcpPort = 0;
};

TEST_F(HostileClientsTest, MalformedRequestsGetTheLibraryRepliesOrAreDropped) {
  const int udp = openSocket(SOCK_DGRAM, udpPort);
  // Datagrams that cannot be a call are dropped: the next reply on the
  // socket belongs to the call after them.
  const Bytes tooLong = call(1, kProgram, kVersion, kNullProc, std::vector<uint32_t>(2500, 0));
  Bytes reply = call(2, kProgram, kVersion, kNullProc);
  reply[7] = 1;  // a reply, not a call
  for (const Bytes& dropped : {Bytes{}, Bytes{1, 2, 3}, cut(call(3, kProgram, kVersion, 0), 20),
                               cut(call(4, kProgram, kVersion, 0), 39), tooLong, reply})
    sendAll(udp, dropped);
  // The library's error replies, the same on both transports.
  struct Refused {
    uint32_t program, version, procedure;
    std::vector<uint32_t> body, status;
  };
  const Refused refusals[] = {{kProgram + 1, kVersion, 0, {}, kProgUnavail},
                              {kProgram, 2, 0, {}, kProgMismatch},
                              {kProgram, kVersion, 19, {}, kProcUnavail},
                              {kProgram, kVersion, kAddStaticProc, {2}, kGarbageArgs}};
  const int tcp = openSocket(SOCK_STREAM, tcpPort);
  uint32_t xid = 10;
  for (const Refused& refused : refusals) {
    const Bytes request =
        call(++xid, refused.program, refused.version, refused.procedure, refused.body);
    EXPECT_EQ(refused.status, accepted(overUdp(udp, request), xid)) << "udp " << xid;
    EXPECT_EQ(refused.status, accepted(overTcp(tcp, request), xid)) << "tcp " << xid;
  }
  EXPECT_EQ(kSuccess, accepted(overUdp(udp, call(20, kProgram, kVersion, kNullProc)), 20));
  ::close(udp);
  ::close(tcp);

  // A record that cannot be a call ends its connection and only that one.
  Bytes headerless;
  put(headerless, kLastFragment | 12);
  headerless.resize(16, 0);
  Bytes oversize;
  put(oversize, 0x7fffffffu);
  put(oversize, 25);
  const Bytes marks[] = {framed(cut(call(30, kProgram, kVersion, 0), 20)), headerless,
                         Bytes{0, 0, 0, 0}, Bytes{0x80, 0, 0, 0}, oversize};
  for (const Bytes& bad : marks) {
    const int doomed = openSocket(SOCK_STREAM, tcpPort);
    sendAll(doomed, bad);
    EXPECT_TRUE(closedByServer(doomed)) << "record of " << bad.size() << " bytes";
    ::close(doomed);
  }
  const int after = openSocket(SOCK_STREAM, tcpPort);
  EXPECT_EQ(kSuccess, accepted(overTcp(after, call(31, kProgram, kVersion, kNullProc)), 31));
  ::close(after);
}

TEST_F(HostileClientsTest, StalledAndIdleConnectionsKeepNoOtherClientWaiting) {
  std::vector<int> idle;
  for (int i = 0; i < 100; ++i) idle.push_back(openSocket(SOCK_STREAM, tcpPort));
  // Half a record, and then nothing.
  const int stalled = openSocket(SOCK_STREAM, tcpPort);
  const Bytes whole = framed(call(40, kProgram, kVersion, kNullProc));
  sendAll(stalled, cut(whole, 18));

  const int udp = openSocket(SOCK_DGRAM, udpPort);
  EXPECT_EQ(kSuccess, accepted(overUdp(udp, call(41, kProgram, kVersion, kNullProc)), 41));
  const int tcp = openSocket(SOCK_STREAM, tcpPort);
  EXPECT_EQ(kSuccess, accepted(overTcp(tcp, call(42, kProgram, kVersion, kNullProc)), 42));
  EXPECT_EQ(0, host->psctl({"--timeout", "20", "show"}).status);

  // The stalled client finishes its record and is answered.
  sendAll(stalled, Bytes(whole.begin() + 18, whole.end()));
  EXPECT_EQ(kSuccess, accepted(receiveRecord(stalled), 40));

  host.reset();  // SIGTERM with every connection still open; exit status 0
  for (int fd : idle) ::close(fd);
  for (int fd : {stalled, udp, tcp}) ::close(fd);
}

}  // namespace
