#include "agent/formats/MetricNames.h"

#include "agent/formats/Units.h"

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

// A unit's own word goes from the end of a name, where the suffix takes its place.
constexpr struct {
  std::string_view unit, word;
} kWords[] = {
    {"KiB", "_kb"},           {"MB", "_mb"},
    {"MHz", "_mhz"},          {"seconds", "_seconds"},
    {"clock ticks", "_time"}, {"percent", "_percentage"},
    {"cores", "_in_cores"},
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
  const Unit& unit = unitOf(group.id, attribute.id);
  if (unit.name.empty()) return;
  for (const auto& [unitName, word] : kWords) {
    if (unitName == unit.name && dropEnd(name, word)) break;
  }
  isCounter = unit.name == "clock ticks";
  name.append("_").append(unit.base).append(isCounter ? "_total" : "");
  factor = unit.factor;
  divisor = unit.divisor;
}

}  // namespace invscan::agent
