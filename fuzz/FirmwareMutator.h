// Changes firmware tables as such: structures are repeated, dropped, given another type, length or
// text, and what tells lengths and checksums is put right again, so that readers come further than
// the first wrong number. Half of the changes are of bytes alone. To be included by one target,
// whose inputs begin with the number of structures (two bytes) and a version.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t largest);

namespace invscan {

inline constexpr std::size_t kTableHead = 3, kEntryPointRoom = 32, kHeaderSize = 4;

class FirmwareMutator {
 public:
  FirmwareMutator(std::string_view input, unsigned seed)
      : random_(seed), head_(input.substr(0, kTableHead)) {
    input.remove_prefix(kTableHead);
    if (input.starts_with("_SM3_") && input.size() >= kEntryPointRoom) {
      entryPoint_ = input.substr(0, kEntryPointRoom);
      input.remove_prefix(kEntryPointRoom);
    }
    while (input.size() >= kHeaderSize) input.remove_prefix(take(input));
  }

  // One change, and everything that depends on it.
  std::string changed() {
    if (structures_.empty()) structures_.push_back({std::string(kHeaderSize, '\0'), ""});
    const std::size_t place = below(structures_.size());
    switch (Structure& chosen = structures_[place]; below(7)) {
      case 0:
        structures_.insert(structures_.begin() + below(structures_.size()), Structure(chosen));
        break;
      case 1:
        structures_.erase(structures_.begin() + static_cast<std::ptrdiff_t>(place));
        break;
      case 2:
        chosen.fields[0] = static_cast<char>(below(8) == 0 ? below(256) : below(47));
        break;
      case 3:
        chosen.fields.resize(kHeaderSize + below(256 - kHeaderSize), static_cast<char>(below(256)));
        break;
      case 4:
        changeFields(chosen.fields);
        break;
      case 5:
        chosen.texts.insert(below(chosen.texts.size() + 1), 1 + below(64), anyTextByte());
        break;
      default:
        chosen.texts.append("another").append(1, '\0');
    }
    return joined();
  }

 private:
  struct Structure {
    std::string fields, texts;  // each text with the NUL behind it
  };

  std::size_t below(std::size_t limit) { return random_() % limit; }

  char anyTextByte() { return static_cast<char>(below(2) == 0 ? 1 + below(255) : ' '); }

  std::size_t take(std::string_view rest) {
    using namespace std::string_view_literals;
    const std::size_t length =
        std::clamp<std::size_t>(static_cast<unsigned char>(rest[1]), kHeaderSize, rest.size());
    const std::size_t end = std::min(rest.find("\0\0"sv, length), rest.size());
    std::string texts(rest.substr(length, end - length));
    if (!texts.empty()) texts += '\0';
    structures_.push_back({std::string(rest.substr(0, length)), std::move(texts)});
    return std::min(std::max(end, length) + 2, rest.size());
  }

  void changeFields(std::string& fields) {
    std::uint8_t bytes[256] = {};
    const std::size_t size = fields.size() - kHeaderSize;
    std::memcpy(bytes, fields.data() + kHeaderSize, size);
    const std::size_t length = LLVMFuzzerMutate(bytes, size, sizeof bytes - kHeaderSize - 1);
    fields.resize(kHeaderSize);
    fields.append(reinterpret_cast<const char*>(bytes), length);
  }

  std::string joined() {
    std::string table;
    for (auto& [fields, texts] : structures_) {
      fields[1] = static_cast<char>(fields.size());
      table += fields + texts + std::string(texts.empty() ? 2 : 1, '\0');
    }
    head_[0] = static_cast<char>(structures_.size() & 0xFF);
    head_[1] = static_cast<char>(structures_.size() >> 8);
    if (!entryPoint_.empty()) tellSize(table.size());
    return head_ + entryPoint_ + table;
  }

  void tellSize(std::size_t size) {
    constexpr std::size_t kChecksum = 5, kLength = 6, kTableSize = 12, kSize = 24;
    for (std::size_t i = 0; i < 4; ++i)
      entryPoint_[kTableSize + i] = static_cast<char>(size >> 8 * i);
    entryPoint_[kLength] = kSize;
    entryPoint_[kChecksum] = 0;
    unsigned sum = 0;
    for (const char byte : entryPoint_.substr(0, kSize)) sum += static_cast<unsigned char>(byte);
    entryPoint_[kChecksum] = static_cast<char>(-sum);
  }

  std::minstd_rand random_;
  std::string head_, entryPoint_;
  std::vector<Structure> structures_;
};

}  // namespace invscan

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t largest, unsigned seed) {
  if (size < invscan::kTableHead || seed % 2 == 0) return LLVMFuzzerMutate(data, size, largest);
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string changed = invscan::FirmwareMutator(input, seed).changed();
  const std::size_t length = std::min(changed.size(), largest);
  std::memcpy(data, changed.data(), length);
  return length;
}
