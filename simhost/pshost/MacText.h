// MAC addresses in the text forms that node files and control commands use.
// Pure functions; safe from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace pshost {

// Accepts aa:bb:cc:dd:ee:ff, aa-bb-cc-dd-ee-ff and aabb.ccdd.eeff, in either
// case. False, leaving `mac` alone, for anything else.
bool parseMacText(const std::string& text, std::array<uint8_t, 6>& mac);

// Lower-case colon form.
std::string macText(const uint8_t* mac);

}  // namespace pshost
