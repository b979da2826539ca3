#include "ControlServer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <list>
#include <stdexcept>
#include <vector>

namespace pshost {
namespace {

const size_t kMaxLine = 4096;
const size_t kMaxClients = 32;

std::runtime_error socketError(const std::string& path, const std::string& what) {
  return std::runtime_error("control socket " + path + ": " + what);
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw socketError(path, "path too long");
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

// True when a process accepts connections on the socket file at `path`.
bool socketIsLive(const sockaddr_un& address) {
  int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return false;
  bool live = ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(probe);
  return live;
}

struct Client {
  int fd;
  std::string pending;
};

// Sends the whole reply; false when the client is gone or stopped reading.
bool sendAll(int fd, const std::string& text) {
  size_t sent = 0;
  while (sent < text.size()) {
    ssize_t n = ::send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    sent += static_cast<size_t>(n);
  }
  return true;
}

void acceptClient(int listener, std::list<Client>& clients) {
  int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (fd < 0) return;
  // A client that stops reading its replies is dropped, not waited for.
  timeval limit = {2, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  clients.push_back({fd, std::string()});
}

bool isReady(const std::vector<pollfd>& watched, int fd) {
  for (const pollfd& entry : watched)
    if (entry.fd == fd && entry.revents != 0) return true;
  return false;
}

// Reads what the client sent and answers each complete line in order; false
// when the connection is to be closed.
bool serveClient(Client& client, const ControlServer::Handler& handler) {
  char buffer[4096];
  ssize_t n = ::recv(client.fd, buffer, sizeof buffer, 0);
  if (n < 0 && errno == EINTR) return true;
  if (n > 0) client.pending.append(buffer, static_cast<size_t>(n));
  size_t end;
  while ((end = client.pending.find('\n')) != std::string::npos) {
    std::string line = client.pending.substr(0, end);
    client.pending.erase(0, end + 1);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!sendAll(client.fd, handler(line))) return false;
  }
  if (client.pending.size() > kMaxLine) {
    sendAll(client.fd, "error: line too long\n");
    return false;
  }
  if (n > 0) return true;
  // The client is done sending: a last line without its line end still counts.
  if (!client.pending.empty()) sendAll(client.fd, handler(client.pending));
  return false;
}

}  // namespace

ControlServer::ControlServer(const std::string& path, Handler handler)
    : path(path),
      handler(std::move(handler)),
      listener(-1),
      wakeRead(-1),
      wakeWrite(-1),
      bound(false) {}

ControlServer::~ControlServer() { stop(); }

void ControlServer::open() {
  sockaddr_un address = addressOf(path);
  struct stat status;
  if (::lstat(path.c_str(), &status) == 0) {
    if (!S_ISSOCK(status.st_mode)) throw socketError(path, "exists and is not a socket");
    if (socketIsLive(address)) throw socketError(path, "in use by another process");
    ::unlink(path.c_str());
  }
  listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener < 0) throw socketError(path, std::strerror(errno));
  // The channel injects faults and plays the world: owner only, whatever the
  // umask. The socket's mode before bind is the file's (less the umask).
  if (::fchmod(listener, S_IRUSR | S_IWUSR) != 0 ||
      ::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener, 16) != 0) {
    std::string reason = std::strerror(errno);
    ::close(listener);
    listener = -1;
    throw socketError(path, reason);
  }
  bound = true;
  int wake[2];
  if (::pipe2(wake, O_CLOEXEC) != 0) throw socketError(path, std::strerror(errno));
  wakeRead = wake[0];
  wakeWrite = wake[1];
}

void ControlServer::start() { thread = std::thread(&ControlServer::serve, this); }

void ControlServer::stop() {
  if (thread.joinable()) {
    char byte = 0;
    while (::write(wakeWrite, &byte, 1) < 0 && errno == EINTR) {
    }
    thread.join();
  }
  for (int* fd : {&listener, &wakeRead, &wakeWrite})
    if (*fd >= 0) {
      ::close(*fd);
      *fd = -1;
    }
  if (bound) {
    ::unlink(path.c_str());
    bound = false;
  }
}

void ControlServer::serve() {
  std::list<Client> clients;
  for (;;) {
    std::vector<pollfd> watched = {{wakeRead, POLLIN, 0}};
    if (clients.size() < kMaxClients) watched.push_back({listener, POLLIN, 0});
    for (const Client& client : clients) watched.push_back({client.fd, POLLIN, 0});
    if (::poll(watched.data(), watched.size(), -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (watched[0].revents != 0) break;
    if (watched.size() > 1 && watched[1].fd == listener && (watched[1].revents & POLLIN))
      acceptClient(listener, clients);
    for (auto it = clients.begin(); it != clients.end();) {
      if (isReady(watched, it->fd) && !serveClient(*it, handler)) {
        ::close(it->fd);
        it = clients.erase(it);
      } else {
        ++it;
      }
    }
  }
  for (const Client& client : clients) ::close(client.fd);
}

}  // namespace pshost
