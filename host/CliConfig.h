// The host's command-line configuration state.
#pragma once

#include "singleton.h"

class CliConfig : public singleton<CliConfig> {
 public:
  // True while the command line is in profile mode.
  bool checkProfileMode();
};
