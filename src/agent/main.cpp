#include <cstdio>
#include <exception>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/StartUp.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/scan/SignalWatch.h"

namespace invscan::agent {
namespace {

int runCommandLine(int argc, char** argv) {
  std::string information;
  const Options options = parseOptions(argc, argv, information);
  if (!options.command) {
    writeOutput("", information);
    return kAnswered;
  }
  setUp(options);
  return options.command->run(options);
}

}  // namespace
}  // namespace invscan::agent

int main(int argc, char** argv) {
  using namespace invscan::agent;
  try {
    openStandardStreams();
    dropRelativeLibraryPaths(argv);
    return runCommandLine(argc, argv);
  } catch (const Interruption& interruption) {
    dieBy(interruption.signal);
  } catch (const Failure& failure) {
    reportLine(failure.what());
  } catch (const std::exception& error) {
    reportLine(std::string("internal error: ") + error.what());
  }
  return kFailed;
}
