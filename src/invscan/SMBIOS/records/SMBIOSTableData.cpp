#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <invscan/smbios.h>

#include "invscan/SMBIOS/records/RecordDump.h"
#include "invscan/SMBIOS/table/TableView.h"

using invscan::TableView;

namespace {

constexpr int kMostTexts = 15;

}  // namespace

SMBIOSTableData::SMBIOSTableData(int revision) : revision_(revision) {
}

SMBIOSTableData::~SMBIOSTableData() = default;

int SMBIOSTableData::readBlock(unsigned char* data, int offset) {
  const TableView bytes = view(data);
  type_ = bytes.byte(offset);
  length_ = bytes.byte(offset + 1);
  stringsLength_ = 1;
  hasData_ = true;
  textCount_ = 0;
  fields_.resize(static_cast<std::size_t>(length_));
  bytes.copy(offset, fields_.size(), fields_.data());
  return offset + length_;
}

void SMBIOSTableData::getStrings(unsigned char* data, int at) {
  const TableView bytes = view(data);
  const char* const begin = bytes.text(at).data();
  std::string_view kept;
  textCount_ = 0;
  do {
    const std::string_view text = bytes.text(at);
    if (textCount_ < kMostTexts) {
      ++textCount_;
      kept = {begin, static_cast<std::size_t>(text.data() - begin) + text.size()};
    }
    const int length = static_cast<int>(text.size()) + 1;
    stringsLength_ += length;
    at += length;
  } while (bytes.byte(at) != 0);
  texts_ = std::make_unique_for_overwrite<char[]>(kept.size() + 1);
  kept.copy(texts_.get(), kept.size());
  texts_[kept.size()] = '\0';
}

char* SMBIOSTableData::stringFromIndex(int n) const {
  if (n < 1 || n > textCount_) return nullptr;
  char* text = texts_.get();
  while (--n > 0) text += std::strlen(text) + 1;
  return text;
}

char* SMBIOSTableData::removeInvalidChars(char* out, char* in) {
  if (!in) return nullptr;
  const auto cleaned = [](char byte) {
    return static_cast<signed char>(byte) < 32 || byte == 127 ? '.' : byte;
  };
  *std::transform(in, in + std::strlen(in), out, cleaned) = '\0';
  return out;
}

void SMBIOSTableData::dump() const {
  std::printf("\n\nSMBIOS Header -----------------------------------------------------------");
  std::printf("\n   Type  : %d", type_);
  std::printf("\n   Length: x%04X", static_cast<unsigned>(length_));
}

bool SMBIOSTableData::holds(int at, int count) const {
  return TableView(fields_.data(), fields_.size()).covers(at, count);
}

unsigned char SMBIOSTableData::byte(int at) const {
  return TableView(fields_.data(), fields_.size()).byte(at);
}

unsigned short SMBIOSTableData::word(int at) const {
  return TableView(fields_.data(), fields_.size()).word(at);
}

unsigned int SMBIOSTableData::dword(int at) const {
  return TableView(fields_.data(), fields_.size()).dword(at);
}

unsigned long long SMBIOSTableData::qword(int at) const {
  return TableView(fields_.data(), fields_.size()).qword(at);
}

bool SMBIOSTableData::isSince2(unsigned minor) const {
  const auto revision = static_cast<unsigned>(revision_);
  if (isNative()) return revision >= 0x200 + minor;
  return revision >> 8 >= 2 && (revision & 0xFF) >= minor;
}

bool SMBIOSTableData::isNative() const {
  return table_ && table_->isNative();
}

TableView SMBIOSTableData::view(const unsigned char* data) const {
  if (!table_ || data != table_->getData()) return TableView::trusting(data);
  return {data, static_cast<std::size_t>(table_->getTotalLength())};
}

int SMBIOSTextData::readBlock(unsigned char* data, int offset) {
  const int behindFields = SMBIOSTableData::readBlock(data, offset);
  getStrings(data, behindFields);
  return behindFields + stringsLength();
}
