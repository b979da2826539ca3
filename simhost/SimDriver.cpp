#include "SimDriver.h"

#include "BusinessLock.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <vector>

namespace sim {
namespace {

// How deep the calling thread holds the driver's lock. Initial-exec: read
// on every command, it costs one load from the thread pointer, no call.
__attribute__((tls_model("initial-exec"))) thread_local unsigned int depthHere = 0;

// The driver's lock. A thread takes it once per open handle and keeps it
// until the handle closes, so a table walk of thousands of commands costs
// the holder no atomic operation at all. The holder may take it again (a
// second handle, a hook); other threads sleep until it is free.
class DriverLock {
 public:
  void lock() {
    if (depthHere++ == 0) mutex.lock();
  }
  void unlock() {
    if (--depthHere == 0) mutex.unlock();
  }

 private:
  std::mutex mutex;
};

typedef std::lock_guard<DriverLock> Guard;

}  // namespace

struct Driver::State {
  mutable DriverLock lock;
  DriverModel model;
  DriverCommandLog log;
  // Bit n: descriptor kFirstHandle + n is open.
  uint64_t handles = 0;
  std::atomic<unsigned int> handleCount{0};
  unsigned int openFailures = 0;
  unsigned int commandsOutsideTheirLock = 0;

  static uint64_t bitOf(int fd) {
    const unsigned int n = static_cast<unsigned int>(fd) - Driver::kFirstHandle;
    return n < Driver::kMaxHandles ? uint64_t(1) << n : 0;
  }
  bool isHandle(int fd) const { return (handles & bitOf(fd)) != 0; }
};

namespace {

HeldLock lockHeldByCaller() {
  const BusinessLock& lock = BusinessLock::instance();
  const auto saturated = [](unsigned int depth) { return uint8_t(depth < 255 ? depth : 255); };
  return HeldLock{saturated(lock.exclusiveDepth()), saturated(lock.sharedDepth())};
}

// Reads may run beside other readers; anything that changes the driver
// must come from the one writer.
bool holdsLockFor(unsigned long code, HeldLock held) {
  const bool reads = code == psdriver::PSIOC_GET_TABLE_INFO ||
                     code == psdriver::PSIOC_GET_TABLE_ENTRY ||
                     code == psdriver::PSIOC_GET_VIOLATION;
  return held.exclusive > 0 || (reads && held.shared > 0);
}

}  // namespace

Driver& Driver::instance() {
  // Never destroyed: descriptors are closed until the very end of the process.
  static Driver* driver = new Driver();
  return *driver;
}

Driver::Driver() : state(*new State()) {}

void Driver::reset() {
  Guard guard(state.lock);
  state.model.reset();
  state.log.clear();
  state.log.setCapacity(DriverCommandLog::kDefaultCapacity);
  state.log.clearFaults();
  state.openFailures = 0;
  state.commandsOutsideTheirLock = 0;
}

LearnResult Driver::learn(uint32_t port, const MacAddress& mac, uint16_t vlan) {
  Guard guard(state.lock);
  return state.model.learn(port, mac, vlan);
}

int Driver::useTable(std::unique_ptr<DriverTable> table) {
  Guard guard(state.lock);
  return state.model.useTable(std::move(table));
}

std::vector<std::vector<MacTableEntry>> Driver::table() const {
  Guard guard(state.lock);
  return state.model.table().chains();
}

uint32_t Driver::bucketCount() const {
  Guard guard(state.lock);
  return state.model.table().bucketCount();
}

void Driver::setBucketCount(uint32_t count) {
  Guard guard(state.lock);
  state.model.table().setBucketCount(count);
}

void Driver::setEntryCapacity(uint32_t capacity) {
  Guard guard(state.lock);
  state.model.simulatedTable().setEntryCapacity(capacity);
}

uint32_t Driver::bucketOf(const MacAddress& mac, uint16_t vlan) const {
  Guard guard(state.lock);
  return sim::bucketOf(mac, vlan, state.model.table().bucketCount());
}

bool Driver::globalState() const {
  Guard guard(state.lock);
  return state.model.globalState();
}

DriverInterfaceState Driver::interfaceState(unsigned int id) const {
  Guard guard(state.lock);
  return state.model.interfaceState(id);
}

bool Driver::lastViolation(unsigned int id, DriverViolation& out) const {
  Guard guard(state.lock);
  return state.model.lastViolation(id, out);
}

std::vector<DriverCommand> Driver::commands() const {
  Guard guard(state.lock);
  return state.log.commands();
}

size_t Driver::keptCommands() const {
  Guard guard(state.lock);
  return state.log.size();
}

uint64_t Driver::droppedCommands() const {
  Guard guard(state.lock);
  return state.log.dropped();
}

size_t Driver::commandLogCapacity() const {
  Guard guard(state.lock);
  return state.log.capacity();
}

void Driver::setCommandLogCapacity(size_t capacity) {
  Guard guard(state.lock);
  state.log.setCapacity(capacity);
}

void Driver::clearCommands() {
  Guard guard(state.lock);
  state.log.clear();
}

void Driver::refuseNext(unsigned long code, unsigned int count, unsigned int skip) {
  Guard guard(state.lock);
  state.log.refuseNext(code, count, skip);
}

void Driver::refuseCall(unsigned int callNumber) {
  Guard guard(state.lock);
  state.log.refuseCall(callNumber);
}

void Driver::failNextOpens(unsigned int count) {
  Guard guard(state.lock);
  state.openFailures = count;
}

unsigned int Driver::openHandles() const { return state.handleCount.load(); }

unsigned int Driver::commandsOutsideTheirLock() const {
  Guard guard(state.lock);
  return state.commandsOutsideTheirLock;
}

bool Driver::takeOpenFailure() {
  Guard guard(state.lock);
  if (state.openFailures == 0) return false;
  --state.openFailures;
  return true;
}

int Driver::openHandle() {
  state.lock.lock();  // held until the handle closes
  for (unsigned int n = 0; n < kMaxHandles; ++n) {
    const uint64_t bit = uint64_t(1) << n;
    if ((state.handles & bit) != 0) continue;
    state.handles |= bit;
    ++state.handleCount;
    return static_cast<int>(kFirstHandle + n);
  }
  state.lock.unlock();
  return -1;
}

bool Driver::removeHandle(int fd) {
  // Other descriptors never wait for the driver.
  if (State::bitOf(fd) == 0) return false;
  Guard guard(state.lock);
  if (!state.isHandle(fd)) return false;
  state.handles &= ~State::bitOf(fd);
  --state.handleCount;
  state.lock.unlock();  // taken when the handle opened
  return true;
}

int Driver::command(unsigned long code, unsigned long argument) {
  const HeldLock held = lockHeldByCaller();
  Guard guard(state.lock);
  return commandLocked(code, argument, held);
}

bool Driver::commandOnHandle(int fd, unsigned long code, unsigned long argument, int& error) {
  if (State::bitOf(fd) == 0) return false;
  const HeldLock held = lockHeldByCaller();
  Guard guard(state.lock);  // no atomic operation: the opener holds the driver
  if (!state.isHandle(fd)) return false;
  if (!holdsLockFor(code, held)) ++state.commandsOutsideTheirLock;
  if (code == psdriver::PSIOC_GET_TABLE_ENTRY && argument != 0 && !state.log.faultsArmed()) {
    // The walk's command, on a short path: one per bucket and entry.
    uint8_t* record = reinterpret_cast<uint8_t*>(argument);
    bool& logRefused =
        state.log.append(code, argument, record, sizeof(psdriver::psTableEntryArg_t), held);
    error = state.model.readEntry(record);
    logRefused = error != 0;
    return true;
  }
  error = commandLocked(code, argument, held);
  return true;
}

int Driver::commandLocked(unsigned long code, unsigned long argument, HeldLock held) {
  const bool refused = state.log.takeRefusal(code);
  // The record's bytes as passed in, before the driver writes its answer.
  size_t size = 0;
  if (!driverRecordSize(code, size) || argument == 0) size = 0;
  bool& logRefused =
      state.log.append(code, argument, reinterpret_cast<const uint8_t*>(argument), size, held);
  const int error = refused ? EIO : state.model.execute(code, argument);
  logRefused = error != 0;
  return error;
}

}  // namespace sim
