// MAC addresses in the text forms that people type and read: node files,
// control commands and the management client all use these.
// Pure functions; safe from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace pstext {

// Accepts aa:bb:cc:dd:ee:ff, aa-bb-cc-dd-ee-ff and aabb.ccdd.eeff, in either
// case. False, leaving `mac` alone, for anything else.
bool parseMac(const std::string& text, std::array<uint8_t, 6>& mac);

// Lower-case colon form.
std::string formatMac(const uint8_t* mac);

}  // namespace pstext
