// pshost's control channel on arbitrary text: each line of the input is one
// command, run in order against the default node with the module's event
// handlers subscribed, from the same world for every input. Each reply must
// end in "ok" or in a one-line "error: TEXT".
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ControlCommands.h"
#include "FuzzNode.h"

namespace {

bool endsWell(const std::string& reply) {
  if (reply.empty() || reply.back() != '\n') return false;
  size_t start = reply.rfind('\n', reply.size() - 2);
  std::string last = reply.substr(start == std::string::npos ? 0 : start + 1);
  return last == "ok\n" || last.compare(0, 7, "error: ") == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzznode::resetWorld();
  const std::string text(reinterpret_cast<const char*>(data), size);
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string reply = pshost::runControlCommand(text.substr(start, end - start));
    if (!endsWell(reply)) {
      std::fprintf(stderr, "fuzz_control: reply does not end in ok or error: '%s'\n",
                   reply.c_str());
      std::abort();
    }
    start = end + 1;
  }
  return 0;
}
