#include "E2eSupport.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

extern char** environ;

namespace e2e {
namespace {

std::vector<char*> argvOf(const std::vector<std::string>& argv) {
  std::vector<char*> pointers;
  for (const std::string& arg : argv) pointers.push_back(const_cast<char*>(arg.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

int exitStatus(int waitStatus) { return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -1; }

// Reads both pipes to their end, or until the deadline.
void drain(int outFd, int errFd, RunResult& result,
           std::chrono::steady_clock::time_point deadline) {
  pollfd fds[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  int open = 2;
  char buffer[4096];
  while (open > 0 && std::chrono::steady_clock::now() < deadline) {
    if (::poll(fds, 2, 100) <= 0) continue;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<size_t>(n));
      } else {
        fds[i].fd = -1;
        --open;
      }
    }
  }
}

}  // namespace

const char* const kTestNode = R"({
  "management": {"interface": 1, "mac": "02:00:00:00:00:01", "vlan": 10},
  "interfaces": [
    {"id": 1, "name": "mng", "type": 2},
    {"id": 2, "name": "eth2", "type": 1},
    {"id": 3, "name": "eth3", "type": 1, "uplink": true},
    {"id": 4, "name": "pon4", "type": 4},
    {"id": 5, "name": "gem5", "type": 5},
    {"id": 6, "name": "cpu6", "type": 3},
    {"id": 7, "name": "gem7", "type": 5, "active": false}
  ],
  "gem": [{"interface": 4, "vport": 1, "gem": 5}],
  "vlans": [10, 100],
  "driver": {"buckets": 32}
})";

std::vector<std::string> RunResult::lines() const {
  std::vector<std::string> split;
  std::istringstream in(out);
  std::string line;
  while (std::getline(in, line)) split.push_back(line);
  return split;
}

RunResult run(const std::vector<std::string>& argv, int limitSeconds) {
  RunResult result;
  int outPipe[2], errPipe[2];
  if (::pipe2(outPipe, O_CLOEXEC) != 0 || ::pipe2(errPipe, O_CLOEXEC) != 0) return result;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, outPipe[1], 1);
  posix_spawn_file_actions_adddup2(&actions, errPipe[1], 2);
  pid_t pid = -1;
  std::vector<char*> args = argvOf(argv);
  int spawned = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(outPipe[1]);
  ::close(errPipe[1]);
  if (spawned == 0) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(limitSeconds);
    drain(outPipe[0], errPipe[0], result, deadline);
    int status = 0;
    pid_t done = 0;
    while ((done = ::waitpid(pid, &status, WNOHANG)) == 0 &&
           std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (done == 0) {
      ::kill(pid, SIGKILL);
      ::waitpid(pid, &status, 0);
      ADD_FAILURE() << argv[0] << " did not finish within " << limitSeconds << " s";
    }
    result.status = exitStatus(status);
  }
  ::close(outPipe[0]);
  ::close(errPipe[0]);
  return result;
}

std::string binary(const std::string& name) { return std::string(PS_BINARY_DIR) + "/" + name; }

std::string sourcePath(const std::string& relative) {
  std::string self = __FILE__;
  return self.substr(0, self.rfind("/tests/e2e/")) + "/" + relative;
}

TempDir::TempDir() {
  char pattern[] = "/tmp/ps_e2e.XXXXXX";
  const char* made = ::mkdtemp(pattern);
  path = made != nullptr ? made : "/tmp";
}

TempDir::~TempDir() {
  if (path != "/tmp") run({"/bin/rm", "-rf", path});
}

std::string TempDir::write(const std::string& name, const std::string& text) const {
  std::ofstream(file(name)) << text;
  return file(name);
}

Pshost::Pshost(const std::string& nodeFile)
    : controlPath(dir.file("control")), stderrPath(dir.file("stderr")), pid(-1), up(false) {
  std::vector<std::string> argv = {binary("pshost"), "--control", controlPath};
  if (!nodeFile.empty()) argv.insert(argv.end(), {"--node", nodeFile});
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 2, stderrPath.c_str(), O_WRONLY | O_CREAT, 0644);
  std::vector<char*> args = argvOf(argv);
  if (posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  for (int attempt = 0; pid > 0 && !up && attempt < 100; ++attempt) {
    up = psctl({"--timeout", "1", "ping"}).status == 0;
    if (!up) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  if (!up) {
    std::ifstream log(stderrPath);
    std::stringstream text;
    text << log.rdbuf();
    ADD_FAILURE() << "pshost did not come up; its stderr:\n" << text.str();
  }
}

Pshost::~Pshost() {
  if (pid > 0) {
    EXPECT_EQ(0, stop()) << "pshost's exit status after SIGTERM";
  }
}

RunResult Pshost::psctl(const std::vector<std::string>& args) const {
  std::vector<std::string> argv = {binary("psctl"), "--control", controlPath};
  argv.insert(argv.end(), args.begin(), args.end());
  return run(argv);
}

RunResult Pshost::sim(const std::string& command) const {
  std::vector<std::string> args = {"sim"};
  std::istringstream words(command);
  std::string word;
  while (words >> word) args.push_back(word);
  return psctl(args);
}

std::string Pshost::control(const std::string& text, int replies) const {
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, controlPath.c_str(), sizeof address.sun_path - 1);
  timeval limit = {10, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::string received;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      ::send(fd, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size())) {
    ::shutdown(fd, SHUT_WR);
    char buffer[4096];
    int lastLines = 0;
    for (ssize_t n; lastLines < replies && (n = ::recv(fd, buffer, sizeof buffer, 0)) > 0;) {
      received.append(buffer, static_cast<size_t>(n));
      lastLines = 0;
      std::istringstream in(received);
      for (std::string line; std::getline(in, line);)
        if (line == "ok" || line.compare(0, 7, "error: ") == 0) ++lastLines;
    }
  }
  ::close(fd);
  return received;
}

int Pshost::stop() {
  if (pid <= 0) return -1;
  ::kill(pid, SIGTERM);
  int status = 0;
  ::waitpid(pid, &status, 0);
  pid = -1;
  return exitStatus(status);
}

}  // namespace e2e
