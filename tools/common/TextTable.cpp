#include "TextTable.h"

#include <algorithm>

namespace pstext {

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

}  // namespace pstext
