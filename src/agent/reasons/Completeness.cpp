#include "agent/reasons/Completeness.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>

#include <invscan/machine.h>
#include <invscan/traits.h>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/reasons/Reasons.h"

namespace invscan::agent {
namespace {

// The obstacles that a group met, and those of them that stand before sources of attributes.
class InTheWay {
 public:
  // Each obstacle counts once, and not where its source answered later, as memory does in other
  // places.
  explicit InTheWay(const GroupResult& result) {
    std::set<std::string_view> answered;
    std::set<std::pair<std::string_view, std::string_view>> known;
    for (auto access = result.accesses.rbegin(); access != result.accesses.rend(); ++access) {
      const Obstacle kind = obstacleIn(*access);
      if (access->outcome == "ok") answered.insert(access->source);
      if (kind == Obstacle::None || answered.count(access->source) != 0) continue;
      if (known.emplace(access->source, access->outcome).second) met_.push_back({&*access, kind});
    }
    std::reverse(met_.begin(), met_.end());
  }

  // Returns whether there is one before this attribute's.
  bool add(const AttributeTraits& traits) {
    bool isThere = false;
    for (Met& obstacle : met_) {
      if (!isSource(traits, obstacle.access->source)) continue;
      isThere = obstacle.isInTheWay = true;
      kind_ = kind_ == Obstacle::None ? obstacle.kind : std::min(kind_, obstacle.kind);
    }
    return isThere;
  }

  bool hasMetNone() const { return met_.empty(); }

  bool isEmpty() const { return kind_ == Obstacle::None; }

  // The first of them all.
  Obstacle kind() const { return kind_; }

  // Of many, the first few of the kind that counts.
  std::vector<Access> named() const {
    constexpr std::size_t kMostNamed = 3;
    std::vector<Access> named;
    for (const Met& obstacle : met_) {
      const bool counts = obstacle.isInTheWay && obstacle.kind == kind_;
      if (counts && named.size() < kMostNamed) named.push_back(*obstacle.access);
    }
    return named;
  }

 private:
  struct Met {
    const Access* access;
    Obstacle kind;
    bool isInTheWay = false;
  };

  std::vector<Met> met_;
  Obstacle kind_ = Obstacle::None;
};

// Whether a group has rows depends on the sources of its first key; where it has none, on those of
// all attributes.
bool tellsOfRows(const kelGroupDef& group, const kelAttribDef& attribute) {
  return group.keyCount == 0 || group.keys[0] == attribute.id;
}

void append(std::string& line, const char* separator, const std::string& text) {
  if (!text.empty()) line += (line.empty() ? "" : separator) + text;
}

// Groups of one kind: those without any answer, and those that lack some of it.
struct Shortfall {
  const char* name;
  Status status;      // of those without an answer
  Obstacle obstacle;  // of both
  bool showsTrouble;  // of each group
};

constexpr Shortfall kShortfalls[] = {
    {"Absent on this machine", Status::Absent, Obstacle::None, false},
    {"Denied", Status::Denied, Obstacle::Denied, false},
    {"Never recorded", Status::Unsupported, Obstacle::Unrecorded, false},
    {"Not supported by this version", Status::Unsupported, Obstacle::None, false},
    {"Timed out", Status::Timeout, Obstacle::Unanswered, true},
    {"Crashed", Status::Crash, Obstacle::None, true},
};

// Of one status there are two kinds.
bool isOfKind(const GroupResult& result, const Shortfall& shortfall) {
  return result.status == shortfall.status &&
         (result.status != Status::Unsupported || result.obstacle == shortfall.obstacle);
}

bool isInPart(const GroupResult& result, const Shortfall& shortfall) {
  return result.status == Status::Ok && result.obstacle != Obstacle::None &&
         result.obstacle == shortfall.obstacle;
}

// Empty where there is nothing of the kind.
std::string lineOf(const Shortfall& shortfall, const Scan& scan, bool tellsOfWhole) {
  std::string whole, part, help;
  for (const GroupResult& result : scan.groups) {
    std::string name = result.group->name;
    if (shortfall.showsTrouble) name += " (" + result.trouble + ")";
    if (tellsOfWhole && isOfKind(result, shortfall)) {
      append(whole, ", ", name);
    } else if (isInPart(result, shortfall)) {
      append(part, ", ", name);
    } else {
      continue;
    }
    if (help.empty() && !shortfall.showsTrouble) help = result.help;
  }
  if (whole.empty() && part.empty()) return "";
  std::string line = std::move(whole);
  if (!part.empty()) append(line, "; ", "in part: " + part);
  return std::string(shortfall.name) + ": " + line + (help.empty() ? "" : " (" + help + ")");
}

}  // namespace

void judge(GroupResult& result) {
  if (result.status != Status::Ok && result.status != Status::Absent) return;
  bool isToldOf = false, isKept = true;
  InTheWay inTheWay(result);
  if (inTheWay.hasMetNone()) return;
  for (const kelAttribDef* attribute : attributesOf(*result.group)) {
    const AttributeTraits* traits = attributeTraits(result.group->id, attribute->id);
    if (!hasSources(traits)) continue;
    const bool isMissingInAll = isMissing(result, *attribute);
    isToldOf |= !isMissingInAll;
    if (!isMissingInAll && !isMissingSomewhere(result, *attribute)) continue;
    const bool isInTheWay = inTheWay.add(*traits);
    if (isMissingInAll && !isInTheWay && tellsOfRows(*result.group, *attribute)) isKept = false;
  }
  if (inTheWay.isEmpty()) return;
  const bool isNothingTold = !isToldOf && isKept;
  if (!isNothingTold && result.rows.empty()) return;
  result.obstacle = inTheWay.kind();
  const std::vector<Access> named = inTheWay.named();
  result.help = helpAgainst({named.front().outcome});
  result.trouble = inWords(named);
  if (!isNothingTold) return;
  result.rows.clear();
  result.status = result.obstacle == Obstacle::Denied       ? Status::Denied
                  : result.obstacle == Obstacle::Unanswered ? Status::Timeout
                                                            : Status::Unsupported;
}

std::vector<std::string> shortfalls(const Scan& scan, Kinds kinds) {
  std::vector<std::string> lines;
  for (const Shortfall& shortfall : kShortfalls) {
    const bool isLack =
        shortfall.status == Status::Denied || shortfall.status == Status::Unsupported;
    std::string line = lineOf(shortfall, scan, kinds == Kinds::All || isLack);
    if (!line.empty()) lines.push_back(std::move(line));
  }
  return lines;
}

bool isIncomplete(const Scan& scan) {
  return std::any_of(scan.groups.begin(), scan.groups.end(), [](const GroupResult& result) {
    return result.obstacle != Obstacle::None || result.status == Status::Unsupported;
  });
}

}  // namespace invscan::agent
