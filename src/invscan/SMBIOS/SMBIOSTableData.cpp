#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <invscan/smbios.h>

#include "invscan/SMBIOS/RecordDump.h"
#include "invscan/SMBIOS/TableView.h"

using invscan::TableView;

namespace {

constexpr int kPlacesForTexts = 15;

std::unique_ptr<char[]> copyOf(std::string_view text) {
  auto copy = std::make_unique_for_overwrite<char[]>(text.size() + 1);
  text.copy(copy.get(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

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
  strings_.reset();
  stringCount_ = 0;
  fields_.resize(static_cast<std::size_t>(length_));
  for (int i = 0; i < length_; ++i) fields_[static_cast<std::size_t>(i)] = bytes.byte(offset + i);
  return offset + length_;
}

void SMBIOSTableData::getStrings(unsigned char* data, int at) {
  const TableView bytes = view(data);
  int n = 0;
  do {
    const std::string_view text = bytes.text(at);
    if (!strings_) {
      strings_ = std::make_unique<std::unique_ptr<char[]>[]>(kPlacesForTexts);
      stringCount_ = kPlacesForTexts;
    }
    if (n < stringCount_) strings_[static_cast<std::size_t>(n++)] = copyOf(text);
    const int length = static_cast<int>(text.size()) + 1;
    stringsLength_ += length;
    at += length;
  } while (bytes.byte(at) != 0);
}

char* SMBIOSTableData::stringFromIndex(int n) const {
  return n < 1 || n > stringCount_ ? nullptr : strings_[static_cast<std::size_t>(n - 1)].get();
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
