// Plain-text tables for people: the control channel's listings and the
// management client's reports print through this one layout.
// Pure function; safe from any thread.
#pragma once

#include <string>
#include <vector>

namespace pstext {

// One line a row: columns left-aligned, two blanks apart, no trailing blanks.
std::vector<std::string> formatTable(const std::vector<std::vector<std::string>>& rows);

}  // namespace pstext
