#include "Report.h"

#include <iostream>

#include "ResultText.h"

namespace psctl {

int Report::finish(unsigned int code) {
  if (asJson) {
    nlohmann::json out = code == 0 ? fields : nlohmann::json::object();
    out["result"] = code;
    out["status"] = resultText(code);
    std::cout << out.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
  } else if (code != 0) {
    std::cerr << "psctl: " << resultText(code) << "\n";
  } else if (lines.empty()) {
    std::cout << "ok\n";
  } else {
    for (const std::string& text : lines) std::cout << text << "\n";
  }
  return code == 0 ? 0 : 1;
}

int reportFailure(bool json, const std::string& text) {
  if (json)
    std::cout << nlohmann::json{{"error", text}}.dump(2, ' ', false,
                                                      nlohmann::json::error_handler_t::replace)
              << "\n";
  else
    std::cerr << "psctl: " << text << "\n";
  return 1;
}

}  // namespace psctl
