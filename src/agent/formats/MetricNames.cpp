#include "agent/formats/MetricNames.h"

#include <algorithm>

#include <invscan/traits.h>

namespace invscan::agent {
namespace {

bool isUpper(char c) {
  return c >= 'A' && c <= 'Z';
}
bool isLower(char c) {
  return c >= 'a' && c <= 'z';
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Whether a word begins with that capital: "Total|Cores", "L2|Cache", "IO|Memory", but "MHz",
// "IPv6".
bool beginsWord(std::string_view name, std::size_t place) {
  if (place == 0 || !isUpper(name[place])) return false;
  if (isLower(name[place - 1])) return true;
  const bool isFollowed = place + 1 < name.size() && isLower(name[place + 1]);
  const bool endsCapitals = place >= 2 && isUpper(name[place - 1]) && isUpper(name[place - 2]);
  return isFollowed && (endsCapitals || isDigit(name[place - 1]));
}

// What a unit of the catalogue is in base units. Its own word goes from the end of a name, where
// the suffix takes its place. The catalogue's MB are of 1024 KiB.
struct Unit {
  std::string_view unit;
  std::string_view word;
  std::string_view suffix;
  double factor;
  double divisor = 1;
  bool isCounter = false;
};

constexpr Unit kUnits[] = {
    {"bytes", "", "_bytes", 1},
    {"KiB", "_kb", "_bytes", 1024},
    {"MB", "_mb", "_bytes", 1024 * 1024},
    {"MHz", "_mhz", "_hertz", 1e6},
    {"seconds", "_seconds", "_seconds", 1},
    {"hundredths of a second", "", "_seconds", 1, 100},
    {"clock ticks", "_time", "_seconds_total", 1, 100, true},  // of USER_HZ, 100 on this processor
    {"percent", "_percentage", "_ratio", 1, 100},
    {"processors", "", "_processors", 1},
    {"cores", "_in_cores", "_cores", 1},
};

bool dropEnd(std::string& name, std::string_view end) {
  if (!name.ends_with(end)) return false;
  name.resize(name.size() - end.size());
  return true;
}

}  // namespace

std::string snakeCase(std::string_view name) {
  std::string words;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char c = name[i];
    const bool isPart = isUpper(c) || isLower(c) || isDigit(c);
    const bool isGap = !words.empty() && words.back() == '_';
    if ((!isPart || beginsWord(name, i)) && !isGap) words += '_';
    if (isPart) words += isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
  }
  while (words.ends_with('_')) words.pop_back();
  return words.empty() || isDigit(words.front()) ? "_" + words : words;
}

std::string metricPrefix(const kelGroupDef& group) {
  return "invscan_" + snakeCase(group.name);
}

MetricName::MetricName(const kelGroupDef& group, const kelAttribDef& attribute)
    : name(snakeCase(attribute.name)) {
  if (attribute.type == KEL_DATETIME) {
    name += "_timestamp_seconds";
    return;
  }
  // The suffix _count is that of histograms.
  if (dropEnd(name, "_count")) name += "s";
  const AttributeTraits* const traits = attributeTraits(group.id, attribute.id);
  const auto* const unit =
      std::find_if(std::begin(kUnits), std::end(kUnits),
                   [traits](const Unit& each) { return traits && each.unit == traits->unit; });
  if (unit == std::end(kUnits)) return;
  dropEnd(name, unit->word);
  name += unit->suffix;
  factor = unit->factor;
  divisor = unit->divisor;
  isCounter = unit->isCounter;
}

}  // namespace invscan::agent
