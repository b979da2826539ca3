// Running pshost and psctl as an operator would, for the end-to-end tests:
// processes started and waited for by PID, their output captured. One test
// thread only.
#pragma once

#include <stdlib.h>
#include <sys/types.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace e2e {

// The tests' own node: management 1, Ethernet 2 and 3 (3 an uplink), GPON 4
// whose virtual port 1 is GEM 5, internal 6, GEM 7 unbound and inactive;
// VLANs 10 and 100.
inline const char* const kTestNode = R"({
  "management": {"interface": 1, "mac": "02:00:00:00:00:01", "vlan": 10},
  "interfaces": [
    {"id": 1, "name": "mng", "type": 2}, {"id": 2, "name": "eth2", "type": 1},
    {"id": 3, "name": "eth3", "type": 1, "uplink": true}, {"id": 4, "name": "pon4", "type": 4},
    {"id": 5, "name": "gem5", "type": 5}, {"id": 6, "name": "cpu6", "type": 3},
    {"id": 7, "name": "gem7", "type": 5, "active": false}
  ],
  "gem": [{"interface": 4, "vport": 1, "gem": 5}],
  "vlans": [10, 100],
  "driver": {"buckets": 32}
})";

struct RunResult {
  int status = -1;  // exit status, or -1 when the process did not exit normally
  std::string out, err;
  std::vector<std::string> lines() const;  // standard output, split into lines
};

// Runs the program of this build that argv[0] names to its end, capturing both
// output streams, under the command line `wrapper` when one is given. One
// still running after 30 s is killed, which fails the test through its status.
RunResult run(std::vector<std::string> argv, const std::vector<std::string>& wrapper = {});

std::string readFile(const std::string& path);

// A private directory, removed with everything in it.
struct TempDir {
  TempDir(const TempDir&) = delete;
  TempDir() {
    char pattern[] = "/tmp/ps_e2e.XXXXXX";
    path = ::mkdtemp(pattern);
  }
  ~TempDir() { std::filesystem::remove_all(path); }
  std::string file(const std::string& name) const { return path + "/" + name; }
  // Writes `text` to the file `name`; returns its path.
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name)) << text;
    return file(name);
  }
  std::string path;
};

// A program of this build left running, its output captured, until stop().
class Background {
 public:
  explicit Background(const std::vector<std::string>& argv);
  ~Background();  // SIGKILL when still running
  Background(const Background&) = delete;

  std::string out() const;     // standard output so far
  RunResult stop(int signal);  // sends `signal` and waits for the end

 private:
  TempDir dir;
  pid_t pid = -1;
};

// One pshost process with a control socket of its own.
class Pshost {
 public:
  // Starts pshost on the node file text `node` (empty: the built-in node) and
  // waits until psctl ping gets an answer; fails the test when none comes.
  // In the data-plane suite the node runs on the eBPF driver.
  explicit Pshost(const std::string& node = std::string());
  ~Pshost();  // SIGTERM, expecting exit status 0

  bool ready() const { return up; }
  // Sends `signal` and waits for the end: the wait status. The destructor
  // then has nothing left to stop.
  int stop(int signal);
  void signal(int signal) const;  // sends `signal` only: SIGSTOP, SIGCONT
  std::string output() const;     // what pshost wrote so far
  RunResult psctl(const std::vector<std::string>& args) const;  // on this host's control socket
  RunResult sim(const std::string& command) const;              // psctl sim WORDS...
  // Sends raw text to the control socket; everything read until the host
  // closes the connection.
  std::string control(const std::string& text) const;

 private:
  TempDir dir;
  pid_t pid = -1;
  bool up = false;
};

}  // namespace e2e
