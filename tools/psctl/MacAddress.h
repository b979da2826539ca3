// MAC addresses as operators type them and as psctl prints them.
// Pure functions; safe from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace psctl {

typedef std::array<uint8_t, 6> MacAddress;

// Accepts aa:bb:cc:dd:ee:ff, aa-bb-cc-dd-ee-ff and aabb.ccdd.eeff, in either
// case. False, leaving `mac` alone, for anything else.
bool parseMac(const std::string& text, MacAddress& mac);

// Lower-case colon form.
std::string formatMac(const uint8_t* mac);

}  // namespace psctl
