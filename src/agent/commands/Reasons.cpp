#include "agent/commands/Reasons.h"

#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

#include <invscan/machine.h>
#include <invscan/traits.h>

#include "agent/Text.h"

namespace invscan::agent {
namespace {

constexpr std::string_view kRunAsRoot = "run as root";

// What helps against an outcome that has these words.
constexpr struct {
  std::string_view words, help;
} kHelp[] = {
    {"never asked", "capture the machine again"},
    {"when it was recorded", "capture the machine again as root"},
    {"permission denied", kRunAsRoot},
    {"not permitted", kRunAsRoot},
    {"timed out", "raise --timeout"},
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

void addOnce(std::vector<std::string>& texts, const std::string& text) {
  if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
}

// Sources that came to the same.
struct Failed {
  std::string outcome;
  std::vector<std::string> sources;
};

void addFailed(std::vector<Failed>& all, std::string_view outcome, const std::string& source) {
  auto same = std::find_if(all.begin(), all.end(),
                           [&](const Failed& each) { return each.outcome == outcome; });
  if (same == all.end()) same = all.insert(all.end(), {std::string(outcome), {}});
  addOnce(same->sources, source);
}

// What the accesses that fit a source came to. Many that failed alike are told as one.
void addOutcomes(const GroupResult& result, std::string_view source,
                 std::vector<std::string>& answered, std::vector<Failed>& failed) {
  constexpr std::size_t kMostNamed = 3;
  std::set<std::string_view> good;
  std::map<std::string_view, std::set<std::string_view>> bad;  // by outcome
  for (const Access& access : result.accesses) {
    const std::string_view outcome = access.outcome;
    const bool isVerdict = outcome.starts_with(kGave) || outcome.starts_with(kOverruled);
    if (isVerdict || !fits(source, access.source)) continue;
    (access.outcome == "ok" ? good : bad[access.outcome]).insert(access.source);
  }
  if (good.size() > kMostNamed) good = {source};
  for (const std::string_view name : good) addOnce(answered, std::string(name));
  for (const auto& [outcome, names] : bad) {
    if (names.size() > kMostNamed) {
      addFailed(failed, outcome, std::string(source) + " (" + std::to_string(names.size()) + ")");
    } else {
      for (const std::string_view name : names) addFailed(failed, outcome, std::string(name));
    }
  }
}

}  // namespace

std::string helpAgainst(const std::vector<std::string>& outcomes) {
  for (const auto& [words, help] : kHelp) {
    if (help == kRunAsRoot && geteuid() == 0) continue;
    for (const std::string& outcome : outcomes) {
      if (outcome.find(words) != outcome.npos) return "; " + std::string(help);
    }
  }
  return "";
}

std::string reasonForDefault(const GroupResult& result, const kelAttribDef& attribute) {
  const AttributeTraits* traits = attributeTraits(result.group->id, attribute.id);
  if (!traits || !*traits->sources) return "never filled on Linux";

  std::vector<std::string> answered;
  std::vector<Failed> failed;
  for (std::string_view list = traits->sources; !list.empty();) {
    addOutcomes(result, takeSource(list), answered, failed);
  }
  std::vector<std::string> reasons, outcomes;
  if (!answered.empty()) {
    reasons.push_back(joined(answered, ", ") +
                      " answered: this is the value there, or it does not tell");
  }
  for (const auto& [outcome, sources] : failed) {
    reasons.push_back(joined(sources, ", ") + ": " + outcome);
    outcomes.push_back(outcome);
  }
  if (reasons.empty()) return std::string("not asked on this machine: ") + traits->sources;
  return joined(reasons, "; ") + helpAgainst(outcomes);
}

}  // namespace invscan::agent
