#include "DriverCommandLog.h"

namespace sim {

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
