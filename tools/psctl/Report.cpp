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

std::vector<std::string> formatTable(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& row : rows)
    for (size_t column = 0; column < row.size(); ++column) {
      if (widths.size() <= column) widths.push_back(0);
      widths[column] = std::max(widths[column], row[column].size());
    }
  std::vector<std::string> lines;
  for (const auto& row : rows) {
    std::string text;
    for (size_t column = 0; column < row.size(); ++column) {
      text += row[column];
      if (column + 1 < row.size())
        text += std::string(widths[column] - row[column].size() + 2, ' ');
    }
    lines.push_back(text);
  }
  return lines;
}

}  // namespace psctl
