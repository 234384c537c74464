#include "agent/scan/ScanRun.h"

#include <algorithm>
#include <iterator>
#include <string>

#include <invscan/base/OrvCfg.h>
#include <invscan/factory.h>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/commands/Reasons.h"
#include "agent/formats/Formats.h"
#include "agent/scan/Progress.h"
#include "agent/scan/Scanner.h"

namespace invscan::agent {
namespace {

// What GroupFactory::loadNodeFromFile returns.
constexpr int kLoaded = 0;
constexpr int kMalformedFile = 2;

// Loads the hardware configuration file, which need not be there.
void configure() {
  GroupFactory& factory = *GroupFactory::getInstance();
  const std::string path = factory.m_HWConfigFile.toNarrow();
  const int result = factory.loadNodeFromFile(factory.m_HWConfigFile, 1);
  if (result == kMalformedFile) {
    throw Failure(path + ": not a hardware configuration file; --trace min tells what is wrong");
  }
  if (result != kLoaded) {
    factory.getCpuThreshold().initialize(OrvCfg::getKey("hwscanner.cputhreshold"));
  }
}

// Firmware tables are read once for all groups, before any is scanned: what that took belongs to
// each group that lives on them.
void addStartUp(GroupResult& result, const std::vector<Access>& startUp) {
  std::vector<Access> own;
  std::copy_if(startUp.begin(), startUp.end(), std::back_inserter(own),
               [&](const Access& access) { return isSourceOf(*result.group, access.source); });
  result.accesses.insert(result.accesses.begin(), own.begin(), own.end());
}

}  // namespace

Scan scanMachine(const Options& options, const std::vector<const kelGroupDef*>& groups,
                 bool noteAccesses) {
  if (noteAccesses) startAccessLog();
  GroupFactory::getInstance()->initialise();
  const std::vector<Access> startUp = noteAccesses ? accessLog() : std::vector<Access>();
  Progress progress;
  ScannerOptions scanner;
  scanner.timeoutSeconds = options.timeoutSeconds;
  scanner.jobs = options.jobs;
  configure();
  scanner.noteAccesses = noteAccesses;
  scanner.fixedLocale = !options.machine.empty();
  scanner.progress = [&progress](const kelGroupDef* running, int done, int total) {
    progress.show(running, done, total);
  };
  Scan scan = scanGroups(groups, scanner);
  scan.hostName = validUtf8(scan.hostName);
  for (GroupResult& result : scan.groups) addStartUp(result, startUp);
  return scan;
}

int reportTroubles(const Scan& scan) {
  int status = kAnswered;
  for (const GroupResult& result : scan.groups) {
    if (result.status != Status::Timeout && result.status != Status::Crash) continue;
    const char* remedy = result.status == Status::Timeout
                             ? "; --timeout gives it longer, \"invscan explain\" tells what it asks"
                             : "; its rows are left out";
    reportLine(std::string(result.group->name) + ": " + result.trouble + remedy);
    status = kGroupFailed;
  }
  return status;
}

void writeScan(const Options& options, const Scan& scan) {
  const Format& format = findFormat(options.format);
  writeOutput(options.output, format.write(scan, isColourful(options.output)));
}

}  // namespace invscan::agent
