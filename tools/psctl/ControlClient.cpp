#include "ControlClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace psctl {
namespace {

class Socket {
 public:
  Socket() : fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  ~Socket() {
    if (fd >= 0) ::close(fd);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int fd;
};

std::string systemError(const std::string& what) { return what + ": " + std::strerror(errno); }

void connectTo(Socket& socket, const std::string& path) {
  if (socket.fd < 0) throw ControlError(systemError("control socket"));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path)
    throw ControlError("control socket " + path + ": path too long");
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  if (::connect(socket.fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    throw ControlError(systemError("control socket " + path));
}

void sendAll(int fd, const std::string& text) {
  size_t sent = 0;
  while (sent < text.size()) {
    ssize_t n = ::send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) throw ControlError(systemError("sending to the control socket"));
    sent += static_cast<size_t>(n);
  }
}

// True once `line` is the reply's last line; fills the reply as it goes.
bool takeLine(const std::string& line, ControlReply& reply) {
  if (line == "ok") {
    reply.ok = true;
    return true;
  }
  if (line.compare(0, 7, "error: ") == 0) {
    reply.error = line.substr(7);
    return true;
  }
  reply.output.push_back(line);
  return false;
}

}  // namespace

ControlReply sendControlCommand(const std::string& socketPath, const std::string& command,
                                double timeoutSeconds) {
  if (command.find('\n') != std::string::npos) throw ControlError("a control command is one line");
  Socket socket;
  connectTo(socket, socketPath);
  sendAll(socket.fd, command + "\n");
  auto deadline = std::chrono::steady_clock::now() +
                  std::chrono::milliseconds(static_cast<long>(timeoutSeconds * 1000));
  ControlReply reply;
  std::string pending;
  char buffer[4096];
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd ready = {socket.fd, POLLIN, 0};
    int polled = ::poll(&ready, 1, left.count() > 0 ? static_cast<int>(left.count()) : 0);
    if (polled < 0 && errno == EINTR) continue;
    if (polled <= 0) throw ControlError("no reply from the control socket " + socketPath);
    ssize_t n = ::recv(socket.fd, buffer, sizeof buffer, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) throw ControlError("the control socket closed before the reply ended");
    pending.append(buffer, static_cast<size_t>(n));
    size_t end;
    while ((end = pending.find('\n')) != std::string::npos) {
      std::string line = pending.substr(0, end);
      pending.erase(0, end + 1);
      if (takeLine(line, reply)) return reply;
    }
  }
}

}  // namespace psctl
