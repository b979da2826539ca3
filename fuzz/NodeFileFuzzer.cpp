// pshost's node file reader on arbitrary text: a file is either refused with
// its NodeFileError, whose text is one line, or read into a node that the
// development host then takes. Any other exception escapes and is reported
// as a crash.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "NodeConfig.h"
#include "NodeSetup.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  pshost::NodeConfig node;
  try {
    node = pshost::parseNodeText(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const pshost::NodeFileError& error) {
    if (std::strchr(error.what(), '\n') != nullptr) {
      std::fprintf(stderr, "fuzz_nodefile: the error is not one line: %s\n", error.what());
      std::abort();
    }
    return 0;
  }
  pshost::applyNode(node);
  return 0;
}
