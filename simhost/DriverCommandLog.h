// The simulated driver's record of the commands it received, and the
// refusals that tests inject per request code or per call number.
// Not thread-safe: SimDriver guards it.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace sim {

struct DriverCommand {
  unsigned long code = 0;
  // The ioctl's third argument word: the plain value for the command that
  // passes its value itself, the record's address otherwise.
  unsigned long argument = 0;
  // The record's bytes as the caller passed them in (empty when the command
  // passes no record or the code is unknown).
  std::vector<uint8_t> bytes;
  bool refused = false;
};

class DriverCommandLog {
 public:
  // Call numbers count from 1, from the last clear.
  unsigned int nextCallNumber() const { return static_cast<unsigned int>(log.size()) + 1; }
  void record(const DriverCommand& command) { log.push_back(command); }
  const std::vector<DriverCommand>& commands() const { return log; }
  // Forgets the commands; injected refusals stay.
  void clear() { log.clear(); }

  void refuseNext(unsigned long code, unsigned int count);
  void refuseCall(unsigned int callNumber);
  void clearFaults();
  // True when an injected refusal applies to the next command; consumes it.
  bool takeRefusal(unsigned long code);

 private:
  std::vector<DriverCommand> log;
  std::map<unsigned long, unsigned int> refusalsByCode;
  std::set<unsigned int> refusedCalls;
};

}  // namespace sim
