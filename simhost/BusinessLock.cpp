#include "BusinessLock.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace sim {

namespace {

// What the calling thread holds. Plain integers, so no thread-local
// constructor runs.
thread_local unsigned int heldExclusive = 0;
thread_local unsigned int heldShared = 0;
// True while the thread is counted among the readers (it holds shared
// without holding exclusive).
thread_local bool countedAsReader = false;

}  // namespace

struct BusinessLock::State {
  std::mutex mutex;
  std::condition_variable released;
  bool writerActive = false;
  unsigned int readers = 0;
  // Checked on every acquisition, nested ones too, and nearly always 0:
  // readable without the mutex.
  std::atomic<unsigned int> faultsLeft{0};
  LockKind faultKind = LockKind::any;
  unsigned int attemptsToGrant = 0;
  std::atomic<unsigned int> callsOutsideLock{0};
};

BusinessLock& BusinessLock::instance() {
  // Never destroyed: threads may still release at process exit.
  static BusinessLock* lock = new BusinessLock();
  return *lock;
}

BusinessLock::BusinessLock() : state(*new State()) {}

bool BusinessLock::consumeFault(LockKind kind) {
  if (state.faultsLeft == 0) return false;
  std::lock_guard<std::mutex> guard(state.mutex);
  if (state.faultsLeft == 0) return false;
  if (state.faultKind != LockKind::any && state.faultKind != kind) return false;
  if (state.attemptsToGrant > 0) {
    --state.attemptsToGrant;
    return false;
  }
  --state.faultsLeft;
  return true;
}

bool BusinessLock::acquireExclusive() {
  if (consumeFault(LockKind::exclusive)) return false;
  if (heldExclusive > 0) {
    ++heldExclusive;
    return true;
  }
  if (heldShared > 0) return false;
  std::unique_lock<std::mutex> guard(state.mutex);
  state.released.wait(guard, [this] { return !state.writerActive && state.readers == 0; });
  state.writerActive = true;
  heldExclusive = 1;
  return true;
}

bool BusinessLock::acquireShared() {
  if (consumeFault(LockKind::shared)) return false;
  if (heldExclusive > 0 || heldShared > 0) {
    ++heldShared;
    return true;
  }
  std::unique_lock<std::mutex> guard(state.mutex);
  state.released.wait(guard, [this] { return !state.writerActive; });
  ++state.readers;
  countedAsReader = true;
  heldShared = 1;
  return true;
}

void BusinessLock::releaseExclusive() {
  if (heldExclusive == 0) return;
  if (--heldExclusive > 0) return;
  std::lock_guard<std::mutex> guard(state.mutex);
  state.writerActive = false;
  // A thread that still holds shared (taken inside exclusive) stays a reader.
  if (heldShared > 0) {
    ++state.readers;
    countedAsReader = true;
  }
  state.released.notify_all();
}

void BusinessLock::releaseShared() {
  if (heldShared == 0) return;
  if (--heldShared > 0 || !countedAsReader) return;
  std::lock_guard<std::mutex> guard(state.mutex);
  --state.readers;
  countedAsReader = false;
  state.released.notify_all();
}

void BusinessLock::failNextAttempts(unsigned int count, LockKind kind, unsigned int skip) {
  std::lock_guard<std::mutex> guard(state.mutex);
  state.faultsLeft = count;
  state.faultKind = kind;
  state.attemptsToGrant = skip;
}

void BusinessLock::clearFaults() { failNextAttempts(0); }

void BusinessLock::noteCallNeedingLock() {
  if (heldExclusive == 0 && heldShared == 0) ++state.callsOutsideLock;
}

unsigned int BusinessLock::callsOutsideLock() const { return state.callsOutsideLock; }

void BusinessLock::clearAudit() { state.callsOutsideLock = 0; }

unsigned int BusinessLock::exclusiveDepth() const { return heldExclusive; }

unsigned int BusinessLock::sharedDepth() const { return heldShared; }

}  // namespace sim
