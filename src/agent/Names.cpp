#include "agent/Names.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "agent/Failure.h"
#include "agent/Text.h"

namespace invscan::agent {
namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// How many characters have to be put in, left out or changed to get from one word to the other.
std::size_t editDistance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t change = diagonal + (lower(from[i]) != lower(to[j]));
      diagonal = row[j + 1];
      row[j + 1] = std::min({change, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

// A word that was not finished is as near as one with a slip.
std::size_t distance(std::string_view word, std::string_view name) {
  const bool isBeginning = word.size() >= 3 && sameIgnoringCase(word, name.substr(0, word.size()));
  return isBeginning ? 1 : editDistance(word, name);
}

template <class Row>
const Row* findByName(const std::vector<const Row*>& rows, const std::string& name) {
  const auto found = std::find_if(rows.begin(), rows.end(), [&name](const Row* row) {
    return sameIgnoringCase(row->name, name);
  });
  return found == rows.end() ? nullptr : *found;
}

template <class Row>
std::vector<const char*> namesOf(const std::vector<const Row*>& rows) {
  std::vector<const char*> names;
  for (const Row* row : rows) names.push_back(row->name);
  return names;
}

}  // namespace

bool sameIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

const char* nearest(std::string_view word, const std::vector<const char*>& names) {
  constexpr std::size_t kLongestWord = 100;
  if (names.empty() || word.size() > kLongestWord) return nullptr;
  const char* best = *std::min_element(
      names.begin(), names.end(),
      [word](const char* a, const char* b) { return distance(word, a) < distance(word, b); });
  return distance(word, best) <= std::max<std::size_t>(2, word.size() / 3) ? best : nullptr;
}

std::string suggestion(std::string_view word, const std::vector<const char*>& names) {
  const char* name = nearest(word, names);
  return name ? std::string("; did you mean \"") + name + "\"?" : "";
}

const std::vector<const kelGroupDef*>& allGroups() {
  static const auto all = [] {
    std::vector<const kelGroupDef*> groups;
    for (const kelGroupDef* group = GROUPS_DEF; group->id != kEndOfTable; ++group) {
      groups.push_back(group);
    }
    return groups;
  }();
  return all;
}

std::vector<const kelAttribDef*> attributesOf(const kelGroupDef& group) {
  std::vector<const kelAttribDef*> attributes;
  for (const kelAttribDef* row = group.attribs; row->id != kEndOfTable; ++row) {
    attributes.push_back(row);
  }
  return attributes;
}

const kelGroupDef& findGroup(const std::string& name) {
  if (const kelGroupDef* group = findByName(allGroups(), name)) return *group;
  throw Failure("no group \"" + name + "\"" + suggestion(name, namesOf(allGroups())) +
                "  (\"invscan list\" shows all)");
}

const kelAttribDef& findAttribute(const kelGroupDef& group, const std::string& name) {
  const auto attributes = attributesOf(group);
  if (const kelAttribDef* attribute = findByName(attributes, name)) return *attribute;
  throw Failure("no attribute \"" + name + "\" in " + group.name +
                suggestion(name, namesOf(attributes)) + "  (\"invscan describe '" + group.name +
                "'\" shows all)");
}

std::vector<const kelGroupDef*> findGroups(const std::vector<std::string>& names) {
  if (names.empty()) return allGroups();
  std::vector<const kelGroupDef*> named;
  for (const std::string& name : names) named.push_back(&findGroup(name));
  std::sort(named.begin(), named.end());
  named.erase(std::unique(named.begin(), named.end()), named.end());
  return named;
}

std::size_t placeInCatalogue(const kelGroupDef& group) {
  const auto& all = allGroups();
  const auto found = std::find_if(all.begin(), all.end(),
                                  [name = std::string_view(group.name)](const kelGroupDef* each) {
                                    return name == each->name;
                                  });
  return static_cast<std::size_t>(found - all.begin());
}

std::string attributeName(const kelGroupDef& group, unsigned long attribId) {
  const char* name = getAttribNameFromId(&group, attribId);
  return name ? name : "attribute " + std::to_string(attribId);
}

}  // namespace invscan::agent
