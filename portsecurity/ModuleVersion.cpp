// The module's version, for hosts that want to report what they loaded. An
// exported string that a host reads with dlsym, so that loading the module
// writes nothing of its own. Read-only; safe from any thread.
#include "BuildVersion.h"

extern "C" __attribute__((visibility("default"))) const char portsecurityModuleVersion[] =
    PS_VERSION " (" PS_COMMIT ")";
