#include "ResultText.h"

namespace psctl {

std::string resultText(unsigned int code) {
  const char* meaning = nullptr;
  switch (code) {
    case 0:
      return "ok";
    case 1:
      meaning = "failed";
      break;
    case 2:
      meaning = "static limit reached";
      break;
    case 3:
      meaning = "not found";
      break;
    case 5:
      meaning = "not reportable in this state";
      break;
    case 6:
      meaning = "per-VLAN limits full";
      break;
    case 7:
      meaning = "out of range";
      break;
    case 8:
      meaning = "no per-VLAN limit";
      break;
    case 10:
      meaning = "refused in profile mode";
      break;
    default:
      meaning = "unknown result";
      break;
  }
  return std::string(meaning) + " (" + std::to_string(code) + ")";
}

std::string interfaceTypeText(unsigned int type) {
  static const char* const names[] = {"unknown", "ethernet", "management", "internal",
                                      "gpon",    "gem",      "lag"};
  if (type < sizeof names / sizeof names[0]) return names[type];
  return "type " + std::to_string(type);
}

}  // namespace psctl
