// Running pshost and psctl as an operator would, for the end-to-end tests:
// processes started and waited for by PID, their output captured. One test
// thread only.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace e2e {

// The tests' own node: management 1, Ethernet 2 and 3 (3 an uplink), GPON 4
// whose virtual port 1 is GEM 5, internal 6, GEM 7 unbound and inactive;
// VLANs 10 and 100.
extern const char* const kTestNode;

struct RunResult {
  int status = -1;  // exit status, or -1 when the process did not exit normally
  std::string out;
  std::string err;
  // Standard output, split into lines.
  std::vector<std::string> lines() const;
};

// Runs a program to its end (killed after `limitSeconds`), capturing both
// output streams.
RunResult run(const std::vector<std::string>& argv, int limitSeconds = 30);

std::string binary(const std::string& name);
// Where the source tree's files are, for the shipped examples.
std::string sourcePath(const std::string& relative);

// A private directory, removed with everything in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string file(const std::string& name) const { return path + "/" + name; }
  std::string write(const std::string& name, const std::string& text) const;

 private:
  std::string path;
};

// One pshost process with a control socket of its own.
class Pshost {
 public:
  // Starts pshost with the node file (none: the default node) and waits
  // until psctl ping gets an answer. Fails the test when it does not come up.
  explicit Pshost(const std::string& nodeFile = std::string());
  // Stops the process if the test did not, expecting exit status 0.
  ~Pshost();
  Pshost(const Pshost&) = delete;
  Pshost& operator=(const Pshost&) = delete;

  bool ready() const { return up; }
  // psctl with this host's control socket and the given options first.
  RunResult psctl(const std::vector<std::string>& args) const;
  // psctl sim WORDS...
  RunResult sim(const std::string& command) const;
  // Sends the raw text to the control socket and returns everything read
  // until the host closes the connection or `replies` last lines came back.
  std::string control(const std::string& text, int replies) const;
  // SIGTERM, then the exit status (-1 when it did not exit normally).
  int stop();

 private:
  TempDir dir;
  std::string controlPath;
  std::string stderrPath;
  pid_t pid;
  bool up;
};

}  // namespace e2e
