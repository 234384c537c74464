#include "helpers/cpuid/CpuInfo.h"

#include <string_view>

#include "common/text/Lines.h"
#include "helpers/cpuid/Leaves.h"
#include "invscan/machine/Machine.h"

namespace invscan::cpuid {
namespace {

constexpr char kPath[] = "/proc/cpuinfo";
// The kernel makes the text while it is read: more than the first processor costs more.
constexpr std::size_t kFirstLimit = 1 << 14, kWholeLimit = 64 << 20;
constexpr std::size_t kLineLimit = 1 << 13;

// Calls take(key, value) for each line that has both, until it returns false.
template <class Take>
void eachValue(std::size_t limit, Take take) {
  const FileText file = machine().readFile(kPath, limit);
  TextLines lines(file.text, kLineLimit);
  for (std::string_view line; lines.next(line);) {
    const std::size_t colon = line.find(':');
    if (colon == line.npos) continue;
    if (!take(squeezed(line.substr(0, colon)), line.substr(colon + 1))) break;
  }
}

}  // namespace

const std::string& CpuInfo::first(const std::string& key) {
  static const std::string none;
  if (!first_) {
    first_.emplace();
    // A key that comes again begins the next processor.
    eachValue(kFirstLimit, [&](const std::string& name, std::string_view value) {
      return first_->emplace(name, squeezed(value)).second;
    });
  }
  const auto found = first_->find(key);
  return found == first_->end() ? none : found->second;
}

bool CpuInfo::hasFlag(const std::string& flag) {
  return (" " + first("flags") + " ").find(" " + flag + " ") != std::string::npos;
}

std::vector<CpuInfo::Place> readPlaces() {
  std::vector<CpuInfo::Place> places;
  eachValue(kWholeLimit, [&](const std::string& name, std::string_view value) {
    if (name == "processor") places.emplace_back();
    if (places.empty()) return true;
    if (name == "physical id") places.back().package = findInteger(value);
    if (name == "core id") places.back().core = findInteger(value);
    return true;
  });
  return places;
}

}  // namespace invscan::cpuid
