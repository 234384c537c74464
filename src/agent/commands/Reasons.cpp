#include "agent/commands/Reasons.h"

#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

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

// What the accesses that fit a source came to. Many that failed alike are told as one.
void addOutcomes(const GroupResult& result, std::string_view source,
                 std::vector<std::string>& answered, std::vector<std::string>& failed) {
  constexpr std::size_t kMostNamed = 3;
  std::set<std::string_view> good;
  std::map<std::string_view, std::set<std::string_view>> bad;  // by outcome
  for (const Access& access : result.accesses) {
    if (!fits(source, access.source)) continue;
    (access.outcome == "ok" ? good : bad[access.outcome]).insert(access.source);
  }
  if (good.size() > kMostNamed) good = {source};
  for (const std::string_view name : good) addOnce(answered, std::string(name));
  for (const auto& [outcome, names] : bad) {
    const std::string text = ": " + std::string(outcome);
    if (names.size() > kMostNamed) {
      addOnce(failed, std::string(source) + " (" + std::to_string(names.size()) + ")" + text);
    } else {
      for (const std::string_view name : names) addOnce(failed, std::string(name) + text);
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

  std::vector<std::string> answered, failed;
  for (std::string_view list = traits->sources; !list.empty();) {
    addOutcomes(result, takeSource(list), answered, failed);
  }
  const std::string help = helpAgainst(failed);
  if (!answered.empty()) {
    failed.insert(failed.begin(), joined(answered, ", ") +
                                      " answered: this is the value there, or it does not tell");
    return joined(failed, "; ") + help;
  }
  if (!failed.empty()) return joined(failed, ", ") + help;
  return std::string("not asked on this machine: ") + traits->sources;
}

}  // namespace invscan::agent
