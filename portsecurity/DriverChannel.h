// One open handle on the bridge driver's port-security channel. Opened with
// br_open on construction, closed on destruction, so every path closes it.
// This is the only place in the module that issues driver commands.
// Not shared between threads: each operation opens its own.
#pragma once

#include <sys/ioctl.h>

#include <cstdint>
#include <string>

#include "DriverRecords.h"

class DriverChannel {
 public:
  DriverChannel(const std::string& bridge, const std::string& table);
  ~DriverChannel();
  DriverChannel(const DriverChannel&) = delete;
  DriverChannel& operator=(const DriverChannel&) = delete;

  bool isOpen() const { return handle >= 0; }

  // True when the driver accepted the command. `record` is passed by address.
  // Inline: a table walk issues one per bucket and entry.
  bool issue(unsigned long code, void* record) { return ::ioctl(handle, code, record) == 0; }
  // For the one command that takes its argument word as the value itself.
  bool issueValue(unsigned long code, unsigned long value);

  // Reads the number of hash buckets of the driver's MAC table.
  bool readBucketCount(uint32_t& bucketCount);

  // Visits every entry of the table, bucket by bucket. The entry record is
  // zeroed once and reused: the visitor may write to it, and what it leaves
  // there goes back to the driver on the next call. A refused entry command
  // only ends its bucket.
  template <class Visitor>
  void walkEntries(uint32_t bucketCount, Visitor&& visit) {
    if (bucketCount == 0) return;
    psdriver::psTableEntryArg_t entry;
    psdriver::clearRecord(entry);
    entry.bucket = 0;
    entry.position = 0;
    for (;;) {
      if (issue(psdriver::PSIOC_GET_TABLE_ENTRY, &entry)) {
        visit(entry);
        ++entry.position;
        continue;
      }
      ++entry.bucket;
      if (entry.bucket >= bucketCount) return;
      entry.position = 0;
    }
  }

 private:
  int handle;
};

// Writes an interface id as the driver's decimal text, NUL-terminated.
void writeInterfaceField(char (&field)[psdriver::PS_INTF_LEN], unsigned int id);

// Opens a handle, issues one command and closes it: 0 accepted, 1 not opened
// or refused.
unsigned int sendDriverCommand(const std::string& bridge, const std::string& table,
                               unsigned long code, void* record);
