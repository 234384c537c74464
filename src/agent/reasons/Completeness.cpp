#include "agent/reasons/Completeness.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include <invscan/machine.h>
#include <invscan/traits.h>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/reasons/Reasons.h"

namespace invscan::agent {
namespace {

// Those of sources that did not answer later, as memory does in other places.
std::vector<const Access*> obstaclesOf(const GroupResult& result) {
  std::vector<const Access*> obstacles;
  for (const Access& access : result.accesses) {
    if (obstacleIn(access) != Obstacle::None) {
      obstacles.push_back(&access);
    } else if (access.outcome == "ok") {
      std::erase_if(obstacles, [&](const Access* other) { return other->source == access.source; });
    }
  }
  return obstacles;
}

// The obstacles before the sources of attributes, each once.
class InTheWay {
 public:
  // Returns whether there is one before this attribute's.
  bool add(const AttributeTraits& traits, const std::vector<const Access*>& obstacles) {
    bool isThere = false;
    for (const Access* obstacle : obstacles) {
      if (!isSource(traits, obstacle->source)) continue;
      isThere = true;
      const bool isNew = std::none_of(all_.begin(), all_.end(), [&](const Access& other) {
        return other.source == obstacle->source && other.outcome == obstacle->outcome;
      });
      if (isNew) all_.push_back(*obstacle);
    }
    return isThere;
  }

  bool isEmpty() const { return all_.empty(); }

  // The first of them all.
  Obstacle kind() const {
    Obstacle first = Obstacle::Unrecorded;
    for (const Access& access : all_) first = std::min(first, obstacleIn(access));
    return first;
  }

  // Of many, the first few of the kind that counts.
  std::string inWords() const {
    constexpr std::size_t kMostNamed = 3;
    std::vector<Access> named;
    for (const Access& access : all_) {
      const bool counts = obstacleIn(access) == kind();
      if (counts && named.size() < kMostNamed) named.push_back(access);
    }
    return agent::inWords(named);
  }

  std::string help() const {
    for (const Access& access : all_) {
      if (obstacleIn(access) == kind()) return helpAgainst({access.outcome});
    }
    return "";
  }

 private:
  std::vector<Access> all_;
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
  const auto obstacles = obstaclesOf(result);
  if (obstacles.empty()) return;
  bool isToldOf = false, isKept = true;
  InTheWay inTheWay;
  for (const kelAttribDef* attribute : attributesOf(*result.group)) {
    const AttributeTraits* traits = attributeTraits(result.group->id, attribute->id);
    if (!hasSources(traits)) continue;
    const bool isMissingInAll = isMissing(result, *attribute);
    isToldOf |= !isMissingInAll;
    if (!isMissingInAll && !isMissingSomewhere(result, *attribute)) continue;
    const bool isInTheWay = inTheWay.add(*traits, obstacles);
    if (isMissingInAll && !isInTheWay && tellsOfRows(*result.group, *attribute)) isKept = false;
  }
  if (inTheWay.isEmpty()) return;
  const bool isNothingTold = !isToldOf && isKept;
  if (!isNothingTold && result.rows.empty()) return;
  result.obstacle = inTheWay.kind();
  result.help = inTheWay.help();
  result.trouble = inTheWay.inWords();
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
