#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

#include <invscan/collectors.h>

#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/commands/Reasons.h"
#include "agent/formats/Value.h"
#include "agent/scan/ScanRun.h"

namespace invscan::agent {
namespace {

struct SourceUse {
  std::string source;
  std::string outcome;
  std::size_t times = 0;
  double milliseconds = 0;
};

// Equal accesses together, in the order in which each was first made.
std::vector<SourceUse> sourceUses(const std::vector<Access>& accesses) {
  std::vector<SourceUse> uses;
  std::map<std::pair<std::string_view, std::string_view>, std::size_t> places;
  for (const Access& access : accesses) {
    const auto [place, isNew] = places.try_emplace({access.source, access.outcome}, uses.size());
    if (isNew) uses.push_back({access.source, access.outcome});
    SourceUse& use = uses[place->second];
    ++use.times;
    use.milliseconds += access.milliseconds;
  }
  return uses;
}

std::string sourceBlock(const GroupResult& result) {
  if (result.accesses.empty()) return "  asked nothing\n";
  Columns columns;
  columns.add({"source", "times", "ms", "outcome"});
  for (const SourceUse& use : sourceUses(result.accesses)) {
    columns.add({printable(use.source), std::to_string(use.times), decimal(use.milliseconds, 2),
                 printable(use.outcome)});
  }
  return columns.text("  ");
}

std::size_t rowsWithDefault(const GroupResult& result, const kelAttribDef& attribute) {
  return static_cast<std::size_t>(
      std::count_if(result.rows.begin(), result.rows.end(), [&](const Row& row) {
        return isDefault(result.group->id, attribute, findRecord(row, attribute.id));
      }));
}

// The attributes that a reason holds for.
struct Missing {
  std::string reason;
  std::vector<std::string> attributes;
};

// They are in the order of the catalogue.
std::vector<Missing> missingIn(const GroupResult& result) {
  std::vector<Missing> all;
  for (const kelAttribDef* attribute : attributesOf(*result.group)) {
    const std::size_t count = rowsWithDefault(result, *attribute);
    if (count == 0 && !result.rows.empty()) continue;
    const std::string rows =
        count == result.rows.size()
            ? ""
            : " (" + std::to_string(count) + " of " + counted(result.rows.size(), "row") + ")";
    const std::string reason = printable(reasonForDefault(result, *attribute));
    auto same = std::find_if(all.begin(), all.end(),
                             [&](const Missing& other) { return other.reason == reason; });
    if (same == all.end()) same = all.insert(all.end(), {reason, {}});
    same->attributes.push_back(attribute->name + rows);
  }
  return all;
}

// In lines that fit a terminal, broken at blanks.
std::string paragraph(std::string_view text, const std::string& indent) {
  constexpr std::size_t kWidest = 100;
  std::string result, line;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    if (!line.empty() && width(indent) + width(line) + 1 + width(word) > kWidest) {
      result += indent + std::exchange(line, "") + "\n";
    }
    line += (line.empty() ? "" : " ") + std::string(word);
    text.remove_prefix(std::min(word.size() + 1, text.size()));
  }
  return result + indent + line + "\n";
}

std::string defaultBlock(const GroupResult& result) {
  std::string text;
  for (const Missing& missing : missingIn(result)) {
    text += paragraph(missing.reason, "    ") + wrapped(missing.attributes, "      ");
  }
  return text.empty() ? "" : "  without a value:\n" + text;
}

std::string outcome(const GroupResult& result) {
  switch (result.status) {
    case Status::Ok:
      return counted(result.rows.size(), "row") + ", " + decimal(result.milliseconds, 2) + " ms";
    case Status::Absent:
      return "no table on this machine, " + decimal(result.milliseconds, 2) + " ms";
    default:
      return "no answer: " + printable(result.trouble);
  }
}

std::string explanation(const GroupResult& result) {
  const std::string title = std::string(result.group->name) + ": ";
  if (!findCollector(result.group->id)) return title + "this version has no collector for it\n";
  const bool isAnswered = result.status == Status::Ok || result.status == Status::Absent;
  return title + outcome(result) + "\n" + sourceBlock(result) +
         (isAnswered ? defaultBlock(result) : "");
}

}  // namespace

int runExplain(const Options& options) {
  const Scan scan = scanMachine(options, findGroups(options.words), true);
  std::string text;
  for (const GroupResult& result : scan.groups) {
    if (!text.empty()) text += "\n";
    text += explanation(result);
  }
  writeOutput(options.output, text);
  return reportTroubles(scan);
}

}  // namespace invscan::agent
