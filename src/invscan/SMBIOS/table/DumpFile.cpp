// The table's text form in a file that the host names, which is none of the machine under scan.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <invscan/smbios.h>

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

int SMBIOSTable::writeBytesToFile(char* path) const {
  const FilePtr file(fopen(path, "w"), fclose);
  if (!file) return 0;
  std::fprintf(file.get(), "SMBIOS File Format=0x%04X\n", kFormat);
  std::fprintf(file.get(), "SMBIOS Length=0x%04X\n", static_cast<unsigned>(totalLength_));
  std::fprintf(file.get(), "SMBIOS NumTables=0x%04X\n", static_cast<unsigned>(numTables_));
  std::fprintf(file.get(), "SMBIOS Revision=0x%02X\n", revision_);
  std::fprintf(file.get(), "SMBIOS Data=");
  for (int at = 0; at < totalLength_; ++at) {
    if (at % kBytesPerLine == 0) std::fprintf(file.get(), "\n");
    std::fprintf(file.get(), "0x%02X ", data_[static_cast<std::size_t>(at)]);
  }
  std::fprintf(file.get(), "\n");
  return 1;
}
