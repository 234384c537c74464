#include <algorithm>

#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/formats/Value.h"
#include "agent/reasons/Reasons.h"
#include "agent/redact/Redactor.h"
#include "agent/scan/ScanRun.h"

namespace invscan::agent {
namespace {

using Attributes = std::vector<const kelAttribDef*>;

Attributes findAttributes(const kelGroupDef& group, const std::vector<std::string>& words) {
  if (words.size() == 1) return attributesOf(group);
  Attributes named;
  for (auto word = words.begin() + 1; word != words.end(); ++word) {
    named.push_back(&findAttribute(group, *word));
  }
  return named;
}

// In one line; empty for a value that nobody knows.
std::string valueOf(const kelGroupDef& group, const Row& row, const kelAttribDef& attribute) {
  const kelAttribValue* record = findRecord(row, attribute.id);
  if (!record || isUnknown(group.id, attribute, *record)) return "";
  return withBlanksForControls(plainText(*record));
}

// What tells a row from others: the values of its keys, or its number where they are empty.
std::string keyOf(const kelGroupDef& group, const Row& row, std::size_t number) {
  std::vector<std::string> keys;
  for (unsigned long i = 0; i < group.keyCount; ++i) {
    const kelAttribDef* key = getAttribDefinitionFromId(&group, group.keys[i]);
    if (std::string value = key ? valueOf(group, row, *key) : ""; !value.empty()) {
      keys.push_back(std::move(value));
    }
  }
  return keys.empty() ? std::to_string(number) : joined(keys, " ");
}

// A line for each value that there is: behind a tab, what is needed to tell it from the others.
std::string valueLines(const GroupResult& result, const Attributes& attributes) {
  std::string text;
  for (const Row& row : result.rows) {
    const auto number = static_cast<std::size_t>(&row - result.rows.data()) + 1;
    const std::string key = result.rows.size() > 1 ? keyOf(*result.group, row, number) + "\t" : "";
    for (const kelAttribDef* attribute : attributes) {
      const std::string value = valueOf(*result.group, row, *attribute);
      if (value.empty()) continue;
      const std::string name = attributes.size() > 1 ? std::string(attribute->name) + "\t" : "";
      text.append(key).append(name).append(value).append("\n");
    }
  }
  return text;
}

// Rows with the attributes that were asked for and the keys that tell them apart.
void leaveOutOthers(GroupResult& result, const Attributes& attributes) {
  const kelGroupDef& group = *result.group;
  const bool hasKeys = result.rows.size() > 1;
  const auto isOther = [&](const Record& record) {
    const auto isIt = [&](const kelAttribDef* each) { return each->id == record->attribId; };
    const bool isKey =
        hasKeys && std::count(group.keys, group.keys + group.keyCount, record->attribId) > 0;
    return !isKey && std::none_of(attributes.begin(), attributes.end(), isIt);
  };
  for (Row& row : result.rows) std::erase_if(row, isOther);
}

std::size_t rowsWithout(const GroupResult& result, const kelAttribDef& attribute) {
  return static_cast<std::size_t>(std::count_if(
      result.rows.begin(), result.rows.end(),
      [&](const Row& row) { return valueOf(*result.group, row, attribute).empty(); }));
}

std::string whyMissing(const GroupResult& result, const kelAttribDef& attribute,
                       std::size_t missing) {
  if (result.status == Status::Unsupported || result.status == Status::Denied) {
    return "no value; " + result.trouble;
  }
  std::string place = result.status == Status::Absent ? "absent on this machine" : "no value";
  if (missing < result.rows.size()) {
    place += " in " + std::to_string(missing) + " of " + counted(result.rows.size(), "row");
  }
  return place + "; " + reasonForDefault(result, attribute);
}

// Tells of each attribute that was named that it lacks values, and why unless that is not to be
// told; whether one lacks them all.
bool reportMissing(const GroupResult& result, const Attributes& attributes,
                   const char* insteadOfReason) {
  bool isAllMissing = false;
  for (const kelAttribDef* attribute : attributes) {
    const std::size_t missing = rowsWithout(result, *attribute);
    if (missing == 0 && !result.rows.empty()) continue;
    isAllMissing = isAllMissing || missing == result.rows.size();
    reportLine(std::string(result.group->name) + ", " + attribute->name + ": " +
               (insteadOfReason ? insteadOfReason : whyMissing(result, *attribute, missing)));
  }
  return isAllMissing;
}

}  // namespace

int runGet(const Options& options) {
  const kelGroupDef& group = findGroup(options.words[0]);
  const Attributes attributes = findAttributes(group, options.words);
  const bool isWhole = options.words.size() == 1;
  const std::optional<Redactor> redactor = makeRedactor(options);
  Scan scan = scanMachine(options, {&group}, !isWhole);
  if (redactor) redactor->redact(scan);

  GroupResult& result = scan.groups.front();
  if (isText(options)) {
    writeOutput(options.output, valueLines(result, attributes));
  } else {
    leaveOutOthers(result, attributes);
    writeScan(options, scan);
  }

  if (result.status == Status::Timeout || result.status == Status::Crash) {
    return reportTroubles(scan, true);
  }
  if (isWhole) {
    const int status = reportTroubles(scan, false);
    return result.rows.empty() ? kNoValue : status;
  }
  const int status = reportTroubles(scan, true);
  // What else the group lacks, nobody asked for.
  // Addresses and paths that were asked for are no more to be shown than values are.
  const char* const insteadOfReason = redactor ? "no value; without --redact there is a reason"
                                      : scan.isSaved ? "no value in the scan that was kept"
                                                     : nullptr;
  const bool isMissing = reportMissing(result, attributes, insteadOfReason);
  return isMissing ? kNoValue : status == kIncomplete ? kAnswered : status;
}

}  // namespace invscan::agent
