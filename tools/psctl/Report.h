// What one psctl command prints: text lines for people or one JSON object
// for scripts, and the exit status that goes with the result code.
// One thread only.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace psctl {

class Report {
 public:
  explicit Report(bool json) : asJson(json) {}

  bool json() const { return asJson; }
  // Fields of the JSON object; ignored in text mode.
  nlohmann::json& data() { return fields; }
  // A line of text output; ignored in JSON mode.
  void line(const std::string& text) { lines.push_back(text); }

  // Prints the report for a service result code and returns the exit
  // status: 0 for code 0, 1 otherwise. A failure prints only the code's
  // words (text mode: on standard error).
  int finish(unsigned int code);

 private:
  bool asJson;
  nlohmann::json fields = nlohmann::json::object();
  std::vector<std::string> lines;
};

// Prints a failure that has no result code (the service could not be
// reached, a control command failed) and returns exit status 1.
int reportFailure(bool json, const std::string& text);

}  // namespace psctl
