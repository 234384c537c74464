#include "agent/scan/ScanRun.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <invscan/base/OrvCfg.h>
#include <invscan/factory.h>

#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/formats/Formats.h"
#include "agent/reasons/Completeness.h"
#include "agent/saved/SavedScan.h"
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
  factory.setHWConfigFile();
  const std::string path = factory.m_HWConfigFile.toNarrow();
  const int result = factory.loadNodeFromFile(factory.m_HWConfigFile, 1);
  if (result == kMalformedFile) {
    throw Failure(path + ": not a hardware configuration file; --trace min tells what is wrong");
  }
  if (result != kLoaded) {
    factory.getCpuThreshold().initialize(OrvCfg::getKey("hwscanner.cputhreshold"));
  }
}

constexpr const char* kLonger =
    "; --timeout gives it longer, \"invscan explain\" tells what it asks";

void reportTroubleOf(const HelperResult& helper) {
  const bool isLate = helper.status == Status::Timeout;
  reportLine("helper " + helper.name + ": " + helper.trouble +
             (isLate ? kLonger : "; what it tells is left out"));
}

// What a source did not answer in time says itself what helps.
void reportTroubleOf(const GroupResult& group) {
  const bool isLate = group.status == Status::Timeout;
  const bool isSaid = group.obstacle != Obstacle::None;
  reportLine(group.group->name + (": " + group.trouble) +
             (!isLate  ? "; its rows are left out"
              : isSaid ? ""
                       : kLonger));
}

// Sets the status to kGroupFailed if there is something to report.
void reportTrouble(const auto& result, int& exitStatus) {
  if (result.status != Status::Timeout && result.status != Status::Crash) return;
  reportTroubleOf(result);
  exitStatus = kGroupFailed;
}

// The groups of a saved scan that were asked for; what the catalogue does not have is among all.
Scan savedGroups(const std::string& name, const std::vector<const kelGroupDef*>& groups) {
  Scan scan = readSavedScan(name);
  if (groups.size() == allGroups().size()) return scan;
  std::vector<GroupResult> asked;
  for (const kelGroupDef* group : groups) {
    const auto found =
        std::find_if(scan.groups.begin(), scan.groups.end(), [&](const GroupResult& result) {
          return std::string_view(result.group->name) == group->name;
        });
    if (found != scan.groups.end()) {
      asked.push_back(std::move(*found));
      continue;
    }
    GroupResult& missing = asked.emplace_back();
    missing.group = group;
    missing.status = Status::Unsupported;
    missing.obstacle = Obstacle::Unrecorded;
    missing.trouble = "the scan that was kept does not have it";
  }
  scan.groups = std::move(asked);
  return scan;
}

}  // namespace

Scan scanMachine(const Options& options, const std::vector<const kelGroupDef*>& groups,
                 bool noteAccesses, const std::string& recording) {
  if (isSavedScan(options.machine)) return savedGroups(options.machine, groups);
  Progress progress;
  ScannerOptions scanner;
  scanner.timeoutSeconds = options.timeoutSeconds;
  scanner.jobs = options.jobs;
  configure();
  scanner.noteAccesses = noteAccesses;
  scanner.capture = options.machine;
  scanner.recording = recording;
  scanner.progress = [&progress](const kelGroupDef* running, int done, int total) {
    progress.show(running, done, total);
  };
  Scan scan = scanGroups(groups, scanner);
  scan.hostName = validUtf8(scan.hostName);
  return scan;
}

int reportTroubles(const Scan& scan, bool isTold) {
  int status = kAnswered;
  for (const HelperResult& helper : scan.helpers) reportTrouble(helper, status);
  for (const GroupResult& group : scan.groups) reportTrouble(group, status);
  if (!isTold) {
    for (std::string line : shortfalls(scan, Kinds::Lacks)) {
      line[0] = static_cast<char>(line[0] - 'A' + 'a');
      reportLine(line);
    }
  }
  return status == kAnswered && isIncomplete(scan) ? kIncomplete : status;
}

bool isText(const Options& options) {
  const Format& format = findFormat(options.format);
  return format.write == formatText || format.write == formatSummary;
}

Style styleOf(const Options& options) {
  Style style;
  if (isTerminal(options.output)) style.columns = lineWidth();
  style.isColourful = isColourful(options.colour, options.output);
  style.inBytes = options.bytes;
  style.isWhole = options.all;
  return style;
}

void writeScan(const Options& options, const Scan& scan) {
  writeOutput(options.output, findFormat(options.format).write(scan, styleOf(options)));
}

}  // namespace invscan::agent
