#include "agent/saved/KeptScan.h"

#include <algorithm>
#include <optional>
#include <string>

#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/formats/Value.h"
#include "agent/reasons/Reasons.h"
#include "agent/saved/SavedScan.h"
#include "agent/screen/Figures.h"
#include "base/RegularFile.h"
#include "base/Trim.h"
#include "base/TrustedPath.h"

namespace invscan::agent {
namespace {

// Where the service keeps them.
constexpr char kScan[] = "/run/invscan/scan.json";
constexpr char kBootId[] = "/run/invscan/boot-id";
constexpr char kOwnBootId[] = "/proc/sys/kernel/random/boot_id";

constexpr std::size_t kLongestId = 64;
constexpr std::size_t kLongestScan = 16 << 20;

std::string idIn(const char* path) {
  std::string text;
  return readRegularFile(path, kLongestId, text) == 0 ? std::string(trimmed(text, " \n")) : "";
}

// Nothing where it is not there, or not to be believed.
std::optional<Scan> keptScan() try {
  const std::string own = idIn(kOwnBootId);
  if (own.empty() || !isRootsAlone(kBootId) || own != idIn(kBootId)) return std::nullopt;
  std::string json;
  if (!isRootsAlone(kScan) || readRegularFile(kScan, kLongestScan, json) != 0) return std::nullopt;
  return parseSavedScan(json);
} catch (const Failure&) {
  return std::nullopt;
}

// " of 2026-11-22 00:31", by the clock of the machine; this process knows no time zone.
std::string when(const Scan& kept) {
  const kelGroupDef& group = findGroup("Scan Info");
  const unsigned long attribId = findAttribute(group, "Scan Date").id;
  for (const GroupResult& result : kept.groups) {
    if (result.group->id != group.id || result.rows.empty()) continue;
    const kelAttribValue* const date = findRecord(result.rows.front(), attribId);
    if (date) return " of " + figureOf(group, *date, {.columns = kLineWidth}).text;
  }
  return "";
}

bool isDenied(const GroupResult& result) {
  return result.obstacle == Obstacle::Denied;
}

bool haveEqualKeys(const kelGroupDef& group, const Row& row, const Row& kept) {
  return std::all_of(group.keys, group.keys + group.keyCount, [&](unsigned long key) {
    const kelAttribValue* const own = findRecord(row, key);
    const kelAttribValue* const other = findRecord(kept, key);
    return own && other && plainText(*own) == plainText(*other);
  });
}

// Whether the rows are of the same things in the same order.
bool areOfTheSame(const GroupResult& result, const GroupResult& kept) {
  return std::equal(result.rows.begin(), result.rows.end(), kept.rows.begin(), kept.rows.end(),
                    [&result](const Row& row, const Row& other) {
                      return haveEqualKeys(*result.group, row, other);
                    });
}

// Whether a source of the attribute may not be read here.
bool isDeniedHere(const GroupResult& result, unsigned long attribId) {
  const AttributeTraits* const traits = attributeTraits(result.group->id, attribId);
  return traits && std::any_of(result.accesses.begin(), result.accesses.end(),
                               [traits](const Access& access) {
                                 return obstacleIn(access) == Obstacle::Denied &&
                                        isSource(*traits, access.source);
                               });
}

void fillRow(const GroupResult& result, Row& row, Row& kept) {
  const kelGroupDef& group = *result.group;
  for (Record& record : kept) {
    const kelAttribDef* const attribute = getAttribDefinitionFromId(&group, record->attribId);
    const kelAttribValue* const own = findRecord(row, record->attribId);
    if (!attribute || !isDefault(group.id, *attribute, own)) continue;
    if (!isDeniedHere(result, attribute->id)) continue;
    std::erase_if(row,
                  [&record](const Record& each) { return each->attribId == record->attribId; });
    row.push_back(std::move(record));
  }
}

void fill(GroupResult& result, GroupResult& kept, const std::string& origin) {
  if (kept.status != Status::Ok) return;
  if (result.status == Status::Denied) {
    result.rows = std::move(kept.rows);
    result.status = Status::Ok;
  } else if (areOfTheSame(result, kept)) {
    for (std::size_t i = 0; i < result.rows.size(); ++i) {
      fillRow(result, result.rows[i], kept.rows[i]);
    }
  } else {
    return;
  }
  result.obstacle = kept.obstacle;
  result.trouble = kept.trouble;
  result.help = kept.help;
  result.origin = origin;
}

}  // namespace

void fillFromKeptScan(Scan& scan) {
  if (std::none_of(scan.groups.begin(), scan.groups.end(), isDenied)) return;
  std::optional<Scan> kept = keptScan();
  if (!kept) return;
  const std::string origin = "from root's scan" + when(*kept);
  for (GroupResult& result : scan.groups) {
    const auto found = std::find_if(
        kept->groups.begin(), kept->groups.end(),
        [&result](const GroupResult& each) { return each.group->id == result.group->id; });
    if (found != kept->groups.end() && isDenied(result)) fill(result, *found, origin);
  }
}

}  // namespace invscan::agent
