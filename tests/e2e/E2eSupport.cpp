#include "E2eSupport.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <iterator>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

extern char** environ;

namespace e2e {
namespace {

std::vector<std::string> words(const std::string& text) {
  std::istringstream in(text);
  return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

// The build's program argv[0] with its arguments. A cross-built suite runs
// emulated, and so must the programs it starts: PS_EMULATOR is the
// emulator's command line, empty for a native build.
std::vector<std::string> commandLine(std::vector<std::string> argv) {
  argv[0] = PS_BINARY_DIR "/" + argv[0];
  std::vector<std::string> line = words(PS_EMULATOR);
  line.insert(line.end(), argv.begin(), argv.end());
  return line;
}

// Starts `argv` with its output streams appended to the files `out` and `err`.
pid_t spawn(std::vector<std::string> argv, const std::string& out, const std::string& err) {
  std::vector<char*> args;
  for (std::string& arg : argv) args.push_back(arg.data());
  args.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  pid_t pid = -1;
  if (posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

// The node as the suite runs it: built for the data plane, the same node on
// the eBPF driver, whose devices the suite's network provides.
std::string nodeForThisSuite(const std::string& node) {
#ifdef PS_E2E_DATAPLANE
  if (node.empty()) return node;
  nlohmann::json document = nlohmann::json::parse(node);
  document["driver"]["dataplane"] = "ebpf";
  return document.dump();
#else
  return node;
#endif
}

}  // namespace

std::string readFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

std::vector<std::string> RunResult::lines() const {
  std::vector<std::string> split;
  std::istringstream in(out);
  for (std::string line; std::getline(in, line);) split.push_back(line);
  return split;
}

RunResult run(std::vector<std::string> argv, const std::vector<std::string>& wrapper) {
  argv = commandLine(argv);
  argv.insert(argv.begin(), wrapper.begin(), wrapper.end());
  argv.insert(argv.begin(), {"/usr/bin/timeout", "-s", "KILL", "30"});
  TempDir dir;
  const pid_t pid = spawn(argv, dir.file("out"), dir.file("err"));
  RunResult result;
  int status = 0;
  if (pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status))
    result.status = WEXITSTATUS(status);
  result.out = readFile(dir.file("out"));
  result.err = readFile(dir.file("err"));
  return result;
}

Background::Background(const std::vector<std::string>& argv)
    : pid(spawn(commandLine(argv), dir.file("out"), dir.file("err"))) {}

Background::~Background() {
  if (pid > 0) stop(SIGKILL);
}

std::string Background::out() const { return readFile(dir.file("out")); }

RunResult Background::stop(int signal) {
  RunResult result;
  int status = 0;
  if (pid > 0 && ::kill(pid, signal) == 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status))
    result.status = WEXITSTATUS(status);
  pid = -1;
  result.out = out();
  result.err = readFile(dir.file("err"));
  return result;
}

Pshost::Pshost(const std::string& node) {
  std::vector<std::string> argv = {"pshost", "--control", dir.file("control")};
  const std::string text = nodeForThisSuite(node);
  if (!text.empty()) argv.insert(argv.end(), {"--node", dir.write("node.json", text)});
  pid = spawn(commandLine(argv), dir.file("log"), dir.file("log"));
  for (int attempt = 0; pid > 0 && !up && attempt < 100; ++attempt) {
    up = psctl({"--timeout", "1", "ping"}).status == 0;
    if (!up) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  if (!up) ADD_FAILURE() << "pshost did not come up; its output:\n" << readFile(dir.file("log"));
}

Pshost::~Pshost() {
  if (pid <= 0) return;
  const int status = stop(SIGTERM);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "pshost's status after SIGTERM";
}

int Pshost::stop(int signal) {
  int status = -1;
  if (pid > 0 && ::kill(pid, signal) == 0) ::waitpid(pid, &status, 0);
  pid = -1;
  return status;
}

void Pshost::signal(int signal) const {
  if (pid > 0) ::kill(pid, signal);
}

std::string Pshost::output() const { return readFile(dir.file("log")); }

RunResult Pshost::psctl(const std::vector<std::string>& args) const {
  std::vector<std::string> argv = {"psctl", "--control", dir.file("control")};
  argv.insert(argv.end(), args.begin(), args.end());
  return run(argv);
}

RunResult Pshost::sim(const std::string& command) const {
  std::vector<std::string> args = words(command);
  args.insert(args.begin(), "sim");
  return psctl(args);
}

std::string Pshost::control(const std::string& text) const {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, dir.file("control").c_str(), sizeof address.sun_path - 1);
  timeval limit = {10, 0};  // bounds a lost reply; no time is asserted
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::string received;
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      ::send(fd, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size())) {
    ::shutdown(fd, SHUT_WR);
    char buffer[4096];
    for (ssize_t n; (n = ::recv(fd, buffer, sizeof buffer, 0)) > 0;) received.append(buffer, n);
  }
  ::close(fd);
  return received;
}

}  // namespace e2e
