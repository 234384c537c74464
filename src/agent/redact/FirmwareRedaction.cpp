#include "agent/redact/FirmwareRedaction.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "agent/redact/FirmwareSecrets.h"
#include "agent/smbios/EntryPoints.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kLargestTable = 16 << 20;

// A range of the image: an entry point, or the table of one.
struct Range {
  off_t begin;
  std::size_t length;
  bool isTable;
};

std::string readAt(int file, off_t begin, std::size_t length) {
  std::string bytes(length, '\0');
  const ssize_t count = pread(file, bytes.data(), length, begin);
  bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return bytes;
}

// Entry points that begin in a part of the image, with their tables.
void findRanges(std::string_view bytes, off_t begin, std::vector<Range>& ranges) {
  constexpr char kMark = '_';
  for (std::size_t at = bytes.find(kMark); at != bytes.npos; at = bytes.find(kMark, at + 1)) {
    const std::string_view rest = bytes.substr(at);
    for (const EntryPointForm& form : kEntryPointForms) {
      if (!rest.starts_with(form.anchor) || rest.size() < form.size) continue;
      const std::uint64_t length = numberAt(rest, form.lengthAt, form.lengthSize);
      const auto address = static_cast<off_t>(numberAt(rest, form.addressAt, form.addressSize));
      ranges.push_back({begin + static_cast<off_t>(at), form.size, false});
      ranges.push_back({address, std::min<std::size_t>(length, kLargestTable), true});
    }
  }
}

// Of the whole image. Parts between holes are read with some of what is before, so that nothing is
// missed where one ends.
int rangesOf(int image, std::vector<Range>& ranges) {
  constexpr std::size_t kPart = 1 << 20, kOverlap = 0x20;
  constexpr std::size_t kMostRanges = 1000, kMostBytes = 4 * kLargestTable;
  off_t end = 0;
  for (off_t begin; (begin = lseek(image, end, SEEK_DATA)) >= 0;) {
    end = lseek(image, begin, SEEK_HOLE);
    for (off_t at = begin; at < end; at += kPart) {
      const auto length = std::min<off_t>(kPart + kOverlap, end - at);
      findRanges(readAt(image, at, static_cast<std::size_t>(length)), at, ranges);
      if (ranges.size() > kMostRanges) return EFBIG;
    }
  }
  std::erase_if(ranges, [](const Range& range) { return range.begin < 0 || range.length == 0; });
  std::size_t sum = 0;
  for (const Range& range : ranges) sum += range.length;
  return sum > kMostBytes ? EFBIG : 0;
}

}  // namespace

void learnTable(std::string_view structures, Replacements& replacements) {
  for (const FirmwareSecret& secret : secretsOfTable(structures)) {
    const std::string bytes(structures.substr(secret.begin, secret.length));
    if (secret.kind == FirmwareSecret::Text) replacements.add(bytes);
    if (secret.kind == FirmwareSecret::Uuid) replacements.addUuid(bytes);
  }
}

std::string redactTable(std::string structures, Replacements& replacements) {
  const auto secrets = secretsOfTable(structures);
  for (const auto& [kind, begin, length] : secrets) {
    const std::string bytes = structures.substr(begin, length);
    const std::string redacted = kind == FirmwareSecret::Uuid      ? replacements.inUuid(bytes)
                                 : kind == FirmwareSecret::Unknown ? std::string(length, '\0')
                                                                   : replacements.inField(bytes);
    structures.replace(begin, length, redacted);
  }
  return replacements.inBytes(structures);
}

int learnImage(int image, Replacements& replacements) {
  std::vector<Range> ranges;
  if (const int error = rangesOf(image, ranges)) return error;
  for (const auto& [begin, length, isTable] : ranges) {
    if (isTable) learnTable(readAt(image, begin, length), replacements);
  }
  return 0;
}

int redactImage(int image, int target, Replacements& replacements) {
  std::vector<Range> ranges;
  if (const int error = rangesOf(image, ranges)) return error;
  struct stat status {};
  if (fstat(image, &status) != 0 || ftruncate(target, status.st_size) != 0) return errno;
  const auto write = [target](const std::string& bytes, off_t begin) {
    const auto size = static_cast<ssize_t>(bytes.size());
    return pwrite(target, bytes.data(), bytes.size(), begin) == size;
  };
  for (Range& range : ranges) {
    const std::string bytes = readAt(image, range.begin, range.length);
    range.length = bytes.size();
    if (!write(bytes, range.begin)) return EIO;
  }
  // Tables may overlap, where an entry point is none: each is redacted as the ones before left it.
  for (const auto& [begin, length, isTable] : ranges) {
    if (!isTable) continue;
    const std::string bytes = readAt(target, begin, length);
    if (bytes.size() != length || !write(redactTable(bytes, replacements), begin)) return EIO;
  }
  return 0;
}

}  // namespace invscan::agent
