#include "common/vartree/HelperPlace.h"

#include <stdlib.h>
#include <sys/auxv.h>

#include <invscan/helper.h>

#include "base/TrustedPath.h"

namespace invscan {
namespace {

// Lives as long as any thread may ask.
std::string& givenHome() {
  static auto& home = *new std::string;
  return home;
}

}  // namespace

void setHelperHome(const std::string& directory) {
  givenHome() = directory;
}

// Hosts expect the current directory where nothing else is said. It is the caller's choice, and so
// nothing for root or for a program that has more rights than its caller.
std::string helperProgram(const std::string& command) {
  if (!givenHome().empty()) return givenHome() + "/bin/" + command;
  if (getauxval(AT_SECURE) != 0) return "";
  const char* const home = secure_getenv("ORV_HOMEDIR");
  if (!home || !*home) return trustedPath(command);
  return *home == '/' ? trustedPath(std::string(home) + "/bin/" + command) : "";
}

}  // namespace invscan
