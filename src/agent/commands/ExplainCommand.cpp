#include <algorithm>

#include <invscan/machine.h>

#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/reasons/Reasons.h"
#include "agent/scan/ScanRun.h"

namespace invscan::agent {
namespace {

std::string sourceBlock(const GroupResult& result) {
  if (result.accesses.empty()) return "  asked nothing\n";
  Columns columns;
  columns.add({"source", "times", "ms", "outcome"});
  for (const SourceUse& use : sourceUses(result.accesses)) {
    const bool isOpen = use.outcome == kUnanswered;
    columns.add({printable(use.source), std::to_string(use.times),
                 isOpen ? "-" : decimal(use.milliseconds, 2), printable(use.outcome)});
  }
  return columns.wrappedText("  ");
}

// What the group was waiting for when it had to be given up.
std::string waitingFor(const GroupResult& result) {
  const auto last =
      std::find_if(result.accesses.rbegin(), result.accesses.rend(),
                   [](const Access& access) { return access.outcome == kUnanswered; });
  return last == result.accesses.rend() ? "" : "; it was waiting for: " + last->source;
}

std::string outcome(const GroupResult& result) {
  switch (result.status) {
    case Status::Ok:
      return counted(result.rows.size(), "row") + ", " + decimal(result.milliseconds, 2) + " ms";
    case Status::Absent:
      return "absent on this machine, " + decimal(result.milliseconds, 2) + " ms";
    case Status::Denied:
      return "denied: " + result.trouble;
    case Status::Unsupported:
      return "unsupported: " + result.trouble;
    default:
      return "no answer: " + result.trouble + waitingFor(result);
  }
}

std::string explanation(const GroupResult& result) {
  const std::string title = std::string(result.group->name) + ": " + outcome(result);
  const std::string text = paragraph(printable(title), "", "  ") + sourceBlock(result);
  if (result.status == Status::Timeout || result.status == Status::Crash) return text;
  return text + remarkBlock("with values from", giversOf(result)) +
         remarkBlock("without a value", reasonsOf(result));
}

std::string explanations(const Scan& scan) {
  std::string text;
  for (const GroupResult& result : scan.groups) {
    if (!text.empty()) text += "\n";
    text += explanation(result);
  }
  return text;
}

}  // namespace

int runExplain(const Options& options) {
  Scan scan = scanMachine(options, findGroups(options.words), true);
  scan.tellsReasons = scan.tellsSources = true;
  if (isText(options)) {
    writeOutput(options.output, explanations(scan));
  } else {
    writeScan(options, scan);
  }
  return reportTroubles(scan, isText(options));
}

}  // namespace invscan::agent
