#include "agent/redact/CaptureFile.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "agent/redact/DiskAnswers.h"
#include "agent/redact/FirmwareRedaction.h"
#include "agent/smbios/EntryPoints.h"
#include "base/Trim.h"

namespace invscan::agent {
namespace {

using Text = const std::string&;

// The text with each line as the function makes it; line ends stay.
template <class Change>
std::string changeLines(std::string_view text, Change change) {
  std::string result;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    result += change(line);
    text.remove_prefix(line.size());
    if (!text.empty()) result += '\n';
    text.remove_prefix(std::min<std::size_t>(text.size(), 1));
  }
  return result;
}

template <class Use>
void forEachLine(std::string_view text, Use use) {
  changeLines(text, [&](std::string_view line) {
    use(line);
    return "";
  });
}

// The text with each of its words as the function makes it.
template <class Change>
std::string changeWords(std::string_view text, Change change) {
  constexpr std::string_view kBlanks = " \t\n";
  std::string result;
  while (!text.empty()) {
    const bool isBlank = kBlanks.find(text.front()) != kBlanks.npos;
    const std::size_t end = isBlank ? text.find_first_not_of(kBlanks) : text.find_first_of(kBlanks);
    const std::string_view word = text.substr(0, end);
    result += isBlank ? std::string(word) : change(word);
    text.remove_prefix(word.size());
  }
  return result;
}

bool isAmong(std::string_view text, const auto& texts) {
  return std::find(std::begin(texts), std::end(texts), text) != std::end(texts);
}

// With hardly any control characters.
bool isPlainText(std::string_view text) {
  constexpr std::string_view kOfTexts = "\t\n\v\f\r\x1B";
  constexpr std::ptrdiff_t kFewest = 16;
  const auto controls = std::count_if(text.begin(), text.end(), [=](char c) {
    return c >= 0 && c < ' ' && kOfTexts.find(c) == kOfTexts.npos;
  });
  return controls * kFewest <= static_cast<std::ptrdiff_t>(text.size());
}

// The part of a line behind the mark, if the name before it is one of those that the function
// knows.
template <class IsSecret>
std::string_view secretOf(std::string_view line, char mark, IsSecret isSecret) {
  const std::size_t place = line.find(mark);
  if (place == line.npos || !isSecret(line.substr(0, place))) return {};
  return line.substr(place + 1);
}

// ---- texts ----

void learnNothing(std::string_view, Replacements&) {
}

std::string redactText(Text text, Replacements& replacements) {
  return replacements.inText(text);
}

void learnValues(std::string_view text, Replacements& replacements) {
  forEachLine(text, [&](std::string_view line) { replacements.add(line); });
}

std::string redactValues(Text text, Replacements& replacements) {
  return changeLines(text, [&](std::string_view line) { return replacements.inValue(line); });
}

void learnHosts(std::string_view text, Replacements& replacements) {
  forEachLine(text, [&](std::string_view line) { replacements.addHost(trimmed(line, kBlank)); });
}

std::string redactHosts(Text text, Replacements& replacements) {
  return changeLines(text, [&](std::string_view line) { return replacements.inHost(line); });
}

// Adapters have the host's name in theirs: "QLE2562 FW:v5.06 HN:atlas".
std::string redactMarkedHosts(Text text, Replacements& replacements) {
  constexpr std::string_view kMark = "HN:";
  return changeWords(text, [&](std::string_view word) {
    if (!word.starts_with(kMark)) return std::string(word);
    return std::string(kMark) + replacements.inHost(word.substr(kMark.size()));
  });
}

std::string redactSymbolicName(Text text, Replacements& replacements) {
  return replacements.inText(redactMarkedHosts(text, replacements));
}

// Lines of addresses and names.
void learnHostTable(std::string_view text, Replacements& replacements) {
  replacements.learn(text);
  forEachLine(text, [&](std::string_view line) {
    const std::string_view entry = line.substr(0, line.find('#'));
    changeWords(entry, [&](std::string_view word) {
      replacements.addHost(word);
      return "";
    });
  });
}

std::string redactHostTable(Text text, Replacements& replacements) {
  return changeLines(replacements.inText(text), [&](std::string_view line) {
    return std::string(line.substr(0, line.find('#')));
  });
}

constexpr std::string_view kSearched[] = {"domain", "search"};

void learnResolver(std::string_view text, Replacements& replacements) {
  replacements.learn(text);
  forEachLine(text, [&](std::string_view line) {
    bool isSearched = false;
    changeWords(line, [&](std::string_view word) {
      if (isSearched) replacements.add(word);
      isSearched |= isAmong(word, kSearched);
      return "";
    });
  });
}

void learnAddresses(std::string_view text, Replacements& replacements) {
  replacements.learn(text);
}

void learnAddressDigits(std::string_view text, Replacements& replacements) {
  replacements.learnDigits(text);
}

// ---- names of what is mounted ----

template <MountTable table>
std::string redactMountTable(Text text, Replacements& replacements) {
  return replacements.inText(replacements.inMounts(text, table));
}

// In a table of mounts the names count where they stand in other files, too.
template <MountTable table>
void learnMountTable(std::string_view text, Replacements& replacements) {
  replacements.inMounts(text, table);
}

std::string redactNames(Text text, Replacements& replacements) {
  return changeLines(text, [&](std::string_view line) { return replacements.inMountName(line); });
}

// Values of the kernel's command line may be anything but the target that it is to start.
std::string redactCommandLine(Text text, Replacements& replacements) {
  return changeWords(replacements.inText(text), [&](std::string_view word) {
    const std::size_t value = std::min(word.find('='), word.size());
    if (word.starts_with("systemd.unit=")) return std::string(word);
    return std::string(word.substr(0, value)) + replacements.inMountName(word.substr(value));
  });
}

// ---- devices ----

// Parts of the names that "uevent" files and udev have for what tells a device.
bool isSecretName(std::string_view name) {
  constexpr std::string_view kParts[] = {"SERIAL", "UUID",     "WWN", "WWID",
                                         "UNIQ",   "HOSTNAME", "NQN"};
  return std::any_of(std::begin(kParts), std::end(kParts),
                     [name](std::string_view part) { return name.find(part) != name.npos; });
}

void learnEvent(std::string_view text, Replacements& replacements) {
  forEachLine(text,
              [&](std::string_view line) { replacements.add(secretOf(line, '=', isSecretName)); });
}

std::string redactEvent(Text text, Replacements& replacements) {
  return changeLines(text, [&](std::string_view line) {
    const std::string_view secret = secretOf(line, '=', isSecretName);
    if (secret.empty()) return replacements.inText(line);
    return replacements.inText(line.substr(0, line.size() - secret.size())) +
           replacements.inValue(secret);
  });
}

// udev knows a device by many names. Of a record stays what a scan reads.
constexpr std::string_view kPlainProperties[] = {"E:ID_MODEL_ENC", "E:ID_USB_MODEL_ENC",
                                                 "E:ID_VENDOR_ENC", "E:ID_FS_TYPE"};
constexpr std::string_view kSerialProperties[] = {"E:SCSI_IDENT_SERIAL", "E:ID_SCSI_SERIAL",
                                                  "E:ID_SERIAL_SHORT"};

std::string redactUdevRecord(Text text, Replacements& replacements) {
  std::string kept;
  forEachLine(text, [&](std::string_view line) {
    const std::string_view name = line.substr(0, line.find('='));
    if (isAmong(name, kPlainProperties)) kept += replacements.inText(line) + "\n";
    if (isAmong(name, kSerialProperties)) {
      kept += redactEvent(std::string(line), replacements) + "\n";
    }
  });
  return kept;
}

// ---- firmware ----

std::string redactEntryPoint(Text text, Replacements&) {
  const auto* form = std::find_if(std::begin(kEntryPointForms), std::end(kEntryPointForms),
                                  [&](const auto& each) { return text.starts_with(each.anchor); });
  return form == std::end(kEntryPointForms) ? "" : text.substr(0, form->size);
}

std::string redactStructures(Text text, Replacements& replacements) {
  return redactTable(text, replacements);
}

// Whatever begins like a time zone.
std::string redactZone(Text text, Replacements& replacements) {
  return replacements.inBytes(text);
}

template <MountTable table>
constexpr FileRule kMountTable{learnMountTable<table>, redactMountTable<table>};
constexpr FileRule kText{learnText, redactText};
constexpr FileRule kUnknown{learnNothing, nullptr};
constexpr FileRule kZone{learnNothing, redactZone};
constexpr FileRule kMapped{learnNothing, redactNames};
constexpr FileRule kIdentity{learnIdentityText, redactIdentityText};
constexpr FileRule kValues{learnValues, redactValues};
constexpr FileRule kUdevRecord{learnEvent, redactUdevRecord};

constexpr struct {
  std::string_view path;
  FileRule rule;
} kPaths[] = {
    {"/sys/firmware/dmi/tables/smbios_entry_point", {learnNothing, redactEntryPoint}},
    {"/sys/firmware/dmi/tables/DMI", {learnTable, redactStructures}},
    {"/etc/mtab", kMountTable<MountTable::Mounts>},
    {"/proc/mounts", kMountTable<MountTable::Mounts>},
    {"/proc/self/mounts", kMountTable<MountTable::Mounts>},
    {"/proc/self/mountinfo", kMountTable<MountTable::MountInfo>},
    {"/proc/swaps", kMountTable<MountTable::Swaps>},
    {"/proc/cmdline", {learnNothing, redactCommandLine}},
    {"/proc/net/ipv6_route", {learnAddressDigits, redactText}},
    {"/proc/net/if_inet6", {learnAddressDigits, redactText}},
    {"/proc/net/arp", {learnAddresses, redactText}},
    {"/proc/sys/kernel/hostname", {learnHosts, redactHosts}},
    {"/proc/sys/kernel/domainname", {learnHosts, redactHosts}},
    {"/etc/hostname", {learnHosts, redactHosts}},
    {"/etc/HOSTNAME", {learnHosts, redactHosts}},
    {"/etc/hosts", {learnHostTable, redactHostTable}},
    {"/etc/resolv.conf", {learnResolver, redactText}},
    {"/run/systemd/resolve/resolv.conf", {learnResolver, redactText}},
};

// Attributes of devices, and files that systems keep their ids in, by name.
constexpr struct {
  std::string_view name;
  FileRule rule;
} kNames[] = {
    {"address", {learnAddresses, redactText}},
    {"backing_file", {learnNothing, redactNames}},
    {"ipaddress", {learnAddresses, redactText}},
    {"symbolic_name", {learnNothing, redactSymbolicName}},
    {"uevent", {learnEvent, redactEvent}},
    {"vpd_pg80", {learnSerialPage, redactSerialPage}},
    {"vpd_pg83", {learnNamePage, redactNamePage}},
};

constexpr std::string_view kSecretNames[] = {
    "boot_id",
    "cid",
    "eui",
    "eui64",
    "fabric_name",
    "hostid",
    "hostnqn",
    "hostsid",
    "ifalias",
    "initiatorname",
    "isid",
    "machine-id",
    "machine_id",
    "nguid",
    "node_desc",
    "node_guid",
    "node_name",
    "phys_port_id",
    "phys_switch_id",
    "port_guid",
    "port_name",
    "sas_address",
    "serial",
    "serial_number",
    "sn",
    "sys_image_guid",
    "subsysnqn",
    "targetname",
    "unique_id",
    "uniq",
    "uuid",
    "wwid",
    "wwn",
    "wwnn",
    "wwpn",
    "permanent_port_name",
};
constexpr std::string_view kSecretEndings[] = {"_asset_tag", "_serial", "_serial_number", "_uuid"};

bool holdsValue(std::string_view name) {
  return isAmong(name, kSecretNames) ||
         std::any_of(std::begin(kSecretEndings), std::end(kSecretEndings),
                     [name](std::string_view ending) { return name.ends_with(ending); });
}

// Names of values in an answer; what stands before "=" has the letter of its type at its end.
bool isSecretOfAnswer(std::string_view name) {
  constexpr std::string_view kSecret[] = {"WWNN:s", "WWPN:s", "UUID:s"};
  name = withoutLeading(name, kBlank);
  return isAmong(name, kSecret) || name.ends_with("Serial:s") || name.ends_with("SerialNumber:s");
}

}  // namespace

const FileRule& ruleOf(std::string_view path, std::string_view text) {
  for (const auto& [known, rule] : kPaths) {
    if (path == known) return rule;
  }
  const std::string_view name = path.substr(path.rfind('/') + 1);
  for (const auto& [known, rule] : kNames) {
    if (name == known) return rule;
  }
  if (path.starts_with("/run/udev/data/")) return kUdevRecord;
  if (path.ends_with("/dm/name")) return kMapped;
  if (path.starts_with("/proc/ide/") && name == "identify") return kIdentity;
  if (text.starts_with("TZif")) return kZone;
  if (!isPlainText(text)) return kUnknown;
  return holdsValue(name) || path.find("/gids/") != path.npos ? kValues : kText;
}

// "Serial Number: 68016775HA", in what drivers and commands print.
void learnText(std::string_view text, Replacements& replacements) {
  constexpr std::string_view kLabel = "serial n";
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (std::size_t at = lower.find(kLabel); at != lower.npos; at = lower.find(kLabel, at)) {
    at += kLabel.size();
    const std::string_view line = text.substr(at, text.find('\n', at) - at);
    const std::string_view value =
        withoutLeading(line.substr(std::min(line.find_first_of(":="), line.size() - 1) + 1), " \t");
    replacements.add(value.substr(0, value.find_first_of(" \t,;")));
  }
}

void learnAnswer(std::string_view answer, Replacements& replacements) {
  forEachLine(answer, [&](std::string_view line) {
    replacements.add(secretOf(line, '=', isSecretOfAnswer));
  });
}

std::string redactAnswer(std::string_view answer, Replacements& replacements) {
  return changeLines(answer, [&](std::string_view line) {
    const std::size_t mark = line.find('=');
    if (mark == line.npos) return std::string(line);
    const std::string_view value = line.substr(mark + 1);
    const std::string begin(line.substr(0, mark + 1));
    if (isSecretOfAnswer(line.substr(0, mark))) return begin + replacements.inValue(value);
    if (value.starts_with('/')) return begin + replacements.inText(replacements.inMountName(value));
    return begin + redactSymbolicName(std::string(value), replacements);
  });
}

}  // namespace invscan::agent
