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

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "E2eSupport.h"

namespace {

typedef std::vector<uint8_t> Bytes;
typedef std::vector<uint32_t> Words;

const uint32_t kProgram = 0x2000000d, kVersion = 1, kNullProc = 0, kAddStaticProc = 7;
const uint32_t kLastFragment = 0x80000000u;
const Words kSuccess = {0}, kProgUnavail = {1}, kProgMismatch = {2, 1, 1}, kProcUnavail = {3},
            kGarbageArgs = {4};

Bytes bytes(const Words& words, Bytes tail = {}) {
  Bytes out(4 * words.size());
  for (size_t i = 0; i < words.size(); ++i) {
    const uint32_t net = htonl(words[i]);
    std::memcpy(&out[4 * i], &net, 4);
  }
  out.insert(out.end(), tail.begin(), tail.end());
  return out;
}

// A call message with null credentials, then `body` words.
Bytes call(uint32_t xid, uint32_t program, uint32_t version, uint32_t procedure,
           const Words& body = {}) {
  return bytes({xid, 0, 2, program, version, procedure, 0, 0, 0, 0}, bytes(body));
}

Bytes cut(Bytes bytes, size_t length) {
  bytes.resize(length);
  return bytes;
}

// `record` as one last fragment.
Bytes framed(const Bytes& record) {
  return bytes({kLastFragment | static_cast<uint32_t>(record.size())}, record);
}

// The accept status of an accepted reply to `xid`, followed by its
// remaining words; empty when `reply` is something else.
Words accepted(const Bytes& reply, uint32_t xid) {
  Words w(reply.size() / 4);
  std::memcpy(w.data(), reply.data(), 4 * w.size());
  for (uint32_t& word : w) word = ntohl(word);
  if (w.size() < 6 || w[0] != xid || w[1] != 1 || w[2] != 0) return {};
  const size_t status = 5 + (size_t{w[4]} + 3) / 4;  // after the verifier
  return status <= w.size() ? Words(w.begin() + status, w.end()) : Words();
}

// A loopback socket connected to `port`, closed on destruction.
class Socket {
 public:
  Socket(int type, uint16_t port) : stream(type == SOCK_STREAM) {
    fd = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
    // Bounds a lost reply. Far above any answer time, yet below what the
    // library waits for a stalled record when it reads connections blocking.
    const timeval limit = {20, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      ADD_FAILURE() << "cannot connect to port " << port;
  }
  Socket(const Socket&) = delete;
  ~Socket() { ::close(fd); }

  void send(const Bytes& bytes) {
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
              ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
  }
  // The next datagram, or the next record of a stream; empty when none came.
  Bytes receive() {
    if (!stream) return take(UDPMSGSIZE, 0);
    const Bytes mark = take(4, MSG_WAITALL);
    return mark.size() < 4 ? Bytes()
                           : take((mark[1] << 16) | (mark[2] << 8) | mark[3], MSG_WAITALL);
  }
  // A call message, framed on a stream, and the reply that comes back.
  Bytes ask(const Bytes& message) {
    send(stream ? framed(message) : message);
    return receive();
  }
  // True when the server closed the connection (not when it timed out).
  bool closedByServer() {
    uint8_t byte;
    const ssize_t n = ::recv(fd, &byte, 1, 0);
    return n == 0 || (n < 0 && errno == ECONNRESET);
  }

 private:
  Bytes take(size_t most, int flags) {
    Bytes in(most);
    in.resize(std::max<ssize_t>(0, ::recv(fd, in.data(), most, flags)));
    return in;
  }

  bool stream;
  int fd;
};

class HostileClientsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(host->ready());
    sockaddr_in mapper = {};
    mapper.sin_family = AF_INET;
    mapper.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    udpPort = pmap_getport(&mapper, kProgram, kVersion, IPPROTO_UDP);
    tcpPort = pmap_getport(&mapper, kProgram, kVersion, IPPROTO_TCP);
    ASSERT_NE(0, udpPort);
    ASSERT_NE(0, tcpPort);
  }

  std::optional<e2e::Pshost> host{std::in_place, e2e::kTestNode};
  uint16_t udpPort = 0, tcpPort = 0;
};

TEST_F(HostileClientsTest, MalformedRequestsGetTheLibraryRepliesOrAreDropped) {
  Socket udp(SOCK_DGRAM, udpPort), tcp(SOCK_STREAM, tcpPort);
  // Datagrams that cannot be a call are dropped: the next reply on the
  // socket belongs to the call after them.
  Bytes reply = call(2, kProgram, kVersion, kNullProc);
  reply[7] = 1;  // a reply, not a call
  for (const Bytes& dropped : {Bytes{}, Bytes{1, 2, 3}, cut(call(3, kProgram, kVersion, 0), 20),
                               cut(call(4, kProgram, kVersion, 0), 39), reply})
    udp.send(dropped);
  // A datagram longer than the library's buffer (9000 bytes) is served from
  // its first bytes, as the library serves it.
  EXPECT_EQ(kSuccess, accepted(udp.ask(call(5, kProgram, kVersion, kNullProc, Words(2240))), 5));
  const Words state = accepted(udp.ask(call(6, kProgram, kVersion, 10, Words(2240))), 6);
  EXPECT_EQ((Words{0, 0, 0}), state);  // success, the state off, result 0
  // The library's error replies, the same on both transports.
  struct Refused {
    uint32_t program, version, procedure;
    Words body, status;
  };
  const Refused refusals[] = {{kProgram + 1, kVersion, 0, {}, kProgUnavail},
                              {kProgram, 2, 0, {}, kProgMismatch},
                              {kProgram, kVersion, 19, {}, kProcUnavail},
                              {kProgram, kVersion, kAddStaticProc, {2}, kGarbageArgs}};
  uint32_t xid = 10;
  for (const Refused& refused : refusals) {
    const Bytes request =
        call(++xid, refused.program, refused.version, refused.procedure, refused.body);
    EXPECT_EQ(refused.status, accepted(udp.ask(request), xid)) << "udp " << xid;
    EXPECT_EQ(refused.status, accepted(tcp.ask(request), xid)) << "tcp " << xid;
  }
  EXPECT_EQ(kSuccess, accepted(udp.ask(call(20, kProgram, kVersion, kNullProc)), 20));

  // A record that cannot be a call ends its connection and only that one.
  Bytes headerless = bytes({kLastFragment | 12});
  headerless.resize(16, 0);
  for (const Bytes& bad : {framed(cut(call(30, kProgram, kVersion, 0), 20)), headerless,
                           Bytes{0, 0, 0, 0}, Bytes{0x80, 0, 0, 0}, bytes({0x7fffffffu, 25})}) {
    Socket doomed(SOCK_STREAM, tcpPort);
    doomed.send(bad);
    EXPECT_TRUE(doomed.closedByServer()) << "record of " << bad.size() << " bytes";
  }
  Socket after(SOCK_STREAM, tcpPort);
  EXPECT_EQ(kSuccess, accepted(after.ask(call(31, kProgram, kVersion, kNullProc)), 31));
}

TEST_F(HostileClientsTest, StalledAndIdleConnectionsKeepNoOtherClientWaiting) {
  std::deque<Socket> idle;
  for (int i = 0; i < 100; ++i) idle.emplace_back(SOCK_STREAM, tcpPort);
  // Half a record, and then nothing.
  Socket stalled(SOCK_STREAM, tcpPort);
  const Bytes whole = framed(call(40, kProgram, kVersion, kNullProc));
  stalled.send(cut(whole, 18));

  Socket udp(SOCK_DGRAM, udpPort), tcp(SOCK_STREAM, tcpPort);
  EXPECT_EQ(kSuccess, accepted(udp.ask(call(41, kProgram, kVersion, kNullProc)), 41));
  EXPECT_EQ(kSuccess, accepted(tcp.ask(call(42, kProgram, kVersion, kNullProc)), 42));
  EXPECT_EQ(0, host->psctl({"--timeout", "20", "show"}).status);

  // The stalled client finishes its record and is answered.
  stalled.send(Bytes(whole.begin() + 18, whole.end()));
  EXPECT_EQ(kSuccess, accepted(stalled.receive(), 40));

  host.reset();  // SIGTERM with every connection still open; exit status 0
}

}  // namespace
