#include "agent/redact/Placeholders.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>

namespace invscan::agent {
namespace {

// Without marks, in lower case, and without the number of a socket or device that may stand in it.
constexpr std::string_view kFillers[] = {
    "aassettagnum",
    "absent",
    "asernum",
    "assettag",
    "assettagnum",
    "baseboardassettag",
    "baseboardserialnumber",
    "chassisassettag",
    "chassisserialnumber",
    "defaultstring",
    "dimm",
    "dimmassettag",
    "dimmsn",
    "dimmsernum",
    "disabled",
    "empty",
    "fillbyoem",
    "filledbyoem",
    "invalid",
    "na",
    "noassetinformation",
    "noassettag",
    "nodimm",
    "nomodule",
    "nomoduleinstalled",
    "none",
    "notapplicable",
    "notavailable",
    "notinstalled",
    "notpresent",
    "notprovided",
    "notset",
    "notsettable",
    "notspecified",
    "null",
    "oem",
    "oemdefault",
    "sernum",
    "serial",
    "serialnumber",
    "systemassettag",
    "systemserialnumber",
    "tbd",
    "tobefilled",
    "tobefilledbyoem",
    "undefined",
    "uninitialized",
    "unknow",
    "unknown",
    "unspecified",
    // UUIDs that boards come with from the makers of firmware, in either order of bytes.
    "02000300040005000006000700080009",
    "03000200040005000006000700080009",
};

constexpr std::string_view kCommonHostNames[] = {
    "(none)",
    "arch",
    "archlinux",
    "centos",
    "debian",
    "fedora",
    "host",
    "home",
    "internal",
    "lan",
    "linux",
    "live",
    "local",
    "localhost",
    "localdomain",
    "unknown",
    "localhost.localdomain",
    "rocky",
    "ubuntu",
};

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isAmong(std::string_view text, const auto& texts) {
  return std::find(std::begin(texts), std::end(texts), text) != std::end(texts);
}

// Letters and digits alone, in lower case.
std::string bare(std::string_view value) {
  std::string text;
  for (const char c : value) {
    if (std::isalnum(static_cast<unsigned char>(c)) || (c & 0x80)) {
      text += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return text;
}

// One character over and over; a single one only where it says nothing.
bool isRepeated(std::string_view text) {
  constexpr std::size_t kShortest = 4;
  constexpr std::string_view kEmptyMarks = "0fx";
  return text.find_first_not_of(text[0]) == text.npos &&
         (text.size() >= kShortest || kEmptyMarks.find(text[0]) != kEmptyMarks.npos);
}

// Digits that count up or down.
bool isCount(std::string_view text) {
  constexpr std::size_t kShortest = 6;
  if (text.size() < kShortest || !std::all_of(text.begin(), text.end(), isDigit)) return false;
  const int step = (text[1] - text[0] + 10) % 10;
  for (std::size_t i = 1; i < text.size(); ++i) {
    if ((text[i] - text[i - 1] + 10) % 10 != step) return false;
  }
  return step == 1 || step == 9;
}

// What drivers of buses call a device without a serial number: the place of its controller.
bool isPlace(std::string_view value) {
  constexpr std::string_view kForm = "0000:00:00.0";
  const bool isPci =
      value.size() == kForm.size() &&
      std::equal(value.begin(), value.end(), kForm.begin(), [](char c, char form) {
        return form == '0' ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : c == form;
      });
  constexpr std::string_view kController = "hcd.", kOfDrivers = "abcdefghijklmnopqrstuvwxyz_-";
  const std::size_t controller = std::min(value.find(kController), value.size());
  const std::size_t number = std::min(controller + kController.size(), value.size());
  return isPci || (number < value.size() && isDigit(value[number]) &&
                   value.find_first_not_of(kOfDrivers) >= controller);
}

}  // namespace

bool isPlaceholder(std::string_view value) {
  std::string text = bare(value);
  if (text.starts_with("0x")) text.erase(0, 2);
  if (text.empty() || isRepeated(text) || isCount(text) || isPlace(value)) return true;
  if (isAmong(text, kFillers)) return true;
  std::erase_if(text, isDigit);
  return isAmong(text, kFillers) && bare(value).size() <= text.size() + 2;
}

bool isCommonHostName(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
  return lower.empty() || isAmong(lower, kCommonHostNames);
}

}  // namespace invscan::agent
