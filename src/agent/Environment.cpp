#include "agent/Environment.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/Text.h"

namespace invscan::agent {
namespace {

// PATH and, unless the caller has set it, RES_OPTIONS are the agent's own.
constexpr const char* kKnown[] = {
    "PATH", "LANG", "LC_*", "TZ", "TZDIR", "RES_OPTIONS", "CHECK_ULTRIUM_TAPE_RUNNING"};

bool isKnown(std::string_view name) {
  return std::any_of(std::begin(kKnown), std::end(kKnown), [name](std::string_view known) {
    return known.ends_with('*') ? name.starts_with(known.substr(0, known.size() - 1))
                                : name == known;
  });
}

}  // namespace

void keepKnownVariables() {
  std::vector<std::pair<std::string, std::string>> kept;
  for (char** entry = environ; entry && *entry; ++entry) {
    const std::string_view text = *entry;
    const std::size_t equals = text.find('=');
    if (equals == text.npos || !isKnown(text.substr(0, equals))) continue;
    kept.emplace_back(text.substr(0, equals), text.substr(equals + 1));
  }
  clearenv();
  for (const auto& [name, value] : kept) setenv(name.c_str(), value.c_str(), 1);
}

std::string knownVariables() {
  return joined({std::begin(kKnown), std::end(kKnown)}, ", ");
}

}  // namespace invscan::agent
