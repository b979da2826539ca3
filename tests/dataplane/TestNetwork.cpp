#include "TestNetwork.h"

#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "DataplaneProgram.h"

namespace dataplane {
namespace {

pid_t portMapper = -1;

void stopPortMapper() {
  if (portMapper > 0) ::kill(portMapper, SIGTERM);
}

void writeProc(const std::string& path, const char* value) { std::ofstream(path) << value; }

std::string startPortMapper() {
  ::mkdir("/run/rpcbind", 0755);
  portMapper = ::fork();
  if (portMapper == 0) {
    ::execl("/usr/sbin/rpcbind", "rpcbind", "-w", "-f", static_cast<char*>(nullptr));
    ::_exit(127);
  }
  std::atexit(stopPortMapper);
  for (int attempt = 0; attempt < 50; ++attempt) {
    if (shell("rpcinfo -p 127.0.0.1 >/dev/null 2>&1") == 0) return "";
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return "the namespace's own rpcbind does not answer";
}

}  // namespace

int shell(const std::string& line) {
  const int status = std::system(line.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string shellOutput(const std::string& line) {
  std::string out;
  if (FILE* pipe = ::popen(line.c_str(), "r")) {
    std::array<char, 4096> buffer;
    for (size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
      out.append(buffer.data(), n);
    ::pclose(pipe);
  }
  return out;
}

std::string enterTestNetwork(const std::vector<std::string>& ports) {
  if (std::string(PS_EMULATOR).size() > 0)
    return "the suite runs under an emulator, which does not carry BPF or netlink faithfully; "
           "the native run covers the data plane";
  if (::geteuid() != 0) return "the data plane and its test network need root";
  if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0)
    return "cannot make a private network namespace (unshare)";
  if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("tmpfs", "/run", "tmpfs", 0, "mode=755") != 0)
    return "cannot mount a private /run for the namespace's port mapper";
  writeProc("/proc/sys/net/ipv6/conf/all/disable_ipv6", "1");
  writeProc("/proc/sys/net/ipv6/conf/default/disable_ipv6", "1");
  std::string script =
      "set -e; exec >/dev/null 2>&1; ip link set lo up;"
      " ip link add br0 type bridge; ip link set br0 up;";
  for (const std::string& port : ports)
    script += " ip link add " + port + " type veth peer name " + peerOf(port) + "; ip link set " +
              port + " master br0; ip link set " + port + " up; ip link set " + peerOf(port) +
              " up;";
  if (shell(script) != 0) return "cannot build the bridge and its veth ports (ip link)";
  try {
    sim::DataplaneProgram probe(16, 1);
  } catch (const sim::DataplaneError& error) {
    return error.what();
  }
  return startPortMapper();
}

}  // namespace dataplane
