#include "agent/smbios/SmbiosDump.h"

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/smbios/EntryPoints.h"
#include "base/RegularFile.h"
#include "base/Trim.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kLargestTable = 16 << 20;
constexpr std::size_t kLargestFile = 6 * kLargestTable;  // a byte is five characters of a text dump
constexpr mode_t kOwnerOnly = 0600;

std::string readWhole(const std::string& file) {
  std::string text;
  const int error = readRegularFile(file, kLargestFile, text);
  if (error == EFBIG) throw Failure(file + ": too large for a dump");
  if (error == EINVAL || error == EISDIR) {
    throw Failure(file + ": not a regular file; --read needs a dump");
  }
  if (error) throw Failure(file + ": " + errorText(error));
  return text;
}

constexpr std::string_view kFirstLabel = "SMBIOS File Format=";

struct Dump {
  int count = 0;
  unsigned revision = 0;
  std::string structures;
};

class TextDumpReader {
 public:
  TextDumpReader(const std::string& file, std::string_view text) : file_(file), rest_(text) {}

  Dump read() {
    constexpr unsigned kFormat = 1;
    const unsigned format = field(kFirstLabel, 0xFFFFFFFF);
    if (format != kFormat) fail("of format " + std::to_string(format) + ", and only 1 is known");
    const unsigned length = field("SMBIOS Length=", kLargestTable);
    Dump dump;
    dump.count = static_cast<int>(field("SMBIOS NumTables=", kLargestTable));
    dump.revision = field("SMBIOS Revision=", 0xFFFF);
    label("SMBIOS Data=");
    dump.structures.reserve(length);
    while (dump.structures.size() < length) dump.structures += nextByte(dump, length);
    skipBlanks();
    if (!rest_.empty()) fail("more behind the " + counted(length, "byte") + " of the table");
    return dump;
  }

 private:
  [[noreturn]] void fail(const std::string& problem) const {
    throw Failure(file_ + ": not a usable dump: " + problem);
  }

  void skipBlanks() { rest_ = withoutLeading(rest_, " \t\r\n"); }

  void label(std::string_view name) {
    skipBlanks();
    if (!rest_.starts_with(name)) fail("\"" + std::string(name) + "\" is not where it belongs");
    rest_.remove_prefix(name.size());
  }

  unsigned field(std::string_view name, unsigned most) {
    label(name);
    const auto value = number(most);
    if (!value) fail("no number up to " + std::to_string(most) + " behind " + std::string(name));
    return *value;
  }

  char nextByte(const Dump& dump, unsigned length) {
    skipBlanks();
    const std::size_t done = dump.structures.size();
    if (rest_.empty()) fail(std::to_string(done) + " of " + counted(length, "byte") + " are there");
    const auto value = number(0xFF);
    if (!value) fail("byte " + std::to_string(done) + " is no number from 0x00 to 0xFF");
    return static_cast<char>(*value);
  }

  // Hexadecimal, with or without 0x, up to the next blank.
  std::optional<unsigned> number(unsigned most) {
    std::string_view word = rest_.substr(0, rest_.find_first_of(" \t\r\n"));
    rest_.remove_prefix(word.size());
    if (word.starts_with("0x")) word.remove_prefix(2);
    unsigned value = 0;
    const auto [end, error] = std::from_chars(word.begin(), word.end(), value, 16);
    if (error != std::errc() || end != word.end() || value > most) return std::nullopt;
    return value;
  }

  const std::string& file_;
  std::string_view rest_;
};

constexpr std::size_t kEntryPointSize = 32;

const EntryPointForm* entryPointForm(std::string_view bytes) {
  if (bytes.size() < kEntryPointSize) return nullptr;
  for (const EntryPointForm& form : kEntryPointForms) {
    if (bytes.starts_with(form.anchor)) return &form;
  }
  return nullptr;
}

// Where the entry point says, when that is in the file: some tools leave the address as it was in
// memory.
std::string structuresOf(const std::string& file, const std::string& bytes,
                         const EntryPointForm& form) {
  const std::uint64_t address = numberAt(bytes, form.addressAt, form.addressSize);
  const bool isInFile = address >= kEntryPointSize && address < bytes.size();
  std::string structures = bytes.substr(isInFile ? address : kEntryPointSize);
  // A table of the 64-bit form may be shorter than announced.
  const bool isExact = form.lengthSize == 2;
  const std::size_t announced = isExact ? numberAt(bytes, form.lengthAt, form.lengthSize) : 0;
  if (structures.size() < announced) {
    throw Failure(file + ": not a usable dump: " + std::to_string(structures.size()) + " of " +
                  counted(announced, "byte") + " are there");
  }
  return structures;
}

std::unique_ptr<SMBIOSTable> readAsHostsKnowIt(const SMBIOSTable& table) {
  const std::string structures(reinterpret_cast<const char*>(table.getData()),
                               static_cast<std::size_t>(table.getTotalLength()));
  return decodeStructures(structures, table.getRevision(), table.getNumTables(), false);
}

}  // namespace

std::unique_ptr<SMBIOSTable> readDump(const std::string& file, bool classic) {
  const std::string bytes = readWhole(file);
  std::unique_ptr<SMBIOSTable> table;
  if (bytes.starts_with(kFirstLabel)) {
    const Dump dump = TextDumpReader(file, bytes).read();
    table = decodeStructures(dump.structures, dump.revision, dump.count, !classic);
  } else if (const EntryPointForm* form = entryPointForm(bytes)) {
    table =
        decodeFirmwareTables(bytes.substr(0, kEntryPointSize), structuresOf(file, bytes, *form));
    if (table && classic) table = readAsHostsKnowIt(*table);
  } else {
    throw Failure(file + ": neither a text dump nor an entry point with its table");
  }
  if (!table || table->getTotalLength() == 0) {
    throw Failure(file + ": not a usable dump: the table is empty");
  }
  return table;
}

void writeDump(const std::string& file, const SMBIOSTable& table, bool replace) {
  struct stat status {};
  const bool isThere = lstat(file.c_str(), &status) == 0;
  if (isThere && !S_ISREG(status.st_mode)) {
    throw Failure(file + ": not a regular file; --dump writes nothing else");
  }
  if (isThere && !replace) throw Failure(file + ": is there already; --force replaces it");
  const std::string text = textDump(table);
  returnFromFailedWrites();
  replace ? writeFile(file, text, kOwnerOnly) : makeFile(file, text, kOwnerOnly);
}

}  // namespace invscan::agent
