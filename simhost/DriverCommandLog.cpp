#include "DriverCommandLog.h"

#include <cstring>

namespace sim {

DriverCommandLog::DriverCommandLog() : ring(kDefaultCapacity), next(0), kept(0), recorded(0) {}

void DriverCommandLog::keepLongRecord(size_t index, const uint8_t* record, size_t size) {
  longRecords[index].assign(record, record + size);
}

void DriverCommandLog::forgetLongRecord(size_t index) { longRecords.erase(index); }

DriverCommand DriverCommandLog::toCommand(size_t index) const {
  const Slot& slot = ring[index];
  DriverCommand command;
  command.code = slot.code;
  command.argument = slot.argument;
  command.refused = slot.refused;
  command.held = slot.held;
  if (slot.size > Slot::kInlineBytes)
    command.bytes = longRecords.at(index);
  else
    command.bytes.assign(slot.bytes, slot.bytes + slot.size);
  return command;
}

std::vector<DriverCommand> DriverCommandLog::commands() const {
  std::vector<DriverCommand> inOrder;
  inOrder.reserve(kept);
  const size_t oldest = (next + ring.size() - kept) % ring.size();
  for (size_t i = 0; i < kept; ++i) inOrder.push_back(toCommand((oldest + i) % ring.size()));
  return inOrder;
}

void DriverCommandLog::setCapacity(size_t capacity) {
  if (capacity == 0) capacity = 1;
  if (capacity == ring.size()) return;
  const std::vector<DriverCommand> commandsKept = commands();
  const uint64_t recordedBefore = recorded;
  std::vector<Slot>(capacity).swap(ring);
  longRecords.clear();
  next = 0;
  kept = 0;
  const size_t first = commandsKept.size() > capacity ? commandsKept.size() - capacity : 0;
  for (size_t i = first; i < commandsKept.size(); ++i) {
    const DriverCommand& command = commandsKept[i];
    bool& refused = append(command.code, command.argument, command.bytes.data(),
                           command.bytes.size(), command.held);
    refused = command.refused;
  }
  recorded = recordedBefore;
}

void DriverCommandLog::clear() {
  longRecords.clear();
  next = 0;
  kept = 0;
  recorded = 0;
}

void DriverCommandLog::refuseNext(unsigned long code, unsigned int count, unsigned int skip) {
  if (count == 0)
    refusalsByCode.erase(code);
  else
    refusalsByCode[code] = {skip, count};
}

void DriverCommandLog::refuseCall(unsigned int callNumber) { refusedCalls.insert(callNumber); }

void DriverCommandLog::clearFaults() {
  refusalsByCode.clear();
  refusedCalls.clear();
}

bool DriverCommandLog::takeArmedRefusal(unsigned long code) {
  if (refusedCalls.erase(nextCallNumber()) != 0) return true;
  auto found = refusalsByCode.find(code);
  if (found == refusalsByCode.end()) return false;
  if (found->second.skip > 0) {
    --found->second.skip;
    return false;
  }
  if (--found->second.count == 0) refusalsByCode.erase(found);
  return true;
}

}  // namespace sim
