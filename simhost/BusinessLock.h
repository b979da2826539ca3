// The host's business-logic lock: one writer or many readers, re-entrant for
// the thread that holds it, with a hook that makes the next lock attempts fail.
// Safe from any thread; a thread releases only what it took.
#pragma once

namespace sim {

enum class LockKind { any, exclusive, shared };

class BusinessLock {
 public:
  static BusinessLock& instance();

  // True when granted. Exclusive inside exclusive, shared inside exclusive and
  // shared inside shared are granted at once; exclusive asked while holding
  // only shared is refused. Otherwise waits for the other threads to let go.
  bool acquireExclusive();
  bool acquireShared();
  // Each undoes one granted acquire of the same kind on the calling thread.
  void releaseExclusive();
  void releaseShared();

  // After `skip` granted attempts of `kind`, the next `count` fail: not
  // locked, nothing taken.
  void failNextAttempts(unsigned int count, LockKind kind = LockKind::any, unsigned int skip = 0);
  void clearFaults();

  // Host services that the module asks only while it holds the lock (the
  // interface id check every locked operation makes) note each call here;
  // the count is of the calls made by a thread that held no lock at all.
  void noteCallNeedingLock();
  unsigned int callsOutsideLock() const;
  // Forgets that count.
  void clearAudit();

  // How deep the calling thread holds the lock, for inspection.
  unsigned int exclusiveDepth() const;
  unsigned int sharedDepth() const;

 private:
  BusinessLock();
  struct State;
  bool consumeFault(LockKind kind);
  State& state;
};

}  // namespace sim
