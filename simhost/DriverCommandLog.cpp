#include "DriverCommandLog.h"

namespace sim {

DriverCommandLog::DriverCommandLog() : oldest(0), limit(kDefaultCapacity), recorded(0) {}

DriverCommand& DriverCommandLog::append() {
  ++recorded;
  if (ring.size() < limit) {
    ring.emplace_back();
    return ring.back();
  }
  DriverCommand& slot = ring[oldest];
  oldest = (oldest + 1) % limit;
  return slot;
}

std::vector<DriverCommand> DriverCommandLog::commands() const {
  std::vector<DriverCommand> inOrder(ring.begin() + oldest, ring.end());
  inOrder.insert(inOrder.end(), ring.begin(), ring.begin() + oldest);
  return inOrder;
}

void DriverCommandLog::setCapacity(size_t capacity) {
  std::vector<DriverCommand> kept = commands();
  if (capacity == 0) capacity = 1;
  if (kept.size() > capacity) kept.erase(kept.begin(), kept.end() - capacity);
  ring.swap(kept);
  ring.shrink_to_fit();
  oldest = 0;
  limit = capacity;
}

void DriverCommandLog::clear() {
  ring.clear();
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
  if (refusedCalls.erase(nextCallNumber()) != 0) return true;
  auto found = refusalsByCode.find(code);
  if (found == refusalsByCode.end()) return false;
  if (--found->second == 0) refusalsByCode.erase(found);
  return true;
}

}  // namespace sim
