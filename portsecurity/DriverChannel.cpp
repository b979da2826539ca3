#include "DriverChannel.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

#include "bridge.h"

DriverChannel::DriverChannel(const std::string& bridge, const std::string& table)
    : handle(br_open(bridge.c_str(), table.c_str())) {}

DriverChannel::~DriverChannel() {
  if (handle >= 0) ::close(handle);
}

bool DriverChannel::issueValue(unsigned long code, unsigned long value) {
  return ::ioctl(handle, code, value) == 0;
}

bool DriverChannel::readBucketCount(uint32_t& bucketCount) {
  psdriver::psTableInfoArg_t info;
  psdriver::clearRecord(info);
  if (!issue(psdriver::PSIOC_GET_TABLE_INFO, &info)) return false;
  bucketCount = info.bucketCount;
  return true;
}

void writeInterfaceField(char (&field)[psdriver::PS_INTF_LEN], unsigned int id) {
  std::snprintf(field, sizeof field, "%u", id);
}

unsigned int sendDriverCommand(const std::string& bridge, const std::string& table,
                               unsigned long code, void* record) {
  DriverChannel channel(bridge, table);
  if (!channel.isOpen()) return 1;
  return channel.issue(code, record) ? 0 : 1;
}
