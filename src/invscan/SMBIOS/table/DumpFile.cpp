// The table's text form in a file that the host names, which is none of the machine under scan.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <invscan/smbios.h>

#include "base/Hex.h"
#include "base/WrittenFile.h"
#include "invscan/SMBIOS/table/TableReader.h"

using namespace invscan;

namespace {

constexpr unsigned kFormat = 1;
constexpr int kBytesPerLine = 16;

using FilePtr = std::unique_ptr<FILE, decltype(&fclose)>;

}  // namespace

int SMBIOSTable::readBytesFromFile(char* path) {
  const FilePtr file(fopen(path, "r"), fclose);
  if (!file) return 0;
  unsigned format = 0, length = 0, count = 0;
  if (std::fscanf(file.get(), "SMBIOS File Format=%X\n", &format) != 1 || format != kFormat) {
    std::printf("\nERROR - Invalid file format.");
    std::exit(-1);
  }
  native_ = false;
  revision_ = 0;
  const bool isWhole = std::fscanf(file.get(), "SMBIOS Length=%X\n", &length) == 1 &&
                       std::fscanf(file.get(), "SMBIOS NumTables=%X\n", &count) == 1 &&
                       std::fscanf(file.get(), "SMBIOS Revision=%X\n", &revision_) == 1;
  numTables_ = static_cast<int>(count);
  TableReader(*this).allocate(length > kLargestTable ? 0 : static_cast<int>(length));
  if (!isWhole || std::fscanf(file.get(), "SMBIOS Data=") != 0) return 1;
  unsigned value = 0;
  for (int at = 0; at < totalLength_ && std::fscanf(file.get(), " %X", &value) == 1; ++at) {
    data_[static_cast<std::size_t>(at)] = static_cast<unsigned char>(value);
  }
  return 1;
}

int SMBIOSTable::writeBytesToFile(char* path) const try {
  constexpr mode_t kByUmask = 0666;
  writeFile(placeOf(path), textDump(*this), kByUmask);
  return 1;
} catch (const WriteError&) {
  return 0;
}

std::string invscan::textDump(const SMBIOSTable& table) {
  char head[200];
  std::snprintf(head, sizeof head,
                "SMBIOS File Format=0x%04X\n"
                "SMBIOS Length=0x%04X\n"
                "SMBIOS NumTables=0x%04X\n"
                "SMBIOS Revision=0x%02X\n"
                "SMBIOS Data=",
                kFormat, static_cast<unsigned>(table.getTotalLength()),
                static_cast<unsigned>(table.getNumTables()), table.getRevision());
  std::string text = head;
  for (int at = 0; at < table.getTotalLength(); ++at) {
    text += at % kBytesPerLine == 0 ? "\n0x" : "0x";
    appendHex(text, table.getData() + at, 1, kUpperHex);
    text += ' ';
  }
  return text += '\n';
}
