#include <charconv>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/helper.h>

#include "common/text/Lines.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/enabler/GuestAnswers.h"
#include "invscan/linux/utils/PackageText.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelAttribDef PHYS_PROC_ATTRS_DEF[] = {
    {1, "Id", KEL_ULONG, 0, nullptr},
    {2, "Manufacturer", KEL_STRING, 64, nullptr},
    {3, "Family", KEL_STRING, 64, nullptr},
    {4, "Type", KEL_STRING, 64, nullptr},
    {5, "BrandName", KEL_STRING, 128, nullptr},
    {6, "Signature", KEL_STRING, 16, nullptr},
    {7, "ClockMHz", KEL_ULONG, 0, nullptr},
    {8, "TotalCoreCount", KEL_ULONG, 0, nullptr},
    {9, "ActiveCoreCount", KEL_ULONG, 0, nullptr},
    {10, "TotalProcessorCount", KEL_ULONG, 0, nullptr},
    {11, "ActiveProcessorCount", KEL_ULONG, 0, nullptr},
    {12, "L2CacheSizeKB", KEL_ULONG, 0, nullptr},
    {13, "L3CacheSizeKB", KEL_ULONG, 0, nullptr},
    {14, "Is64Bit", KEL_STRING, 1, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kPackages[] =
    "guest channel; vmware-guestd --cmd 'info-get guestinfo.orv_physical_processor' 2>/dev/null; "
    "vmware-rpctool 'info-get guestinfo.orv_physical_processor' 2>/dev/null; cpuid; helper cpuid";

const AttributeTraits kPhysicalProcessorTraits[] = {
    {1, "", Stable, kPublic, "Running number of the package, from 1.", kPackages, nullptr},
    {2, "", Stable, kPublic, "Maker of the package.", kPackages, nullptr},
    {3, "", Stable, kPublic, "Name of the processor family.", kPackages, nullptr},
    {4, "", Stable, kPublic, "Processor type within the family.", kPackages, nullptr},
    {5, "", Stable, kPublic, "Brand text that the processor reports.", kPackages, nullptr},
    {6, "", Stable, kPublic, "Signature of family, model and stepping, hexadecimal.", kPackages,
     nullptr},
    {7, "MHz", Stable, kPublic, "Clock speed of the package.", kPackages, nullptr, kNoPath,
     kNeverZero},
    {8, "", Stable, kPublic, "Number of cores that the package has.", kPackages, nullptr, kNoPath,
     kNeverZero},
    {9, "", Stable, kPublic, "Number of cores that the system uses.", kPackages, nullptr, kNoPath,
     kNeverZero},
    {10, "", Stable, kPublic, "Number of logical processors that the package has.", kPackages,
     nullptr, kNoPath, kNeverZero},
    {11, "", Stable, kPublic, "Number of logical processors that the system uses.", kPackages,
     nullptr, kNoPath, kNeverZero},
    {12, "KiB", Stable, kPublic, "Size of the second-level cache.", kPackages, nullptr},
    {13, "KiB", Stable, kPublic, "Size of the third-level cache.", kPackages, nullptr},
    {14, "", Stable, kPublic, "Whether the package runs 64-bit programs, T or F.", kPackages,
     nullptr},
    kEndOfTraits,
};

namespace {

constexpr int kMostPackages = 1024;  // that a text may tell of

// The values of a package, as the catalogue numbers them, with their names in the helper's answer
// and in the text of the guest channel's key.
constexpr struct {
  unsigned long id;
  const char *helperName, *keyName;
  std::size_t most;  // bytes of a text; 0 for numbers
} kValues[] = {
    {2, "Manufacturer", "Manufacturer", 64},
    {3, "Family", "Family", 64},
    {4, "Type", "Type", 64},
    {5, "BrandName", "BrandName", 128},
    {6, "Signature", "Signature", 16},
    {7, "CpuClockMHz", "ClockMHz", 0},
    {8, "TotalCoreCount", "TotalCoreCount", 0},
    {9, "ActiveCoreCount", "ActiveCoreCount", 0},
    {10, "TotalProcCount", "TotalProcessorCount", 0},
    {11, "ActiveProcCount", "ActiveProcessorCount", 0},
    {12, "L2CacheSizeKB", "L2CacheSizeKB", 0},
    {13, "L3CacheSizeKB", "L3CacheSizeKB", 0},
    {14, "Is64bit", "Is64Bit", 1},
};

std::vector<Package> askHelper() {
  const VtExecInfo* answer = getCpuidVT();
  if (!answer || answer->result != 0) return {};
  const VtNode* table = vtGetNode(answer, "ProcessorTable", 0);
  const VtNode* node = table ? table->getChild("Processor", 0) : nullptr;
  std::vector<Package> packages;
  for (; node; node = node->next) {
    if (std::string_view(node->name) != "Processor") continue;
    Package& package = packages.emplace_back();
    for (const auto& [id, name, keyName, most] : kValues) {
      const VtVariant* value = node->getValue(name);
      if (!value) continue;
      if (value->kind == kVtString && most > 1) package.texts[id] = vtGetValue(value, "");
      if (value->kind != kVtInteger || vtGetValue(value, 0) < 0) continue;
      if (most == 0) package.numbers[id] = static_cast<unsigned long>(vtGetValue(value, 0));
      if (most == 1) package.texts[id] = vtGetValue(value, 0) != 0 ? "T" : "F";
    }
  }
  return packages;
}

// The processor is asked as well, but only whether there is a host that may tell.
void noteHelper(const kelGroupDef& group) {
  std::string names = getAttribNameFromId(&group, 1);
  for (const auto& value : kValues) {
    names += std::string(", ") + getAttribNameFromId(&group, value.id);
  }
  noteAccess("helper cpuid", kGave + names, 0);
}

// A decimal number and nothing else.
std::optional<unsigned long> wholeNumber(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// Takes "name=value"; false where that makes no sense, or was there before.
bool takeField(std::string_view field, Package& package, std::optional<unsigned long>& count) {
  const std::size_t sign = field.find('=');
  if (sign == field.npos) return false;
  const std::string_view name = trimmed(field.substr(0, sign), kBlank);
  const std::string_view text = trimmed(field.substr(sign + 1), kBlank);
  if (name == "Count") {
    const bool isFirst = !count;
    count = wholeNumber(text);
    return isFirst && count && *count > 0;
  }
  for (const auto& [id, helperName, keyName, most] : kValues) {
    if (name != keyName) continue;
    if (most == 0) {
      const auto number = wholeNumber(text);
      return number && package.numbers.emplace(id, *number).second;
    }
    const bool isFit =
        !text.empty() && text.size() <= most && (most > 1 || text == "T" || text == "F");
    return isFit && package.texts.emplace(id, text).second;
  }
  return false;
}

bool takePackage(std::string_view text, std::vector<Package>& packages) {
  Package package;
  std::optional<unsigned long> count;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('|'), text.size());
    if (!takeField(text.substr(0, end), package, count)) return false;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (package.texts.empty() && package.numbers.empty()) return false;
  if (packages.size() + count.value_or(1) > kMostPackages) return false;
  packages.insert(packages.end(), count.value_or(1), package);
  return true;
}

}  // namespace

std::vector<Package> parsePackages(std::string_view text) {
  std::vector<Package> packages;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(';'), text.size());
    if (!takePackage(text.substr(0, end), packages)) return {};
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return packages;
}

}  // namespace invscan

using namespace invscan;

KelTable* PhysicalProcessorGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  std::vector<Package> packages;
  if (const auto key = physicalProcessorKey()) {
    packages = parsePackages(*key);
    if (packages.empty()) trace.at().min("hardware no processors in %s", key->c_str());
  }
  if (packages.empty()) {
    packages = askHelper();
    if (packages.empty()) return nullptr;
    noteHelper(*getGroupDefinitionFromId(getGroupId()));
  }
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  unsigned long number = 0;
  for (const Package& package : packages) {
    RowBuilder row;
    row.count(1, ++number);
    for (const auto& value : kValues) {
      const auto text = package.texts.find(value.id);
      const auto figure = package.numbers.find(value.id);
      if (text != package.texts.end())
        row.text(value.id, std::string(cutText(text->second, value.most)));
      if (figure != package.numbers.end()) row.count(value.id, figure->second);
    }
    row.addTo(*table);
  }
  return table.release();
}
