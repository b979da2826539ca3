// A six-byte MAC address as the simulated host passes it around.
// A plain value type.
#pragma once

#include <array>
#include <cstdint>

namespace sim {

typedef std::array<uint8_t, 6> MacAddress;

}  // namespace sim
