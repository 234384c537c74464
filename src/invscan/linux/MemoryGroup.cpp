#include <algorithm>
#include <memory>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/smbios.h>

#include "common/text/Lines.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelAttribDef MEMORY_ATTRS_DEF[] = {
    {1, "Total Physical", KEL_ULONG, 0, nullptr},      {2, "Free Physical", KEL_ULONG, 0, nullptr},
    {3, "Total Virtual", KEL_ULONG, 0, nullptr},       {4, "Free Virtual", KEL_ULONG, 0, nullptr},
    {5, "Total Page", KEL_ULONG, 0, nullptr},          {6, "Free Page", KEL_ULONG, 0, nullptr},
    {7, "Page Size", KEL_ULONG, 0, nullptr},           {8, "Max Memory MB", KEL_ULONG, 0, nullptr},
    {9, "Num Slots Supported", KEL_ULONG, 0, nullptr}, {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kMemoryFigures[] = "/proc/meminfo; sysinfo";
constexpr char kPageFigures[] = "/proc/meminfo; sysinfo; page size";

const AttributeTraits kMemoryTraits[] = {
    {1, "KiB", Stable, kPublic, "Memory that the kernel manages.", kMemoryFigures, nullptr, kNoPath,
     kNeverZero},
    {2, "KiB", Volatile, kPublic, "Memory that is not used at all.", kMemoryFigures, nullptr},
    {3, "KiB", Stable, kPublic, "Physical memory and swap together.", kMemoryFigures, nullptr,
     kNoPath, kNeverZero},
    {4, "KiB", Volatile, kPublic, "Free physical memory and free swap together.", kMemoryFigures,
     nullptr},
    {5, "", Stable, kPublic,
     "Total Physical (KiB) divided by Page Size (bytes): a 1024th of the number of pages.",
     kPageFigures, nullptr, kNoPath, kNeverZero},
    {6, "", Volatile, kPublic,
     "Free Physical (KiB) divided by Page Size (bytes): a 1024th of the number of pages.",
     kPageFigures, nullptr},
    {7, "bytes", Stable, kPublic, "Size of a memory page.", "page size", nullptr, kNoPath,
     kNeverZero},
    {8, "MB", Stable, kPublic,
     "Size of the largest module that the firmware allows times the number of slots.",
     kFirmwareTables, nullptr, kNoPath, kNeverZero},
    {9, "", Stable, kPublic, "Memory slots that the firmware tells of.", kFirmwareTables, nullptr,
     kNoPath, kNeverZero},
    kEndOfTraits,
};

namespace {

constexpr std::size_t kLineLimit = 256;

// All in KiB.
struct MemoryTotals {
  unsigned long totalPhysical = 0, freePhysical = 0, totalVirtual = 0, freeVirtual = 0;
};

// The number of a line "MemTotal:       16303428 kB".
unsigned long parseVal(std::string_view line) {
  nextField(line, " \n");
  return static_cast<unsigned long>(leadingInteger(nextField(line, " \t:")));
}

enum class Key { MemTotal, MemFree, SwapTotal, SwapFree, None };

Key keyAtEndOf(std::string_view text) {
  if (text.ends_with("MemTotal")) return Key::MemTotal;
  if (text.ends_with("MemFree")) return Key::MemFree;
  if (text.ends_with("SwapTotal")) return Key::SwapTotal;
  if (text.ends_with("SwapFree")) return Key::SwapFree;
  return Key::None;
}

// The first of the keys that stand before a colon and a blank, anywhere in the line.
Key keyOf(std::string_view line) {
  constexpr std::string_view kEnd = ": ";
  Key first = Key::None;
  for (auto end = line.find(kEnd); end != line.npos; end = line.find(kEnd, end + kEnd.size())) {
    first = std::min(first, keyAtEndOf(line.substr(0, end)));
  }
  return first;
}

// False when the file tells nothing, or repeats the total that is already known: both send the
// caller to sysinfo. The virtual totals are right because the kernel lists memory before swap.
bool getFromMeminfo(MemoryTotals& totals) {
  const Trace trace(getCcLogHw(), "getFromMeminfo()");
  const FileText file = machine().readFile("/proc/meminfo");
  if (file.error != 0 || file.text.empty()) {
    trace.at().min("hardware Could not open file /proc/meminfo:return=%d", 0);
    return false;
  }
  TextLines lines(file.text, kLineLimit);
  for (std::string_view line; lines.next(line);) {
    const Key key = keyOf(line);
    if (key == Key::MemTotal) {
      const unsigned long total = parseVal(line);
      if (total == totals.totalPhysical) {
        trace.at().min(
            "hardware MemTotal=%lu matches sysinfo data, so exiting from getFromMeminfo, return=%d",
            total, 0);
        return false;
      }
      trace.at().max("hardware previous totalPhysMem=%lu totalVirtMem=%lu", totals.totalPhysical,
                     totals.totalVirtual);
      totals.totalPhysical = totals.totalVirtual = total;
      trace.at().max("hardware totalPhysMem=%lu totalVirtMem=%lu", total, total);
    } else if (key == Key::MemFree) {
      trace.at().max("hardware previous freePhysMem=%lu freeVirtMem=%lu", totals.freePhysical,
                     totals.freeVirtual);
      totals.freePhysical = totals.freeVirtual = parseVal(line);
      trace.at().max("hardware freePhysMem=%lu freeVirtMem=%lu", totals.freePhysical,
                     totals.freeVirtual);
    } else if (key == Key::SwapTotal) {
      totals.totalVirtual += parseVal(line);
      trace.at().max("hardware totalVirtMem=%lu", totals.totalVirtual);
    } else if (key == Key::SwapFree) {
      totals.freeVirtual += parseVal(line);
      trace.at().max("hardware freeVirtMem=%lu", totals.freeVirtual);
    }
  }
  return true;
}

// Takes the fields for bytes whatever the memory unit: hosts compare scans over time, and machines
// with such a unit would seem to have changed their memory.
MemoryTotals getFromSysinfo() {
  const MemoryFigures figures = machine().memoryFigures().value_or(MemoryFigures());
  return {figures.totalRam >> 10, figures.freeRam >> 10,
          (figures.totalSwap >> 10) + (figures.totalRam >> 10),
          (figures.freeSwap >> 10) + (figures.freeRam >> 10)};
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* MemoryGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  MemoryTotals totals;
  if (getFromMeminfo(totals)) {
    trace.at().mid("hardware getFromMeminfo successful");
  } else {
    trace.at().min("hardware getFromMeminfo returned 0 - using sysinfo");
    totals = getFromSysinfo();
  }
  const unsigned long pageSize = machine().pageSize();
  // KiB divided by bytes is no count of pages, but the figure that hosts have stored of every
  // machine so far: with another one all of them would seem to have changed.
  const auto pages = [pageSize](unsigned long kib) { return pageSize == 0 ? 0 : kib / pageSize; };

  unsigned int maxModuleSizeMB = 0, slots = 0;
  getMemorySpecs(&maxModuleSizeMB, &slots);
  const unsigned int maxMemoryMB = maxModuleSizeMB * slots;

  RowBuilder row;
  row.count(1, totals.totalPhysical)
      .count(2, totals.freePhysical)
      .count(3, totals.totalVirtual)
      .count(4, totals.freeVirtual)
      .count(5, pages(totals.totalPhysical))
      .count(6, pages(totals.freePhysical))
      .count(7, pageSize);
  // Compares GiB against MB, so that only nonsense is left out: a stricter comparison would take
  // the figure from hosts that have it of machines whose firmware tells too little.
  if (maxMemoryMB != 0 && maxMemoryMB >= totals.totalPhysical >> 20) {
    row.count(8, static_cast<unsigned long>(maxMemoryMB));
  }
  if (slots != 0) row.count(9, static_cast<unsigned long>(slots));

  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  row.addTo(*table);
  return table.release();
}
