#include "invscan/linux/utils/MountedFileSystems.h"

#include <algorithm>
#include <cstdint>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

using Reader = std::optional<MountEntry> (*)(std::string_view line);

// In the order in which the kernel is asked.
constexpr struct {
  const char* path;
  Reader readLine;
} kKernelTables[] = {{"/proc/self/mountinfo", readMountInfoLine},
                     {"/proc/self/mounts", readMountLine},
                     {"/proc/mounts", readMountLine}};

std::optional<std::vector<MountEntry>> readTable(const char* path, Reader readLine) {
  const FileText file = machine().readFile(path, kTableLimit);
  if (file.error != 0) return std::nullopt;
  std::vector<MountEntry> entries;
  TextLines lines(file.text, file.text.size());
  for (std::string_view line; lines.next(line);) {
    if (auto entry = readLine(withoutTrailing(line, "\n"))) entries.push_back(std::move(*entry));
  }
  return entries;
}

// As "%s %s %u %u" reads it; none when it has fewer fields.
std::optional<SwapArea> readSwapLine(std::string_view line, bool isNative) {
  constexpr std::string_view kWhiteSpace = " \t\n\v\f\r", kDigits = "+-0123456789";
  const std::string_view name = nextField(line, kWhiteSpace);
  nextField(line, kWhiteSpace);
  const std::string_view sizeText = nextField(line, kWhiteSpace);
  const auto size = findInteger(sizeText), used = findInteger(line);
  if (!size || !used || sizeText.find_first_not_of(kDigits) != sizeText.npos) return std::nullopt;
  SwapArea area{isNative ? decodedMountName(name) : std::string(name), 0, 0};
  const long all = isNative ? std::max(*size, 0L) : static_cast<std::uint32_t>(*size);
  const long taken = isNative ? std::max(*used, 0L) : static_cast<std::uint32_t>(*used);
  area.size = static_cast<unsigned long>(all);
  area.free = static_cast<unsigned long>(std::max(all - taken, 0L));
  return area;
}

// Any of its words will do.
bool isSwapHeader(std::string_view line) {
  constexpr std::string_view kWords[] = {"Filename", "Type", "Size", "Used"};
  return std::any_of(std::begin(kWords), std::end(kWords),
                     [=](std::string_view word) { return line.find(word) != line.npos; });
}

}  // namespace

std::optional<std::vector<MountEntry>> listedMounts() {
  return readTable("/etc/mtab", readMountLine);
}

std::optional<std::vector<MountEntry>> kernelMounts() {
  for (const auto& [path, readLine] : kKernelTables) {
    if (auto entries = readTable(path, readLine)) return entries;
  }
  return listedMounts();
}

std::vector<SwapArea> swapAreas(bool isNative) {
  constexpr std::size_t kLongestHeader = 255;
  const Trace trace(getCcLogHw(), "swapAreas()");
  const FileText file = machine().readFile("/proc/swaps", kTableLimit);
  std::vector<SwapArea> areas;
  if (file.error != 0) return areas;
  const std::string_view header = firstLine(file.text, kLongestHeader);
  if (!isSwapHeader(header)) {
    trace.at().min("hardware Unexpected file format");
    return areas;
  }
  TextLines lines(std::string_view(file.text).substr(header.size()), file.text.size());
  for (std::string_view line; lines.next(line);) {
    if (line.find('#') != line.npos) continue;
    if (auto area = readSwapLine(line, isNative)) areas.push_back(std::move(*area));
  }
  return areas;
}

}  // namespace invscan
