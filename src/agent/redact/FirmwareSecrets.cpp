#include "agent/redact/FirmwareSecrets.h"

#include <algorithm>
#include <set>
#include <span>

namespace invscan::agent {
namespace {

constexpr std::size_t kHeaderSize = 4;
constexpr std::size_t kUuidSize = 16;
constexpr unsigned kOemStrings = 11;
constexpr unsigned kBattery = 22;
constexpr unsigned kAdditionalInformation = 40;
constexpr unsigned kHostInterface = 42;
constexpr unsigned kStringProperty = 46;
constexpr unsigned kLastOfStandard = 46;
constexpr unsigned kEndOfTable = 127;

// Fields with the number of a text, by the type of structure.
constexpr struct {
  unsigned type;
  std::size_t field;
} kTexts[] = {
    {1, 0x07},   // system: serial number
    {2, 0x07},   // board: serial number, asset tag
    {2, 0x08},   //
    {3, 0x07},   // enclosure: the same
    {3, 0x08},   //
    {4, 0x20},   // processor: the same
    {4, 0x21},   //
    {17, 0x18},  // memory device: the same
    {17, 0x19},  //
    {22, 0x07},  // battery: serial number
    {39, 0x08},  // power supply: serial number, asset tag
    {39, 0x09},  //
};

// Fields without texts.
constexpr struct {
  unsigned type;
  std::size_t begin, length;
  FirmwareSecret::Kind kind;
} kFields[] = {
    {1, 0x08, kUuidSize, FirmwareSecret::Uuid},
    {kBattery, 0x10, 2, FirmwareSecret::Unknown},  // serial number of a smart battery
};

bool isMakersOwn(unsigned type) {
  return (type > kLastOfStandard && type != kEndOfTable) || type == kHostInterface ||
         type == kAdditionalInformation;
}

class Structure {
 public:
  // At the front of what is left of a table, which has a header at least.
  explicit Structure(std::string_view rest) : fields_(rest.substr(0, byteAt(rest, 1))) {
    constexpr std::string_view kDoubleNul("\0\0", 2);
    const std::size_t end = std::min(rest.find(kDoubleNul, fields_.size()), rest.size());
    for (std::size_t at = fields_.size(); at < end;) {
      const std::size_t length = std::min(rest.find('\0', at), end) - at;
      texts_.push_back({FirmwareSecret::Text, at, length});
      at += length + 1;
    }
    size_ = std::min(end + kDoubleNul.size(), rest.size());
  }

  std::size_t size() const { return size_; }
  unsigned type() const { return byteAt(fields_, 0); }

  std::vector<FirmwareSecret> secrets() const {
    std::vector<FirmwareSecret> found = isMakersOwn(type()) ? own() : standard();
    std::sort(found.begin(), found.end(),
              [](const auto& a, const auto& b) { return a.begin < b.begin; });
    return found;
  }

 private:
  static unsigned byteAt(std::string_view bytes, std::size_t at) {
    return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
  }

  std::vector<FirmwareSecret> oemTexts() const {
    std::vector<FirmwareSecret> texts = texts_;
    for (FirmwareSecret& text : texts) text.kind = FirmwareSecret::OemText;
    return texts;
  }

  std::vector<FirmwareSecret> own() const {
    std::vector<FirmwareSecret> found = oemTexts();
    if (fields_.size() > kHeaderSize) {
      found.push_back({FirmwareSecret::Unknown, kHeaderSize, fields_.size() - kHeaderSize});
    }
    return found;
  }

  std::vector<FirmwareSecret> standard() const {
    if (type() == kOemStrings || type() == kStringProperty) return oemTexts();
    std::vector<FirmwareSecret> found;
    std::set<unsigned> numbers;  // two fields may have the same text
    for (const auto& [type, field] : kTexts) {
      const unsigned number = byteAt(fields_, field);
      const bool isNew = type == this->type() && number != 0 && number <= texts_.size() &&
                         numbers.insert(number).second;
      if (isNew) found.push_back(texts_[number - 1]);
    }
    for (const auto& [type, begin, length, kind] : kFields) {
      if (type == this->type() && begin + length <= fields_.size()) {
        found.push_back({kind, begin, length});
      }
    }
    return found;
  }

  std::string_view fields_;
  std::vector<FirmwareSecret> texts_;
  std::size_t size_;  // with its texts
};

}  // namespace

std::vector<FirmwareSecret> secretsOfTable(std::string_view structures) {
  std::vector<FirmwareSecret> found;
  std::size_t at = 0;
  for (bool isLast = false; !isLast && at + kHeaderSize <= structures.size();) {
    const Structure structure(structures.substr(at));
    if (static_cast<unsigned char>(structures[at + 1]) < kHeaderSize) break;
    for (const FirmwareSecret& secret : structure.secrets()) {
      found.push_back({secret.kind, at + secret.begin, secret.length});
    }
    isLast = structure.type() == kEndOfTable;
    at += structure.size();
  }
  if (at < structures.size()) {
    found.push_back({FirmwareSecret::Unknown, at, structures.size() - at});
  }
  return found;
}

}  // namespace invscan::agent
