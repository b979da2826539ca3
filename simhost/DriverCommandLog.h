// The simulated driver's record of the commands it received, and the
// refusals that tests inject per request code or per call number. The record
// is a ring: past its capacity the oldest commands are dropped and counted,
// so a long run keeps its memory flat.
// Not thread-safe: SimDriver guards it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <unordered_map>
#include <vector>

namespace sim {

// How deep the issuing thread held the business lock when a command arrived
// (a depth above 255 reads as 255).
struct HeldLock {
  uint8_t exclusive = 0;
  uint8_t shared = 0;
};

struct DriverCommand {
  unsigned long code = 0;
  // The ioctl's third argument word: the plain value for the command that
  // passes its value itself, the record's address otherwise.
  unsigned long argument = 0;
  // The record's bytes as the caller passed them in (empty when the command
  // passes no record or the code is unknown).
  std::vector<uint8_t> bytes;
  bool refused = false;
  HeldLock held;
};

class DriverCommandLog {
 public:
  static const size_t kDefaultCapacity = 4096;
  static const size_t kMaxCapacity = 16777216;

  DriverCommandLog();

  // Call numbers count from 1, from the last clear, dropped commands included.
  unsigned int nextCallNumber() const { return static_cast<unsigned int>(recorded) + 1; }
  // Records the next command with its record's bytes as passed in (`size`
  // may be 0) and returns where to mark it refused. Once the ring is full
  // the oldest slot is overwritten. Inline, and the rare long record out of
  // line: a table walk appends one command per bucket and entry.
  bool& append(unsigned long code, unsigned long argument, const uint8_t* record, size_t size,
               HeldLock held) {
    ++recorded;
    const size_t index = next;
    if (++next == ring.size()) next = 0;
    if (kept < ring.size())
      ++kept;
    else if (ring[index].size > Slot::kInlineBytes)
      forgetLongRecord(index);
    Slot& slot = ring[index];
    slot.code = code;
    slot.argument = argument;
    slot.size = static_cast<uint8_t>(size);
    slot.refused = false;
    slot.held = held;
    if (size == Slot::kInlineBytes)  // a walk's entry record: a copy of fixed size
      std::memcpy(slot.bytes, record, Slot::kInlineBytes);
    else if (size > Slot::kInlineBytes)
      keepLongRecord(index, record, size);
    else if (size > 0)  // a command that passes its value has no record to copy
      std::memcpy(slot.bytes, record, size);
    return slot.refused;
  }
  // The commands kept, oldest first.
  std::vector<DriverCommand> commands() const;
  // Commands the ring holds now.
  size_t size() const { return kept; }
  // Commands recorded since the last clear that the ring no longer holds.
  uint64_t dropped() const { return recorded - kept; }
  size_t capacity() const { return ring.size(); }
  // At least 1; keeps the newest commands that fit. The ring's memory is
  // taken here, all of it, so that it stays the same over a long run.
  void setCapacity(size_t capacity);
  // Forgets the commands and the dropped count; injected refusals stay.
  void clear();

  // Refuses `count` commands of `code`, after letting the next `skip` of them through.
  void refuseNext(unsigned long code, unsigned int count, unsigned int skip = 0);
  void refuseCall(unsigned int callNumber);
  void clearFaults();
  // True when an injected refusal applies to the next command; consumes it.
  bool takeRefusal(unsigned long code) { return faultsArmed() && takeArmedRefusal(code); }
  bool faultsArmed() const { return !refusedCalls.empty() || !refusalsByCode.empty(); }

 private:
  // One command as the ring keeps it, its record inline: a table walk logs
  // tens of thousands of these, and a flat ring written in order stays
  // cheap where scattered heap blocks would miss the cache on every command.
  struct Slot {
    static const size_t kInlineBytes = 48;  // the longest record but one
    unsigned long code;
    unsigned long argument;
    uint8_t size;
    bool refused;
    HeldLock held;
    uint8_t bytes[kInlineBytes];
  };

  void keepLongRecord(size_t index, const uint8_t* record, size_t size);
  void forgetLongRecord(size_t index);
  DriverCommand toCommand(size_t index) const;
  bool takeArmedRefusal(unsigned long code);

  std::vector<Slot> ring;
  // The bytes of records longer than a slot holds, by ring index.
  std::unordered_map<size_t, std::vector<uint8_t>> longRecords;
  size_t next;  // the slot the next command goes to
  size_t kept;  // commands in the ring, the newest `kept` before `next`
  uint64_t recorded;
  struct Refusals {
    unsigned int skip;
    unsigned int count;
  };
  std::map<unsigned long, Refusals> refusalsByCode;
  std::set<unsigned int> refusedCalls;
};

}  // namespace sim
