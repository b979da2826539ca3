// Words for the service's result codes and interface types, as psctl prints
// them. Pure functions; safe from any thread.
#pragma once

#include <string>

namespace psctl {

// "ok" for 0; otherwise the meaning with the number, e.g.
// "static limit reached (2)".
std::string resultText(unsigned int code);

// "ethernet", "gpon", ...; unknown numbers as "type N".
std::string interfaceTypeText(unsigned int type);

}  // namespace psctl
