#include "agent/reasons/Reasons.h"

#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>

#include <invscan/machine.h>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

constexpr std::string_view kRunAsRoot = "run as root";
constexpr std::string_view kRunOutside = "run as root of the machine itself, outside of containers";
constexpr std::string_view kLonger = "a longer --timeout or hwscanner.timeout may help";
constexpr std::string_view kAnswered = "ok";
constexpr std::string_view kBroken = "input/output error";

// What outcomes with these words say, and what helps against them.
constexpr struct {
  std::string_view words;
  Obstacle obstacle;
  std::string_view help;
} kOutcomes[] = {
    {"never asked", Obstacle::Unrecorded, "capture the machine again"},
    {"when it was recorded", Obstacle::Denied, "capture the machine again as root"},
    {"permission denied", Obstacle::Denied, kRunAsRoot},
    {"not permitted", Obstacle::Denied, kRunAsRoot},
    {"too many open files", Obstacle::Denied, "raise the limit of open files"},
    {"cannot allocate memory", Obstacle::Denied, "free memory"},
    {"no buffer space", Obstacle::Denied, "free memory"},
    {"address family not supported", Obstacle::Denied, kRunAsRoot},
    {kBroken, Obstacle::Denied, "the kernel's log tells more"},
    {"no answer in time", Obstacle::Unanswered, kLonger},
    {"before it took too long", Obstacle::Unanswered, kLonger},
    {"resource temporarily unavailable", Obstacle::Denied, ""},
};

// Takes the first source off an attribute's list.
std::string_view takeSource(std::string_view& list) {
  constexpr std::string_view kSeparator = "; ";
  const std::string_view source = list.substr(0, list.find(kSeparator));
  list.remove_prefix(std::min(source.size() + kSeparator.size(), list.size()));
  return source;
}

// Whether the whole text fits the pattern, in which an asterisk stands for any text.
bool fits(std::string_view pattern, std::string_view text) {
  const std::size_t star = pattern.find('*');
  if (star == pattern.npos) return pattern == text;
  if (text.substr(0, star) != pattern.substr(0, star)) return false;
  const std::string_view rest = pattern.substr(star + 1);
  for (std::size_t i = star; i <= text.size(); ++i) {
    if (fits(rest, text.substr(i))) return true;
  }
  return false;
}

bool isVerdict(const Access& access) {
  return access.outcome.starts_with(kGave) || access.outcome.starts_with(kOverruled);
}

// What the accesses that fit one source of an attribute came to, each source and outcome once. Many
// that came to the same are told as one.
void addOutcomes(const GroupResult& result, std::string_view source, std::vector<Access>& all) {
  constexpr std::size_t kMostNamed = 3;
  std::map<std::string_view, std::set<std::string_view>> found;  // by outcome
  for (const Access& access : result.accesses) {
    if (!isVerdict(access) && fits(source, access.source)) {
      found[access.outcome].insert(access.source);
    }
  }
  const auto add = [&all](std::string_view name, std::string_view outcome) {
    const bool isNew = std::none_of(all.begin(), all.end(), [&](const Access& other) {
      return other.source == name && other.outcome == outcome;
    });
    if (isNew) all.push_back({std::string(name), std::string(outcome)});
  };
  for (const auto& [outcome, names] : found) {
    const std::string count = outcome == kAnswered ? "" : " (" + std::to_string(names.size()) + ")";
    if (names.size() > kMostNamed) {
      add(std::string(source) + count, outcome);
    } else {
      for (const std::string_view name : names) add(name, outcome);
    }
  }
}

// What the sources of an attribute came to, in the order in which they are asked.
std::vector<Access> outcomesOf(const GroupResult& result, const AttributeTraits& traits) {
  std::vector<Access> all;
  for (std::string_view list = traits.sources; !list.empty();) {
    addOutcomes(result, takeSource(list), all);
  }
  return all;
}

// Sources that came to the same.
std::string inWords(const std::vector<std::string>& sources, const std::string& outcome) {
  const std::string names = joined(sources, ", ");
  return outcome == kAnswered ? names + " answered: this is the value there, or it does not tell"
                              : names + ": " + outcome;
}

std::string withHelp(const std::string& reason, const std::vector<std::string>& outcomes) {
  const std::string help = helpAgainst(outcomes);
  return help.empty() ? reason : reason + "; " + help;
}

// Why there is nothing to say about sources; empty where there is.
std::string reasonForSilence(const AttributeTraits* traits, const std::vector<Access>& outcomes) {
  if (!traits || !*traits->sources) return "never filled on Linux";
  return outcomes.empty() ? std::string("not asked on this machine: ") + traits->sources : "";
}

std::size_t rowsWithDefault(const GroupResult& result, const kelAttribDef& attribute) {
  return static_cast<std::size_t>(
      std::count_if(result.rows.begin(), result.rows.end(), [&](const Row& row) {
        return isDefault(result.group->id, attribute, findRecord(row, attribute.id));
      }));
}

// What came to the same for the same attributes.
struct Cause {
  std::vector<std::string> sources;  // none: the outcome says it all
  std::string outcome;
  std::vector<std::string> attributes;
};

Cause& causeOf(std::vector<Cause>& causes, const std::string& source, const std::string& outcome) {
  const auto found = std::find_if(causes.begin(), causes.end(), [&](const Cause& cause) {
    return cause.outcome == outcome && (cause.sources.empty() || cause.sources[0] == source);
  });
  if (found != causes.end()) return *found;
  return causes.emplace_back(
      Cause{source.empty() ? std::vector<std::string>() : std::vector{source}, outcome, {}});
}

// Sources of one outcome that hold for the same attributes become one cause.
std::vector<Cause> merged(const std::vector<Cause>& causes) {
  std::vector<Cause> all;
  for (const Cause& cause : causes) {
    const auto same = std::find_if(all.begin(), all.end(), [&](const Cause& other) {
      return other.outcome == cause.outcome && other.attributes == cause.attributes;
    });
    if (same == all.end()) {
      all.push_back(cause);
    } else {
      same->sources.insert(same->sources.end(), cause.sources.begin(), cause.sources.end());
    }
  }
  return all;
}

}  // namespace

Obstacle obstacleIn(const Access& access) {
  // What a device does not tell, its driver may answer so.
  if (access.outcome == kBroken && access.source.starts_with("/sys/")) return Obstacle::None;
  for (const auto& [words, obstacle, help] : kOutcomes) {
    if (access.outcome.find(words) != access.outcome.npos) return obstacle;
  }
  return Obstacle::None;
}

std::string helpAgainst(const std::vector<std::string>& outcomes) {
  for (const auto& [words, obstacle, help] : kOutcomes) {
    for (const std::string& outcome : outcomes) {
      if (outcome.find(words) == outcome.npos) continue;
      return std::string(help == kRunAsRoot && geteuid() == 0 ? kRunOutside : help);
    }
  }
  return "";
}

std::string inWords(const std::vector<Access>& failed) {
  std::vector<std::string> reasons, outcomes;
  std::vector<std::pair<std::string, std::vector<std::string>>> sources;  // by outcome
  for (const Access& access : failed) {
    const auto same = std::find_if(sources.begin(), sources.end(),
                                   [&](const auto& each) { return each.first == access.outcome; });
    if (same == sources.end()) {
      sources.push_back({access.outcome, {access.source}});
    } else {
      same->second.push_back(access.source);
    }
  }
  for (const auto& [outcome, names] : sources) {
    reasons.push_back(inWords(names, outcome));
    outcomes.push_back(outcome);
  }
  return withHelp(joined(reasons, "; "), outcomes);
}

bool isSource(const AttributeTraits& traits, std::string_view source) {
  for (std::string_view list = traits.sources; !list.empty();) {
    if (fits(takeSource(list), source)) return true;
  }
  return false;
}

bool hasSources(const AttributeTraits* traits) {
  return traits && *traits->sources && std::string_view(traits->sources) != "constant";
}

bool isMissing(const GroupResult& result, const kelAttribDef& attribute) {
  return rowsWithDefault(result, attribute) == result.rows.size();
}

bool isMissingSomewhere(const GroupResult& result, const kelAttribDef& attribute) {
  return rowsWithDefault(result, attribute) > 0;
}

std::string reasonForDefault(const GroupResult& result, const kelAttribDef& attribute) {
  const AttributeTraits* traits = attributeTraits(result.group->id, attribute.id);
  const std::vector<Access> outcomes = traits ? outcomesOf(result, *traits) : std::vector<Access>();
  const std::string silence = reasonForSilence(traits, outcomes);
  return silence.empty() ? inWords(outcomes) : silence;
}

std::string giverOf(const GroupResult& result, const kelAttribDef& attribute) {
  const AttributeTraits* traits = attributeTraits(result.group->id, attribute.id);
  if (!hasSources(traits)) return traits ? traits->sources : "";
  // ", " parts names, and stands in none.
  const std::string name = std::string(", ") + attribute.name + ",";
  std::vector<std::string> givers;
  for (const Access& access : result.accesses) {
    if (!access.outcome.starts_with(kGave)) continue;
    const std::string given = ", " + access.outcome.substr(sizeof kGave - 1) + ",";
    if (given.find(name) != given.npos) givers.push_back(access.source);
  }
  if (givers.empty()) {
    for (const Access& access : outcomesOf(result, *traits)) {
      if (access.outcome == kAnswered) givers.push_back(access.source);
    }
  }
  return joined(givers, ", ");
}

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

std::vector<Remark> reasonsOf(const GroupResult& result) {
  std::vector<Cause> causes;
  for (const kelAttribDef* attribute : attributesOf(*result.group)) {
    const std::size_t count = rowsWithDefault(result, *attribute);
    if (count == 0 && !result.rows.empty()) continue;
    const std::string label =
        attribute->name +
        (count == result.rows.size()
             ? ""
             : " (" + std::to_string(count) + " of " + counted(result.rows.size(), "row") + ")");
    const AttributeTraits* traits = attributeTraits(result.group->id, attribute->id);
    const auto outcomes = traits ? outcomesOf(result, *traits) : std::vector<Access>();
    const std::string silence = reasonForSilence(traits, outcomes);
    if (!silence.empty()) causeOf(causes, "", silence).attributes.push_back(label);
    for (const Access& access : outcomes) {
      causeOf(causes, access.source, access.outcome).attributes.push_back(label);
    }
  }
  std::vector<Remark> remarks;
  for (const Cause& cause : merged(causes)) {
    const std::string reason =
        cause.sources.empty() ? cause.outcome : inWords(cause.sources, cause.outcome);
    remarks.push_back({withHelp(reason, {cause.outcome}), cause.attributes});
  }
  return remarks;
}

std::vector<Remark> giversOf(const GroupResult& result) {
  std::vector<Remark> remarks;
  for (const kelAttribDef* attribute : attributesOf(*result.group)) {
    if (isMissing(result, *attribute)) continue;
    const std::string giver = giverOf(result, *attribute);
    const std::string text = giver.empty() ? "no source that answered" : giver;
    auto same = std::find_if(remarks.begin(), remarks.end(),
                             [&](const Remark& other) { return other.text == text; });
    if (same == remarks.end()) same = remarks.insert(remarks.end(), {text, {}});
    same->attributes.push_back(attribute->name);
  }
  return remarks;
}

std::string remarkBlock(const std::string& title, const std::vector<Remark>& remarks) {
  std::string text;
  for (const auto& [remark, attributes] : remarks) {
    text += paragraph(printable(remark), "    ", "    ") + wrapped(attributes, "      ");
  }
  return text.empty() ? "" : "  " + title + ":\n" + text;
}

}  // namespace invscan::agent
