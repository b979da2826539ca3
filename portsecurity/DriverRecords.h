// Argument records and request codes of the kernel bridge driver's
// port-security channel. The layouts are the driver's ABI: every size and
// offset is pinned below, padding included.
#pragma once

#include <sys/ioctl.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace psdriver {

// Every command declares a size of 4, whatever record it passes: the driver
// does not look at the size field.
constexpr unsigned long psCode(unsigned long direction, unsigned long number) {
  return _IOC(direction, 'z', number, 4);
}

constexpr unsigned long PSIOC_GET_TABLE_INFO = psCode(_IOC_READ, 2);
constexpr unsigned long PSIOC_ADD_STATIC = psCode(_IOC_WRITE, 7);
constexpr unsigned long PSIOC_DEL_STATIC = psCode(_IOC_WRITE, 9);
constexpr unsigned long PSIOC_GET_TABLE_ENTRY = psCode(_IOC_READ | _IOC_WRITE, 12);
constexpr unsigned long PSIOC_MOVE_TO_STATIC = psCode(_IOC_WRITE, 13);
constexpr unsigned long PSIOC_SET_STATE = psCode(_IOC_WRITE, 40);
constexpr unsigned long PSIOC_SET_INTF_STATE = psCode(_IOC_WRITE, 42);
constexpr unsigned long PSIOC_SET_INTF_LIMIT = psCode(_IOC_WRITE, 44);
constexpr unsigned long PSIOC_SET_VLAN_LIMIT = psCode(_IOC_WRITE, 46);
constexpr unsigned long PSIOC_DEL_VLAN_LIMIT = psCode(_IOC_WRITE, 47);
constexpr unsigned long PSIOC_GET_VIOLATION = psCode(_IOC_READ | _IOC_WRITE, 49);

static_assert(PSIOC_GET_TABLE_INFO == 0x80047a02UL, "driver ABI");
static_assert(PSIOC_ADD_STATIC == 0x40047a07UL, "driver ABI");
static_assert(PSIOC_DEL_STATIC == 0x40047a09UL, "driver ABI");
static_assert(PSIOC_GET_TABLE_ENTRY == 0xc0047a0cUL, "driver ABI");
static_assert(PSIOC_MOVE_TO_STATIC == 0x40047a0dUL, "driver ABI");
static_assert(PSIOC_SET_STATE == 0x40047a28UL, "driver ABI");
static_assert(PSIOC_SET_INTF_STATE == 0x40047a2aUL, "driver ABI");
static_assert(PSIOC_SET_INTF_LIMIT == 0x40047a2cUL, "driver ABI");
static_assert(PSIOC_SET_VLAN_LIMIT == 0x40047a2eUL, "driver ABI");
static_assert(PSIOC_DEL_VLAN_LIMIT == 0x40047a2fUL, "driver ABI");
static_assert(PSIOC_GET_VIOLATION == 0xc0047a31UL, "driver ABI");

constexpr uint32_t PS_LIMIT_DYNAMIC = 0;
constexpr uint32_t PS_LIMIT_STATIC = 1;

constexpr size_t PS_INTF_LEN = 17;

struct psIntfStateArg_t {
  char intf[PS_INTF_LEN];
  uint32_t state;
};

struct psIntfLimitArg_t {
  char intf[PS_INTF_LEN];
  uint32_t kind;
  uint32_t limit;
  uint32_t reserved;  // keeps the record at the driver's 32 bytes
};

struct psVlanLimitArg_t {
  char intf[PS_INTF_LEN];
  uint16_t vlan;
  uint32_t limit;
};

struct psMacArg_t {
  char intf[PS_INTF_LEN];
  uint8_t mac[6];
  uint16_t vlan;
  uint8_t isStatic;
};

struct psMoveArg_t {
  char intf[PS_INTF_LEN];
  uint8_t reserved[135];
};

struct psTableInfoArg_t {
  uint8_t reserved0[8];
  uint32_t bucketCount;
  uint8_t reserved1[4];
};

struct psTableEntryArg_t {
  uint32_t bucket;
  uint32_t position;
  uint8_t mac[6];
  uint16_t vlan;
  uint8_t reserved[24];
  uint32_t port;
  uint8_t isStatic;
};

struct psViolationArg_t {
  char intf[PS_INTF_LEN];
  uint8_t pad;
  uint8_t mac[6];
  uint16_t vlan;
};

static_assert(sizeof(psIntfStateArg_t) == 24 && offsetof(psIntfStateArg_t, state) == 20,
              "driver ABI");
static_assert(sizeof(psIntfLimitArg_t) == 32 && offsetof(psIntfLimitArg_t, kind) == 20 &&
                  offsetof(psIntfLimitArg_t, limit) == 24,
              "driver ABI");
static_assert(sizeof(psVlanLimitArg_t) == 24 && offsetof(psVlanLimitArg_t, vlan) == 18 &&
                  offsetof(psVlanLimitArg_t, limit) == 20,
              "driver ABI");
static_assert(sizeof(psMacArg_t) == 28 && offsetof(psMacArg_t, mac) == 17 &&
                  offsetof(psMacArg_t, vlan) == 24 && offsetof(psMacArg_t, isStatic) == 26,
              "driver ABI");
static_assert(sizeof(psMoveArg_t) == 152, "driver ABI");
static_assert(sizeof(psTableInfoArg_t) == 16 && offsetof(psTableInfoArg_t, bucketCount) == 8,
              "driver ABI");
static_assert(sizeof(psTableEntryArg_t) == 48 && offsetof(psTableEntryArg_t, mac) == 8 &&
                  offsetof(psTableEntryArg_t, vlan) == 14 &&
                  offsetof(psTableEntryArg_t, port) == 40 &&
                  offsetof(psTableEntryArg_t, isStatic) == 44,
              "driver ABI");
static_assert(sizeof(psViolationArg_t) == 26 && offsetof(psViolationArg_t, mac) == 18 &&
                  offsetof(psViolationArg_t, vlan) == 24,
              "driver ABI");

// Clears a record over its whole length before its fields are set, so that
// padding and unused bytes reach the driver as zero; value-initialisation
// (`= {}`) does not promise that for padding.
template <class Record>
void clearRecord(Record& record) {
  static_assert(std::is_trivially_copyable<Record>::value, "driver records are plain bytes");
  std::memset(&record, 0, sizeof record);
}

}  // namespace psdriver
