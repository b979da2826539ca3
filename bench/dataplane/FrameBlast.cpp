// ps_frame_blast: sends Ethernet frames into a network device through a raw
// packet socket, in batches of sendmmsg, and counts how many another device
// received. Built for bench/dataplane.sh, which sends into the peer of a veth
// whose other end is a bridge port, and counts at the peer of another port.
//
//   ps_frame_blast --dev ge1-peer --dst 02:d0:00:00:00:01 --src 02:b0:00:00:00:00
//                  [--sources K] (--frames N | --seconds S) [--batch B] [--count-at DEV]
//
// Frame i comes from source MAC src + (i mod K), so K = N sends every frame
// from a fresh address and a small K repeats addresses already learned. Prints
// one line of key=value pairs: frames sent, seconds, and the frames the
// --count-at device received meanwhile (its rx_packets, read through netlink).
#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "LinkInfo.h"

namespace {

const size_t kFrameSize = 60;  // the shortest Ethernet frame, without its FCS
// Local experimental 2: nothing on the way answers it, and the data plane
// does not take it for one of its probe frames (0x88b5).
const uint16_t kEtherType = 0x88b6;
const unsigned int kMaxBatch = 1024;

struct Options {
  std::string dev;
  std::string countAt;
  uint64_t dst = 0;
  uint64_t src = 0;
  uint64_t sources = 1;
  uint64_t frames = 0;
  double seconds = 0;
  unsigned int batch = 64;
};

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
}

uint64_t parseMac(const std::string& text) {
  unsigned int b[6];
  char extra;
  if (std::sscanf(text.c_str(), "%x:%x:%x:%x:%x:%x%c", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5],
                  &extra) != 6)
    throw std::runtime_error("not a MAC address: " + text);
  uint64_t mac = 0;
  for (unsigned int byte : b) mac = (mac << 8) | (byte & 0xff);
  return mac;
}

void writeMac(uint64_t mac, unsigned char* out) {
  for (int i = 5; i >= 0; --i, mac >>= 8) out[i] = static_cast<unsigned char>(mac & 0xff);
}

Options parseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string flag = argv[i];
    if (i + 1 >= argc) throw std::runtime_error(flag + " needs a value");
    const std::string value = argv[++i];
    if (flag == "--dev")
      options.dev = value;
    else if (flag == "--count-at")
      options.countAt = value;
    else if (flag == "--dst")
      options.dst = parseMac(value);
    else if (flag == "--src")
      options.src = parseMac(value);
    else if (flag == "--sources")
      options.sources = std::stoull(value);
    else if (flag == "--frames")
      options.frames = std::stoull(value);
    else if (flag == "--seconds")
      options.seconds = std::stod(value);
    else if (flag == "--batch")
      options.batch = static_cast<unsigned int>(std::stoul(value));
    else
      throw std::runtime_error("unknown option " + flag);
  }
  if (options.dev.empty() || options.dst == 0 || options.src == 0)
    throw std::runtime_error("--dev, --dst and --src are required");
  if ((options.frames == 0) == (options.seconds <= 0))
    throw std::runtime_error("give either --frames or --seconds");
  if (options.sources == 0 || options.batch == 0 || options.batch > kMaxBatch)
    throw std::runtime_error("--sources must be positive and --batch 1 to 1024");
  return options;
}

unsigned int deviceIndex(const std::string& name) {
  const unsigned int index = if_nametoindex(name.c_str());
  if (index == 0) fail("no device " + name);
  return index;
}

// rx_packets of one device, from the kernel's 64-bit link statistics.
uint64_t receivedFrames(unsigned int ifindex) {
  sim::LinkInfo link;
  if (!sim::readLinkInfo(static_cast<int>(ifindex), link)) fail("netlink: no such link");
  return link.receivedFrames;
}

int openSender(unsigned int ifindex) {
  const int fd = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);  // protocol 0: receives nothing
  if (fd < 0) fail("packet socket");
  sockaddr_ll where = {};
  where.sll_family = AF_PACKET;
  where.sll_ifindex = static_cast<int>(ifindex);
  if (bind(fd, reinterpret_cast<sockaddr*>(&where), sizeof where) != 0) fail("bind");
  // Straight to the driver: the sender's own qdisc is not what is measured.
  const int one = 1;
  if (setsockopt(fd, SOL_PACKET, PACKET_QDISC_BYPASS, &one, sizeof one) != 0)
    fail("PACKET_QDISC_BYPASS");
  return fd;
}

struct Result {
  uint64_t sent = 0;
  double seconds = 0;
};

Result blast(const Options& options, int fd) {
  std::vector<unsigned char> frames(kMaxBatch * kFrameSize, 0);
  std::vector<iovec> vectors(options.batch);
  std::vector<mmsghdr> messages(options.batch);
  for (unsigned int i = 0; i < options.batch; ++i) {
    unsigned char* frame = &frames[i * kFrameSize];
    writeMac(options.dst, frame);
    frame[12] = kEtherType >> 8;
    frame[13] = kEtherType & 0xff;
    vectors[i] = {frame, kFrameSize};
    messages[i] = {};
    messages[i].msg_hdr.msg_iov = &vectors[i];
    messages[i].msg_hdr.msg_iovlen = 1;
  }
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const auto stop = start + std::chrono::duration_cast<Clock::duration>(
                                std::chrono::duration<double>(options.seconds));
  Result result;
  uint64_t next = 0;  // the index of the next frame
  while (options.frames != 0 ? next < options.frames : Clock::now() < stop) {
    unsigned int count = options.batch;
    if (options.frames != 0 && options.frames - next < count)
      count = static_cast<unsigned int>(options.frames - next);
    for (unsigned int i = 0; i < count; ++i)
      writeMac(options.src + (next + i) % options.sources, &frames[i * kFrameSize + 6]);
    const int done = sendmmsg(fd, messages.data(), count, 0);
    if (done < 0) {
      // A full device queue: try the same frames again.
      if (errno == ENOBUFS || errno == EAGAIN || errno == EINTR) continue;
      fail("sendmmsg");
    }
    // Frames not taken are sent again from the first that was left.
    next += static_cast<unsigned int>(done);
    result.sent += static_cast<unsigned int>(done);
  }
  result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const Options options = parseOptions(argc, argv);
    const int fd = openSender(deviceIndex(options.dev));
    const unsigned int counter = options.countAt.empty() ? 0 : deviceIndex(options.countAt);
    const uint64_t before = counter != 0 ? receivedFrames(counter) : 0;
    const Result result = blast(options, fd);
    // The last batch may still sit in a backlog queue.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::printf("sent=%llu seconds=%.6f sent_per_s=%.0f", (unsigned long long)result.sent,
                result.seconds, result.sent / result.seconds);
    if (counter != 0) {
      const uint64_t received = receivedFrames(counter) - before;
      std::printf(" received=%llu received_per_s=%.0f", (unsigned long long)received,
                  received / result.seconds);
    }
    std::printf("\n");
    close(fd);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ps_frame_blast: %s\n", error.what());
    return 1;
  }
}
