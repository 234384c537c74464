#include "agent/redact/CaptureRedaction.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/redact/NetlinkRedaction.h"
#include "agent/redact/Replacements.h"
#include "base/Descriptor.h"
#include "base/Hex.h"

namespace invscan::agent {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr mode_t kMode = 0600;
constexpr auto npos = std::string::npos;
constexpr std::size_t kLargestExtent = 64 << 20;

[[noreturn]] void fail(const fs::path& path, const std::string& problem) {
  throw Failure(path.string() + ": " + problem + "; the capture could not be redacted");
}

Descriptor openFile(const fs::path& path) {
  Descriptor file(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
  if (!file) fail(path, errorText(errno));
  return file;
}

off_t sizeOf(const Descriptor& file) {
  struct stat status {};
  return fstat(file.get(), &status) == 0 ? status.st_size : 0;
}

std::string contentsOf(const fs::path& path) {
  const Descriptor file = openFile(path);
  std::string text;
  if (!readAll(file.get(), text, kLargestExtent)) fail(path, errorText(errno));
  if (text.size() == kLargestExtent) fail(path, "too large");
  return text;
}

// A part of a file between two holes.
struct Extent {
  off_t begin;
  std::size_t length;
};

std::vector<Extent> extentsOf(const Descriptor& file) {
  std::vector<Extent> extents;
  off_t end = 0;
  for (off_t begin; (begin = lseek(file.get(), end, SEEK_DATA)) >= 0;) {
    end = lseek(file.get(), begin, SEEK_HOLE);
    if (end <= begin) break;
    extents.push_back({begin, static_cast<std::size_t>(end - begin)});
  }
  return extents;
}

// A sparse image of memory keeps its holes: what changes is written in place.
void redactImage(const fs::path& path, Replacements& replacements) {
  const Descriptor file = openFile(path);
  for (const auto& [begin, length] : extentsOf(file)) {
    if (length > kLargestExtent) fail(path, "too large");
    std::string bytes(length, '\0');
    const auto count = static_cast<ssize_t>(length);
    if (pread(file.get(), bytes.data(), length, begin) != count) fail(path, "cannot be read");
    const std::string redacted = replacements.inBytes(bytes);
    if (redacted == bytes) continue;
    if (pwrite(file.get(), redacted.data(), length, begin) != count) fail(path, errorText(errno));
  }
}

template <class Replace>
void redactWhole(const fs::path& path, Replace replace) {
  const std::string text = contentsOf(path);
  const std::string redacted = replace(text);
  if (redacted != text) writeFile(path, redacted, kMode);
}

void redactFile(const fs::path& path, Replacements& replacements) {
  if (sizeOf(openFile(path)) >= static_cast<off_t>(kLargestExtent)) {
    redactImage(path, replacements);
    return;
  }
  redactWhole(path, [&](const std::string& text) {
    const bool isBinary = text.find('\0') != text.npos;
    return isBinary ? replacements.inBytes(text) : replacements.inText(text);
  });
}

std::string bytesFromHex(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16));
  }
  return bytes;
}

std::string hexOf(const std::string& bytes) {
  return hex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), kLowerHex);
}

std::string redactHex(const std::string& digits, Replacements& replacements) {
  return hexOf(replacements.inBytes(bytesFromHex(digits)));
}

bool holdsHex(std::string_view key) {
  return key == "devices" || key == "cpuid" || key == "guest_channel" || key.ends_with("_hex");
}

// All texts below a place in machine.json, names of members included.
Json redactJson(const Json& json, bool isHex, Replacements& replacements) {
  if (json.is_string()) {
    const auto text = json.get<std::string>();
    return isHex ? redactHex(text, replacements) : replacements.inText(text);
  }
  if (!json.is_structured()) return json;
  Json result = json.is_array() ? Json::array() : Json::object();
  for (const auto& [key, value] : json.items()) {
    if (json.is_array()) {
      result.push_back(redactJson(value, isHex, replacements));
    } else {
      result[replacements.inText(key)] = redactJson(value, isHex || holdsHex(key), replacements);
    }
  }
  return result;
}

// Commands and files that list addresses of neighbours and networks, too.
constexpr std::string_view kListingCommands[] = {"ifconfig ", "/sbin/ifconfig ", "netstat ",
                                                 "nslookup "};
constexpr std::string_view kListingFiles[] = {"etc/resolv.conf", "run/systemd/resolve/resolv.conf"};
// Name users and servers, also in lines that no group has a row for.
constexpr struct {
  std::string_view name;
  MountTable table;
} kMountTables[] = {{"etc/mtab", MountTable::Mounts},
                    {"proc/mounts", MountTable::Mounts},
                    {"proc/self/mounts", MountTable::Mounts},
                    {"proc/self/mountinfo", MountTable::MountInfo},
                    {"proc/swaps", MountTable::Swaps}};
constexpr std::string_view kIpv6Routes = "proc/net/ipv6_route";

bool listsAddresses(const std::string& line) {
  return std::any_of(std::begin(kListingCommands), std::end(kListingCommands),
                     [&](std::string_view command) { return line.starts_with(command); });
}

void learnMachine(const Json& machine, Replacements& replacements) {
  for (const Json& command : machine.value("commands", Json::array())) {
    if (listsAddresses(command.value("line", ""))) replacements.learn(command.value("output", ""));
  }
  for (const Json& helper : machine.value("helpers", Json::array())) {
    replacements.learnAnswer(helper.value("output", ""));
  }
  for (const char* section : {"hosts", "interfaces"}) {
    if (machine.contains(section)) replacements.learn(machine[section].dump());
  }
}

// Of what a hypervisor told over its port only the version is kept: other commands tell a guest its
// UUID, in registers, which no token fits.
void keepVersionOnly(Json& channel) {
  constexpr std::string_view kGetVersion = "0000000a.";
  Json kept = Json::object();
  for (const auto& [call, registers] : channel.items()) {
    if (call.starts_with(kGetVersion)) kept[call] = registers;
  }
  channel = std::move(kept);
}

void learnFiles(const fs::path& root, Replacements& replacements) {
  const auto isFile = [](const fs::path& path) {
    return fs::is_regular_file(fs::symlink_status(path));
  };
  for (const std::string_view name : kListingFiles) {
    if (isFile(root / name)) replacements.learn(contentsOf(root / name));
  }
  if (isFile(root / kIpv6Routes)) replacements.learnDigits(contentsOf(root / kIpv6Routes));
}

// Dumps whose messages are in digits, as they are recorded; others go.
Json redactNetlink(const Json& dumps, Replacements& replacements) {
  Json result = Json::object();
  for (const auto& [request, dump] : dumps.items()) {
    if (!dump.is_array()) continue;
    Json& datagrams = result[request] = Json::array();
    for (const Json& datagram : dump) {
      if (!datagram.is_string()) continue;
      const std::string bytes = redactDatagram(bytesFromHex(datagram), replacements);
      datagrams.push_back(hexOf(bytes));
    }
  }
  return result;
}

// What a device answers with is its names in bytes, or its serial number with bytes changed about.
bool tellsNames(std::string_view command) {
  return command.find(" ata ") != command.npos || command.find(" scsi 120183") != command.npos;
}

void dropNames(Json& devices) {
  Json kept = Json::object();
  for (const auto& [command, answer] : devices.items()) {
    if (!tellsNames(command)) kept[command] = answer;
  }
  devices = std::move(kept);
}

// Files that hold the same.
bool holdsNames(const fs::path& path) {
  const std::string name = path.filename();
  return name == "vpd_pg83" || (name == "identify" && path.string().find("/proc/ide/") != npos);
}

// udev knows a device by many names. Of a record stays what a scan reads, and of that a serial
// number only as a token.
void redactUdevRecord(const fs::path& path, Replacements& replacements) {
  constexpr std::string_view kPlain[] = {"ID_MODEL_ENC", "ID_USB_MODEL_ENC", "ID_VENDOR_ENC",
                                         "ID_FS_TYPE"};
  constexpr std::string_view kSerial[] = {"SCSI_IDENT_SERIAL", "ID_SCSI_SERIAL", "ID_SERIAL_SHORT"};
  const auto isAmong = [](const auto& keys, std::string_view key) {
    return std::find(std::begin(keys), std::end(keys), key) != std::end(keys);
  };
  const std::string text = contentsOf(path);
  std::string kept;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string line(rest.substr(0, rest.find('\n')));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const std::string_view key = std::string_view(line).substr(0, line.find('='));
    if (!key.starts_with("E:")) continue;
    const std::string redacted = replacements.inText(line);
    const bool isKept =
        isAmong(kPlain, key.substr(2)) || (isAmong(kSerial, key.substr(2)) && redacted != line);
    if (isKept) kept += redacted + "\n";
  }
  writeFile(path, kept, kMode);
}

void redactMachine(const fs::path& path, const Json& machine, Replacements& replacements) {
  constexpr char kNetlink[] = "netlink";
  Json rest = machine;
  rest.erase(kNetlink);
  Json redacted = redactJson(rest, false, replacements);
  if (machine.contains(kNetlink)) {
    redacted[kNetlink] = redactNetlink(machine[kNetlink], replacements);
  }
  if (redacted.contains("devices")) dropNames(redacted["devices"]);
  if (redacted.contains("guest_channel")) keepVersionOnly(redacted["guest_channel"]);
  if (redacted != machine) {
    writeFile(path, redacted.dump(1, ' ', false, Json::error_handler_t::replace) + "\n", kMode);
  }
}

}  // namespace

CaptureRedaction redactCapture(const std::string& directory, const Scan& scan,
                               const Redactor& redactor) {
  Replacements replacements(scan, redactor);
  CaptureRedaction done;
  const auto redact = [&](auto redactOne, const fs::path& path) {
    const std::size_t before = replacements.count();
    redactOne(path, replacements);
    if (replacements.count() > before) ++done.files;
  };

  const fs::path machineFile = fs::path(directory) / "machine.json";
  const fs::path root = fs::path(directory) / "root";
  for (const auto& [name, table] : kMountTables) {
    if (!fs::is_regular_file(fs::symlink_status(root / name))) continue;
    redact(
        [kind = table](const fs::path& path, Replacements& all) {
          redactWhole(path, [&](const std::string& text) { return all.inMounts(text, kind); });
        },
        root / name);
  }
  const Json machine = Json::parse(contentsOf(machineFile));
  learnMachine(machine, replacements);
  learnFiles(root, replacements);
  redact([&](const fs::path& path, auto&) { redactMachine(path, machine, replacements); },
         machineFile);
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (entry.is_regular_file() && !entry.is_symlink()) files.push_back(entry.path());
  }
  const fs::path records = root / "run/udev/data";
  for (const fs::path& file : files) {
    if (holdsNames(file)) {
      fs::remove(file);
    } else {
      redact(file.parent_path() == records ? redactUdevRecord : redactFile, file);
    }
  }
  done.replaced = replacements.count();
  return done;
}

}  // namespace invscan::agent
