#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <invscan/helper.h>

#include "agent/Failure.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"

namespace invscan::agent {
namespace {

constexpr std::array kHelpers = {"cpuid", "diskscan"};

}  // namespace

int runHelper(const Options& options) {
  const std::string& name = options.words.front();
  if (std::find(kHelpers.begin(), kHelpers.end(), name) == kHelpers.end()) {
    throw Failure("no helper \"" + name + "\"; there are cpuid and diskscan");
  }
  if (!options.output.empty()) {
    throw Failure("--output has no meaning for \"helper\", which prints; redirect it");
  }
  const bool hasAnswered = vtExecTest(name.c_str()) == 0;
  if (std::fflush(stdout) != 0 || std::ferror(stdout))
    throw Failure("standard output: " + errorText(errno));
  if (!hasAnswered) {
    const char* home = std::getenv("ORV_HOMEDIR");
    throw Failure(options.machine.empty()
                      ? std::string(home) + "/bin/" + name + ": no valid answer; is it there?"
                      : options.machine + ": holds no valid answer of \"" + name + "\"");
  }
  return kAnswered;
}

}  // namespace invscan::agent
