#include "MacText.h"

#include <cctype>
#include <cstdio>

namespace pstext {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// Reads `text` laid out as `layout`: each 'h' is one hex digit, any other
// character must appear as it is.
bool readDigits(const std::string& text, const std::string& layout, std::array<uint8_t, 6>& mac) {
  if (text.size() != layout.size()) return false;
  std::array<uint8_t, 6> parsed{};
  int digit = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (layout[i] != 'h') {
      if (text[i] != layout[i]) return false;
      continue;
    }
    int value = hexValue(text[i]);
    if (value < 0) return false;
    parsed[digit / 2] = static_cast<uint8_t>((parsed[digit / 2] << 4) | value);
    ++digit;
  }
  mac = parsed;
  return true;
}

}  // namespace

bool parseMac(const std::string& text, std::array<uint8_t, 6>& mac) {
  return readDigits(text, "hh:hh:hh:hh:hh:hh", mac) || readDigits(text, "hh-hh-hh-hh-hh-hh", mac) ||
         readDigits(text, "hhhh.hhhh.hhhh", mac);
}

std::string formatMac(const uint8_t* mac) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
                mac[4], mac[5]);
  return text;
}

}  // namespace pstext
