#include "DriverCommandLog.h"

#include <cstring>

namespace sim {

DriverCommandLog::DriverCommandLog() : oldest(0), limit(kDefaultCapacity), recorded(0) {}

bool& DriverCommandLog::append(unsigned long code, unsigned long argument, const uint8_t* record,
                               size_t size) {
  ++recorded;
  size_t index;
  if (ring.size() < limit) {
    index = ring.size();
    ring.emplace_back();
  } else {
    index = oldest;
    oldest = (oldest + 1) % limit;
    if (ring[index].size > Slot::kInlineBytes) longRecords.erase(index);
  }
  Slot& slot = ring[index];
  slot.code = code;
  slot.argument = argument;
  slot.size = static_cast<uint8_t>(size);
  slot.refused = false;
  if (size <= Slot::kInlineBytes)
    std::memcpy(slot.bytes, record, size);
  else
    longRecords[index].assign(record, record + size);
  return slot.refused;
}

DriverCommand DriverCommandLog::toCommand(size_t index) const {
  const Slot& slot = ring[index];
  DriverCommand command;
  command.code = slot.code;
  command.argument = slot.argument;
  command.refused = slot.refused;
  if (slot.size > Slot::kInlineBytes)
    command.bytes = longRecords.at(index);
  else
    command.bytes.assign(slot.bytes, slot.bytes + slot.size);
  return command;
}

std::vector<DriverCommand> DriverCommandLog::commands() const {
  std::vector<DriverCommand> inOrder;
  inOrder.reserve(ring.size());
  for (size_t i = oldest; i < ring.size(); ++i) inOrder.push_back(toCommand(i));
  for (size_t i = 0; i < oldest; ++i) inOrder.push_back(toCommand(i));
  return inOrder;
}

void DriverCommandLog::setCapacity(size_t capacity) {
  const std::vector<DriverCommand> kept = commands();
  if (capacity == 0) capacity = 1;
  const uint64_t recordedBefore = recorded;
  ring.clear();
  ring.shrink_to_fit();
  longRecords.clear();
  oldest = 0;
  limit = capacity;
  const size_t first = kept.size() > capacity ? kept.size() - capacity : 0;
  for (size_t i = first; i < kept.size(); ++i) {
    const DriverCommand& command = kept[i];
    bool& refused =
        append(command.code, command.argument, command.bytes.data(), command.bytes.size());
    refused = command.refused;
  }
  recorded = recordedBefore;
}

void DriverCommandLog::clear() {
  ring.clear();
  longRecords.clear();
  oldest = 0;
  recorded = 0;
}

void DriverCommandLog::refuseNext(unsigned long code, unsigned int count) {
  if (count == 0)
    refusalsByCode.erase(code);
  else
    refusalsByCode[code] = count;
}

void DriverCommandLog::refuseCall(unsigned int callNumber) { refusedCalls.insert(callNumber); }

void DriverCommandLog::clearFaults() {
  refusalsByCode.clear();
  refusedCalls.clear();
}

bool DriverCommandLog::takeRefusal(unsigned long code) {
  if (refusedCalls.empty() && refusalsByCode.empty()) return false;
  if (refusedCalls.erase(nextCallNumber()) != 0) return true;
  auto found = refusalsByCode.find(code);
  if (found == refusalsByCode.end()) return false;
  if (--found->second == 0) refusalsByCode.erase(found);
  return true;
}

}  // namespace sim
