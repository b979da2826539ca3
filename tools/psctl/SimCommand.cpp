// psctl sim: one line to pshost's control channel, its output printed back.
#include <iostream>

#include "Commands.h"
#include "ControlClient.h"
#include "Report.h"

namespace psctl {

int runSim(const Options& options, const Arguments& args) {
  std::string command;
  for (const std::string& word : args) command += (command.empty() ? "" : " ") + word;
  ControlReply reply;
  try {
    reply = sendControlCommand(options.controlPath, command, options.timeoutSeconds);
  } catch (const ControlError& error) {
    return reportFailure(options.json, error.what());
  }
  if (options.json) {
    nlohmann::json out = {{"output", reply.output}, {"ok", reply.ok}};
    if (!reply.ok) out["error"] = reply.error;
    std::cout << out.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
  } else {
    for (const std::string& line : reply.output) std::cout << line << "\n";
    if (reply.ok)
      std::cout << "ok\n";
    else
      std::cerr << "error: " << reply.error << "\n";
  }
  return reply.ok ? 0 : 1;
}

}  // namespace psctl
