#include "invscan/linux/utils/InterfaceList.h"

#include <deque>
#include <unordered_map>

#include <invscan/process.h>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
constexpr std::string_view kLettersAndDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
// Hexadecimal digits would end at F; hosts compare digests of what this lets through.
constexpr std::string_view kAddressDigits = "0123456789ABCDEFGH";
constexpr std::size_t kLongestHardwareAddress = 127;

constexpr std::string_view kHardwareMark = "HWaddr ";
constexpr std::string_view kFamilyMark = "inet";
constexpr std::string_view kAddressMark = "addr:";

bool isOneOf(char character, std::string_view characters) {
  return characters.find(character) != std::string_view::npos;
}

// What stands behind a mark; none when the mark is not in the text.
std::optional<std::string_view> textBehind(std::string_view text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  if (at == std::string_view::npos) return std::nullopt;
  return text.substr(at + mark.size());
}

// Line by line, the interface that is being described.
class InterfaceReader {
 public:
  explicit InterfaceReader(IfInfoList& list) : list_(list) {}

  void take(std::string_view line) {
    if (!isOneOf(line.front(), kWhiteSpace)) {
      begin(line);
    } else if (current_) {
      addAddress(line);
    }
  }

  void finish() {
    if (current_) list_.add(*current_);
    current_.reset();
  }

 private:
  void begin(std::string_view line) {
    finish();
    current_.emplace();
    const std::string_view name = line.substr(0, line.find_first_not_of(kLettersAndDigits));
    if (!name.empty()) current_->texts[IfInfo::kName] = name;
    if (const auto hardware = textBehind(line.substr(name.size()), kHardwareMark)) {
      const auto canonical = canonicalHardwareAddress(*hardware);
      current_->texts[IfInfo::kHardware] = canonical ? *canonical : std::string(*hardware);
    }
  }

  void addAddress(std::string_view line) {
    const std::size_t family = line.find(kFamilyMark);
    const std::size_t mark = line.find(kAddressMark);
    if (mark == std::string_view::npos || family >= mark) return;
    if (family == 0 || !isOneOf(line[family - 1], kWhiteSpace)) return;
    std::string_view rest = line.substr(mark + kAddressMark.size());
    const std::string address(nextField(rest, kWhiteSpace));
    if (address.empty()) return;
    const char version = line[family + kFamilyMark.size()];
    if (version == '6') {
      addIpv6(address);
    } else if (isOneOf(version, kWhiteSpace)) {
      current_->texts[IfInfo::kIPv4] = address;
    }
  }

  void addIpv6(const std::string& address) {
    IPv6_entry entry;
    entry.address = address;
    getScope(entry.scope, address.c_str());
    current_->ipv6.push_back(std::move(entry));
    current_->texts[IfInfo::kIPv6] = address;
  }

  IfInfoList& list_;
  std::optional<IfInfo> current_;
};

}  // namespace

void readInterfaces(std::string_view printed, IfInfoList& list) {
  constexpr std::size_t kLongestLine = 511;
  InterfaceReader reader(list);
  for (std::string_view line; !(line = nextField(printed, "\n")).empty();) {
    line = cutText(line.substr(0, line.find('\0')), kLongestLine);
    if (!line.empty()) reader.take(line);
  }
  reader.finish();
}

std::optional<std::string> canonicalHardwareAddress(std::string_view text) {
  if (text.size() > kLongestHardwareAddress) return std::nullopt;
  std::string canonical;
  int parts = 0;
  for (bool isLast = false; !isLast; ++parts) {
    const std::string_view part = text.substr(0, text.find(':'));
    isLast = part.size() == text.size();
    text.remove_prefix(part.size() + (isLast ? 0 : 1));
    if (part.empty() || part.size() > 2) return std::nullopt;
    if (parts > 0) canonical += ':';
    if (part.size() == 1) canonical += '0';
    for (const char character : part) {
      const bool isLower = character >= 'a' && character <= 'z';
      const char digit = isLower ? static_cast<char>(character - 'a' + 'A') : character;
      if (!isOneOf(digit, kAddressDigits)) return std::nullopt;
      canonical += digit;
    }
  }
  if (parts != 6) return std::nullopt;
  return canonical;
}

std::string_view trimmedHardwareAddress(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size() && (isOneOf(text[length], kAddressDigits) || text[length] == ':')) {
    ++length;
  }
  return text.substr(0, length);
}

}  // namespace invscan

using namespace invscan;

struct IfInfoList::Entries {
  std::deque<IfInfo> inOrder;
  std::unordered_map<std::string, IfInfo*> byName;
  // Of those that were in the list when it was asked last; empty when it has changed since.
  std::unordered_map<std::string, const IfInfo*> byAddress;
};

const std::string& IfInfo::text(Member member) const {
  static const std::string none;
  return texts[member] ? *texts[member] : none;
}

IfInfoList::IfInfoList() : entries_(std::make_unique<Entries>()) {
}

IfInfoList::~IfInfoList() = default;

void IfInfoList::add(const IfInfo& interface) {
  const auto& texts = interface.texts;
  if (!texts[IfInfo::kName] && !texts[IfInfo::kIPv4] && !texts[IfInfo::kIPv6] &&
      !texts[IfInfo::kHardware]) {
    return;
  }
  entries_->byAddress.clear();
  const auto known =
      texts[IfInfo::kName] ? entries_->byName.find(*texts[IfInfo::kName]) : entries_->byName.end();
  if (known == entries_->byName.end()) {
    IfInfo& added = entries_->inOrder.emplace_back(interface);
    if (texts[IfInfo::kName]) entries_->byName.emplace(*texts[IfInfo::kName], &added);
    return;
  }
  IfInfo& entry = *known->second;
  for (int member = 0; member < IfInfo::kMembers; ++member) {
    if (texts[member]) entry.texts[member] = texts[member];
  }
  if (!interface.ipv6.empty()) entry.ipv6 = interface.ipv6;
}

int IfInfoList::getCount() const {
  return static_cast<int>(entries_->inOrder.size());
}

const IfInfo* IfInfoList::get(int index) const {
  return index >= 0 && index < getCount() ? &entries_->inOrder[static_cast<std::size_t>(index)]
                                          : nullptr;
}

const IfInfo* find_if(const char* name, const IfInfoList& list) {
  const auto found = list.entries_->byName.find(name);
  return found == list.entries_->byName.end() ? nullptr : found->second;
}

const IfInfo* findIPv4(IfInfoList& list, const char* address) {
  if (!address || !*address) return nullptr;
  auto& [inOrder, byName, byAddress] = *list.entries_;
  if (byAddress.empty()) {
    for (const IfInfo& entry : inOrder) byAddress.emplace(entry.text(IfInfo::kIPv4), &entry);
  }
  const auto found = byAddress.find(address);
  return found == byAddress.end() ? nullptr : found->second;
}

void populateIfInfoList(IfInfoList& list) {
  const Trace trace(getCcLogHw(), "populateIfInfoList()");
  const std::string line = std::string("ifconfig -a") + StdErrRedir;
  CommandOutput output = machine().runCommand(line, kTableLimit);
  if (!output.started) output = machine().runCommand("/sbin/" + line, kTableLimit);
  readInterfaces(output.text, list);
  trace.at().max("hardware %d interfaces", list.getCount());
}

int convertMacToCanonical(char* address) {
  const auto canonical = canonicalHardwareAddress(address);
  if (!canonical) return 1;
  address[canonical->copy(address, canonical->size())] = '\0';
  return 0;
}

void trimMac(char* address) {
  address[trimmedHardwareAddress(address).size()] = '\0';
}
