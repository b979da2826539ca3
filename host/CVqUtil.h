// Small host utilities.
#pragma once

#include <string>

class CVqUtil {
 public:
  // Lower-case colon form of a 6-byte MAC address: "00:11:22:aa:bb:cc".
  static std::string macToString(unsigned char* mac);
};
