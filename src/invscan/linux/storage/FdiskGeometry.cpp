// What older versions of fdisk print of a disk's geometry.
#include <cctype>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/storage.h>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

constexpr std::size_t kLineLimit = 255;
constexpr std::size_t kOutputLimit = 16 << 20;
constexpr std::string_view kHeads = "heads";

struct Geometry {
  unsigned long heads = 0, sectors = 0, cylinders = 0, kilobytes = 0;
};

struct Destination {
  unsigned long *heads, *cylinders, *sectors, *kilobytes;

  int take(const std::optional<Geometry>& geometry) const {
    if (!geometry || !heads || !cylinders || !sectors || !kilobytes) return 0;
    *heads = geometry->heads;
    *cylinders = geometry->cylinders;
    *sectors = geometry->sectors;
    *kilobytes = geometry->kilobytes;
    return 1;
  }
};

std::string blockDeviceName(const char* name) {
  std::string block = name ? name : "";
  if (block.find("/dev/sg") != block.npos) block[6] = 'd';
  return block;
}

std::vector<std::string_view> tokensOf(std::string_view line) {
  std::vector<std::string_view> tokens;
  for (auto token = nextField(line, " \n"); !token.empty(); token = nextField(line, " \n")) {
    tokens.push_back(token);
  }
  return tokens;
}

// The number of heads is a token with the word behind it, sectors and cylinders follow with a word
// behind each: "255 heads, 63 sectors/track, 30401 cylinders".
std::optional<Geometry> geometryAt(const std::vector<std::string_view>& tokens, std::size_t heads) {
  if (heads + 4 >= tokens.size()) return std::nullopt;
  if (tokens[heads + 1].find(kHeads) == std::string_view::npos) return std::nullopt;
  const long numbers[] = {leadingInteger(tokens[heads]), leadingInteger(tokens[heads + 2]),
                          leadingInteger(tokens[heads + 4])};
  unsigned long count = 1;
  for (const long number : numbers) {
    const bool isGood =
        number > 0 && !__builtin_mul_overflow(count, static_cast<unsigned long>(number), &count);
    if (!isGood) return std::nullopt;
  }
  return Geometry{static_cast<unsigned long>(numbers[0]), static_cast<unsigned long>(numbers[1]),
                  static_cast<unsigned long>(numbers[2]), count / 2};
}

// Leaves the lines behind the first one with the name.
bool findLine(TextLines& lines, std::string_view name, std::string_view& line) {
  while (lines.next(line)) {
    if (line.find(name) != line.npos) return true;
  }
  return false;
}

// From the list of all disks: in the line with the disk's name, behind that, or in the next one.
std::optional<Geometry> listedGeometry(const char* name, bool isInNextLine) {
  const std::string device = blockDeviceName(name),
                    text = machine().runCommand("/sbin/fdisk -l 2>/dev/null", kOutputLimit).text;
  TextLines lines(text, kLineLimit);
  std::string_view line;
  if (device.empty() || !findLine(lines, device, line)) return std::nullopt;
  if (!isInNextLine) return geometryAt(tokensOf(line), 2);
  return lines.next(line) ? geometryAt(tokensOf(line), 0) : std::nullopt;
}

// What the shell, too, takes for the name of a device and nothing else.
bool isDeviceName(std::string_view name) {
  constexpr std::string_view kDirectory = "/dev/", kMarks = "/_-.:+";
  if (!name.starts_with(kDirectory) || name.size() == kDirectory.size()) return false;
  for (const char letter : name) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte > 0x7F || (!std::isalnum(byte) && kMarks.find(letter) == kMarks.npos)) return false;
  }
  return true;
}

}  // namespace
}  // namespace invscan

using namespace invscan;

int getFromFdisk(const char* name, unsigned long* heads, unsigned long* cylinders,
                 unsigned long* sectors, unsigned long* kilobytes) {
  const Trace trace(getCcLogHw(), "getFromFdisk()");
  return Destination{heads, cylinders, sectors, kilobytes}.take(listedGeometry(name, false));
}

int getFromFdisk2(const char* name, unsigned long* heads, unsigned long* cylinders,
                  unsigned long* sectors, unsigned long* kilobytes) {
  const Trace trace(getCcLogHw(), "getFromFdisk2()");
  return Destination{heads, cylinders, sectors, kilobytes}.take(listedGeometry(name, true));
}

int getFromFdiskMount(const char* name, unsigned long* heads, unsigned long* cylinders,
                      unsigned long* sectors, unsigned long* kilobytes) {
  const Trace trace(getCcLogHw(), "getFromFdiskMount()");
  const std::string device = blockDeviceName(name);
  if (!isDeviceName(device)) {
    trace.at().min("hardware not the name of a device: %s", device.c_str());
    return 0;
  }
  const std::string text =
      machine().runCommand("/sbin/fdisk -l " + device + " 2>/dev/null", kOutputLimit).text;
  TextLines lines(text, kLineLimit);
  std::string_view line;
  if (!findLine(lines, kHeads, line)) return 0;
  const auto tokens = tokensOf(line);
  std::size_t word = 1;
  while (word < tokens.size() && tokens[word].find(kHeads) == std::string_view::npos) ++word;
  return Destination{heads, cylinders, sectors, kilobytes}.take(geometryAt(tokens, word - 1));
}
