// psctl: the port-security management client.
#include <iostream>

#include "BuildVersion.h"
#include "Commands.h"
#include "InterfaceIds.h"
#include "Options.h"

int main(int argc, char** argv) {
  try {
    psctl::Options options = psctl::parseOptions(argc, argv);
    if (options.help) {
      psctl::printUsage(std::cout);
      return 0;
    }
    if (options.version) {
      std::cout << "psctl " PS_VERSION " (commit " PS_COMMIT ")\n";
      return 0;
    }
    return psctl::runCommand(options);
  } catch (const psctl::UsageError& error) {
    std::cerr << "psctl: " << error.what() << "\n"
              << "Try 'psctl --help'.\n";
    return 2;
  } catch (const psctl::NameError& error) {
    std::cerr << "psctl: " << error.what() << "\n";
    return 2;
  } catch (const std::exception& error) {
    std::cerr << "psctl: " << error.what() << "\n";
    return 1;
  }
}
