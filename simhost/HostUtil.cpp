// Small host utilities.
#include "CVqUtil.h"

#include <cstdio>

std::string CVqUtil::macToString(unsigned char* mac) {
  if (mac == nullptr) return std::string();
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3],
                mac[4], mac[5]);
  return text;
}
