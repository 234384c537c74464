#include "invscan/SMBIOS/table/TableReader.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <string_view>
#include <tuple>

#include <invscan/physmem.h>

#include "invscan/SMBIOS/table/TableParser.h"
#include "log/Trace.h"

namespace invscan {
namespace {

constexpr std::uintptr_t kSegmentAddress = 0xF0000;
constexpr int kSegmentSize = 0x10000;
constexpr int kAnchorSize = 15;
constexpr std::string_view kAnchor = "_DMI_";
constexpr int kTraceWidth = 16;

bool readMemory(unsigned char* buffer, std::uintptr_t address, int length) {
  return BIOSROM().getPhysMem(buffer, 0, reinterpret_cast<void*>(address), length) == 0;
}

}  // namespace

void TableReader::allocate(int length) {
  constexpr int kSpareBytes = 5;
  constexpr int kLongest = 1 << 30;  // numbers still reach beyond it
  table_.totalLength_ = length < 0 || length > kLongest ? 0 : length;
  const auto size = static_cast<std::size_t>(table_.totalLength_ + kSpareBytes);
  table_.data_.reset(new (std::nothrow) unsigned char[size]());
  if (!table_.data_) table_.totalLength_ = 0;
}

void TableReader::readFirmware() {
  const Trace trace(getCcLogHw(), "SMBIOSTable()");
  // Of no value before it was read, which most machines do not allow.
  const auto bytes = std::make_unique_for_overwrite<unsigned char[]>(kSegmentSize);
  trace.at().max("hardware Reading F0000 segment");
  if (!readMemory(bytes.get(), kSegmentAddress, kSegmentSize)) return;
  trace.at().max("hardware Looking for _DMI_ signature");
  const TableView view(bytes.get(), kSegmentSize);
  const std::string_view segment(reinterpret_cast<const char*>(bytes.get()), kSegmentSize);
  for (auto at = segment.find(kAnchor); at != segment.npos; at = segment.find(kAnchor, at + 1)) {
    trace.at().max("hardware Found _DMI_ at 000F:%zx", at);
    if (readAnchor(view, static_cast<int>(at))) return traceData();
  }
  table_.init();
}

bool TableReader::readAnchor(const TableView& segment, int at) {
  const Trace trace(getCcLogHw(), "readAnchor()");
  // Behind the end of the segment, which may cut the anchor off, are zeros.
  unsigned char fields[kAnchorSize];
  segment.copy(at, sizeof fields, fields);
  const TableView anchor(fields, sizeof fields);
  const std::uint32_t address = anchor.dword(8);
  allocate(anchor.word(6));
  table_.numTables_ = anchor.word(12);
  trace.at().max("hardware tablelen=%d tableaddr=%x numTables=%d", table_.totalLength_, address,
                 table_.numTables_);
  const unsigned revision = anchor.byte(14);
  // An anchor without a revision has that of the "_SM_" entry point which it is part of.
  table_.majorVersion_ = revision != 0 ? revision >> 4 : segment.byte(at - 10);
  table_.minorVersion_ = revision != 0 ? revision & 0xF : segment.byte(at - 9);
  table_.revision_ = table_.majorVersion_ * 256 + table_.minorVersion_;
  trace.at().max("hardware revision=%x major version=%u minor version=%u", table_.revision_,
                 table_.majorVersion_, table_.minorVersion_);
  trace.at().max("hardware Grabbing memory from absolute location %x", address);
  table_.available_ =
      table_.totalLength_ > 0 && readMemory(table_.data_.get(), address, table_.totalLength_);
  return table_.available_;
}

void TableReader::take(const DmiTables& tables) {
  copy(tables.structures);
  table_.majorVersion_ = tables.majorVersion;
  table_.minorVersion_ = tables.minorVersion;
  table_.revision_ = tables.majorVersion * 256 + tables.minorVersion;
  table_.native_ = true;
  table_.numTables_ = tables.count ? *tables.count : TableParser(table_).countStructures();
  traceData();
}

void TableReader::takeClassic(std::string_view structures, unsigned revision, int count) {
  copy(structures.substr(0, kLargestTable));
  std::tie(table_.majorVersion_, table_.minorVersion_) = versionOf(revision);
  table_.revision_ = revision;
  table_.numTables_ = count;
  traceData();
}

void TableReader::copy(std::string_view structures) {
  allocate(static_cast<int>(structures.size()));
  structures.copy(reinterpret_cast<char*>(table_.data_.get()),
                  static_cast<std::size_t>(table_.totalLength_));
  table_.available_ = true;
}

void TableReader::traceData() const {
  if (!CcLogWrapper::isEnabled(CcLogWrapper::kMax)) return;
  const Trace trace(getCcLogHw(), "traceData()");
  for (int begin = 0; begin < table_.totalLength_; begin += kTraceWidth) {
    std::string numbers, characters;
    for (int at = begin; at < std::min(begin + kTraceWidth, table_.totalLength_); ++at) {
      const unsigned char byte = table_.data_[static_cast<std::size_t>(at)];
      char number[4];
      std::snprintf(number, sizeof number, "%02X ", byte);
      numbers += number;
      characters += byte >= ' ' && byte < 0x7F ? static_cast<char>(byte) : '.';
    }
    trace.at().max("hardware %x--- >%s%s", static_cast<unsigned>(begin), numbers.c_str(),
                   characters.c_str());
  }
}

}  // namespace invscan
