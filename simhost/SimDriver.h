// The simulated bridge driver as the process sees it: the descriptors that
// br_open handed out, the commands issued on them, and the hooks that tests
// use to feed frames, inject faults and inspect the driver's state.
// Safe from any thread: one lock guards the driver. A thread holds it from
// br_open until it closes the handle (a table walk then takes it once, not
// once per command), so a handle is used and closed by the thread that
// opened it, as every operation of the module does; other threads wait.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "DriverCommandLog.h"
#include "DriverModel.h"
#include "MacAddress.h"
#include "MacTable.h"

namespace sim {

class Driver {
 public:
  static Driver& instance();

  // Factory state: the table in use emptied, with 16 buckets (the simulated
  // one with the largest entry capacity), switches off, no limits, no violations, faults cleared,
  // command log cleared and back to its default capacity. Open handles stay open.
  void reset();

  // Commands and frames act on `table` from now on (the simulated table when
  // null): 0, or the errno with which it refused the settings in force.
  int useTable(std::unique_ptr<DriverTable> table);

  // A frame from `mac` in `vlan` arriving on driver port `port`.
  LearnResult learn(uint32_t port, const MacAddress& mac, uint16_t vlan);

  // The table, one chain per bucket, in chain order.
  std::vector<std::vector<MacTableEntry>> table() const;
  uint32_t bucketCount() const;
  // Rehashes the table into `count` buckets.
  void setBucketCount(uint32_t count);
  // The most entries the table takes (1 to DriverModel::kMaxEntries).
  void setEntryCapacity(uint32_t capacity);
  uint32_t bucketOf(const MacAddress& mac, uint16_t vlan) const;
  bool globalState() const;
  DriverInterfaceState interfaceState(unsigned int id) const;
  // False when no violation was recorded on the interface.
  bool lastViolation(unsigned int id, DriverViolation& out) const;

  // The commands since the last clear that the log still holds, in order.
  std::vector<DriverCommand> commands() const;
  // Commands since the last clear that the log still holds.
  size_t keptCommands() const;
  // Commands since the last clear that the log dropped to stay in capacity.
  uint64_t droppedCommands() const;
  size_t commandLogCapacity() const;
  // How many commands the log keeps (at least 1); the oldest go first.
  void setCommandLogCapacity(size_t capacity);
  void clearCommands();
  // After `skip` more commands with `code` go through, the next `count` are
  // refused (EIO), changing nothing.
  void refuseNext(unsigned long code, unsigned int count, unsigned int skip = 0);
  // Command number `callNumber` (from 1, counted from the last clear of the
  // command log) is refused. Stays armed across clears until it fires.
  void refuseCall(unsigned int callNumber);
  // The next `count` br_open calls fail.
  void failNextOpens(unsigned int count);
  // Driver descriptors open now.
  unsigned int openHandles() const;
  // Commands issued on a handle, since the last reset, by a thread that did
  // not hold the business lock they need: the exclusive one for anything
  // that changes the driver, at least the shared one for reads. Each
  // command's own record says which lock its thread held.
  unsigned int commandsOutsideTheirLock() const;

  // The channel, for br_open and the ioctl/close interposition. Driver
  // descriptors are numbers above the kernel's ceiling on descriptors, so no
  // real one can take them, and opening and closing one makes no system call
  // (a duplicate and a close cost about 2 us here, some 200 commands).
  static const int kFirstHandle = 0x7fffffc0;
  static const unsigned int kMaxHandles = 64;
  // True when an injected br_open failure applies; consumes it.
  bool takeOpenFailure();
  // A new driver descriptor, the driver held by the calling thread until it
  // is removed; -1 when all kMaxHandles are open.
  int openHandle();
  // False when `fd` was not a driver handle. Releases what openHandle held.
  bool removeHandle(int fd);
  // Runs one command: 0 accepted, otherwise the errno of the refusal.
  int command(unsigned long code, unsigned long argument);
  // The same on descriptor `fd`, in one step with the handle check; false
  // (and nothing run) when `fd` is not a driver handle.
  bool commandOnHandle(int fd, unsigned long code, unsigned long argument, int& error);

 private:
  Driver();
  int commandLocked(unsigned long code, unsigned long argument, HeldLock held);
  struct State;
  State& state;
};

}  // namespace sim
