#include "agent/redact/MachineFacts.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "agent/redact/CaptureFile.h"
#include "agent/redact/DiskAnswers.h"
#include "agent/redact/NetlinkRedaction.h"
#include "base/Hex.h"

namespace invscan::agent {
namespace {

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

std::string textOf(const Json& json) {
  return json.is_string() ? json.get<std::string>() : std::string();
}

// All texts below a place, as the function makes them; names of members stay.
template <class Change>
Json changeTexts(const Json& json, Change change) {
  if (json.is_string()) return change(json.get<std::string>());
  if (!json.is_structured()) return json;
  Json result = json.is_array() ? Json::array() : Json::object();
  for (const auto& [key, value] : json.items()) {
    json.is_array() ? result.push_back(changeTexts(value, change))
                    : void(result[key] = changeTexts(value, change));
  }
  return result;
}

Json inTexts(const Json& json, Replacements& replacements) {
  return changeTexts(json, [&](const std::string& text) { return replacements.inText(text); });
}

// Names of members, as one function makes them, and values, as the other does.
template <class ChangeName, class ChangeValue>
Json changeMembers(const Json& json, ChangeName changeName, ChangeValue changeValue) {
  if (!json.is_object()) return json;
  Json result = Json::object();
  for (const auto& [key, value] : json.items()) result[changeName(key)] = changeValue(value);
  return result;
}

std::string outputOf(const Json& program) {
  return program.contains("output_hex") ? bytesFromHex(textOf(program["output_hex"]))
                                        : textOf(program.value("output", Json("")));
}

void setOutput(Json& program, const std::string& output) {
  if (program.contains("output_hex")) {
    program["output_hex"] = hexOf(output);
  } else if (program.contains("output")) {
    program["output"] = output;
  }
}

// ---- sections ----

using Section = const Json&;

void learnNothing(Section, Replacements&) {
}

void learnSystem(Section uname, Replacements& replacements) {
  const std::string name = textOf(uname.value("nodename", Json("")));
  replacements.add(name);
  replacements.addHost(name);
}

Json redactSystem(Section uname, Replacements& replacements) {
  Json result = inTexts(uname, replacements);
  const std::string name = textOf(uname.value("nodename", Json("")));
  if (!name.empty()) result["nodename"] = replacements.inValue(name);
  return result;
}

// Keys of the guest channel that are facts; all others may be names.
bool isNameKey(std::string_view line) {
  constexpr std::string_view kGetKey = "info-get guestinfo.";
  constexpr std::string_view kFacts[] = {"_man'",  "_prod'",     "_ver'",
                                         "_type'", "_capacity'", "_physical_processor'"};
  return line.find(kGetKey) != line.npos &&
         std::none_of(std::begin(kFacts), std::end(kFacts),
                      [line](std::string_view fact) { return line.find(fact) != line.npos; });
}

bool isHostCommand(std::string_view line) {
  return line.starts_with("hostname");
}

constexpr std::string_view kMountCommand = "/bin/mount ";
constexpr std::string_view kDiskId = "Disk identifier: ";

// What stands behind a mark, up to the end of its line, wherever the mark stands.
std::string changeBehind(std::string text, std::string_view mark, const auto& change) {
  for (std::size_t at = text.find(mark); at != text.npos; at = text.find(mark, at)) {
    at += mark.size();
    const std::size_t length = std::min(text.find('\n', at), text.size()) - at;
    const std::string changed = change(text.substr(at, length));
    text.replace(at, length, changed);
    at += changed.size();
  }
  return text;
}

// Names in the answers of a name server.
constexpr std::string_view kAnswered = "name = ";

void learnCommands(Section commands, Replacements& replacements) {
  // These list addresses of neighbours and networks, too.
  constexpr std::string_view kListing[] = {"ifconfig ", "/sbin/ifconfig ", "netstat ", "nslookup "};
  for (const Json& command : commands) {
    const std::string line = textOf(command.value("line", Json("")));
    const std::string output = outputOf(command);
    learnText(output, replacements);
    if (isNameKey(line)) replacements.add(output);
    if (isHostCommand(line)) replacements.addHost(output.substr(0, output.find('\n')));
    const bool isListing =
        std::any_of(std::begin(kListing), std::end(kListing),
                    [&](std::string_view listing) { return line.starts_with(listing); });
    if (isListing) replacements.learn(output);
    changeBehind(output, kAnswered, [&](const std::string& name) {
      replacements.addHost(name);
      return name;
    });
  }
}

// "/dev/sda1 on /home/alice type ext4 (rw)"
std::string redactMountLines(std::string_view text, Replacements& replacements) {
  std::string result;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find_first_of(" \n"));
    const bool isName = word.find('/') != word.npos || word.find(':') != word.npos;
    result += isName ? replacements.inMountName(word) : std::string(word);
    text.remove_prefix(word.size());
    if (text.empty()) break;
    result += text.front();
    text.remove_prefix(1);
  }
  return result;
}

Json redactCommands(Section commands, Replacements& replacements) {
  Json result = Json::array();
  for (const Json& each : commands) {
    Json& command = result.emplace_back(each);
    const std::string line = textOf(each.value("line", Json("")));
    std::string output = outputOf(each);
    if (isNameKey(line) || isHostCommand(line)) output = replacements.inValue(output);
    if (line.starts_with(kMountCommand)) output = redactMountLines(output, replacements);
    output = changeBehind(output, kDiskId,
                          [&](const std::string& id) { return replacements.inValue(id); });
    output = changeBehind(output, kAnswered,
                          [&](const std::string& name) { return replacements.inHost(name); });
    command["line"] = replacements.inText(line);
    setOutput(command, replacements.inText(output));
  }
  return result;
}

void learnHelpers(Section helpers, Replacements& replacements) {
  for (const Json& helper : helpers) learnAnswer(outputOf(helper), replacements);
}

Json redactHelpers(Section helpers, Replacements& replacements) {
  Json result = helpers;
  for (Json& helper : result) setOutput(helper, redactAnswer(outputOf(helper), replacements));
  return result;
}

void learnHosts(Section hosts, Replacements& replacements) {
  for (const auto& [address, name] : hosts.items()) {
    replacements.learn(address);
    replacements.addHost(textOf(name));
  }
}

Json redactHosts(Section hosts, Replacements& replacements) {
  return changeMembers(
      hosts, [&](const std::string& address) { return replacements.inValue(address); },
      [&](const Json& name) {
        return name.is_string() ? Json(replacements.inHost(textOf(name))) : name;
      });
}

void learnInterfaces(Section interfaces, Replacements& replacements) {
  replacements.learn(interfaces.dump());
}

// Routes may be many, and stand nowhere else.
bool hasRoutes(std::string_view request) {
  return request.starts_with("26");
}

void learnNetlink(Section dumps, Replacements& replacements) {
  for (const auto& [request, dump] : dumps.items()) {
    if (hasRoutes(request)) continue;
    for (const Json& part : dump) {
      if (part.is_string()) {
        learnDatagram(bytesFromHex(textOf(part)), replacements);
      } else {
        replacements.learn(part.dump());
      }
    }
  }
}

// A message with its fields, as people write it.
Json redactMessage(Section message, Replacements& replacements) {
  return changeTexts(message, [&](const std::string& text) {
    return Address::spelled(text) ? replacements.inValue(text) : replacements.inText(text);
  });
}

Json redactNetlink(Section dumps, Replacements& replacements) {
  Json result = Json::object();
  for (const auto& [request, dump] : dumps.items()) {
    Json& parts = result[request] = Json::array();
    for (const Json& part : dump) {
      parts.push_back(part.is_string()
                          ? Json(hexOf(redactDatagram(bytesFromHex(textOf(part)), replacements)))
                          : redactMessage(part, replacements));
    }
  }
  return result;
}

Json redactSpace(Section mounts, Replacements& replacements) {
  return changeMembers(
      mounts, [&](const std::string& mount) { return replacements.inMountName(mount); },
      [](const Json& value) { return value; });
}

Json redactErrors(Section unreadable, Replacements& replacements) {
  return changeMembers(
      unreadable, [&](const std::string& path) { return replacements.inPath(path); },
      [](const Json& value) { return value; });
}

Json redactPaths(Section paths, Replacements& replacements) {
  return changeTexts(paths, [&](const std::string& path) { return replacements.inPath(path); });
}

// Old processors tell a serial number of their own.
Json redactLeaves(Section leaves, Replacements&) {
  constexpr std::string_view kSerialNumber = "00000003.";
  Json kept = Json::object();
  for (const auto& [leaf, registers] : leaves.items()) {
    if (!leaf.starts_with(kSerialNumber)) kept[leaf] = registers;
  }
  return kept;
}

// Of what a hypervisor told over its port only the version is kept: other commands tell a guest its
// UUID, in registers, which no token fits.
Json redactChannel(Section channel, Replacements&) {
  constexpr std::string_view kGetVersion = "0000000a.";
  Json kept = Json::object();
  for (const auto& [call, registers] : channel.items()) {
    if (call.starts_with(kGetVersion)) kept[call] = registers;
  }
  return kept;
}

Json inTextsOnly(Section section, Replacements& replacements) {
  return inTexts(section, replacements);
}

// ---- answers of devices ----

std::string keepAnswer(const std::string& answer, Replacements&) {
  return answer;
}

void learnNoAnswer(std::string_view, Replacements&) {
}

// By the beginning of the command's bytes.
constexpr struct {
  std::string_view command;
  void (*learn)(std::string_view answer, Replacements& replacements);
  std::string (*redact)(const std::string& answer, Replacements& replacements);
} kDeviceCommands[] = {
    {" scsi 120000", learnNoAnswer, redactInquiry},
    {" scsi 120180", learnSerialPage, redactSerialPage},
    {" scsi 120183", learnNamePage, redactNamePage},
    {" scsi 00", learnNoAnswer, keepAnswer},    // TEST UNIT READY
    {" scsi 25", learnNoAnswer, keepAnswer},    // READ CAPACITY
    {" scsi 9e10", learnNoAnswer, keepAnswer},  //
    {" ata ", learnIdentity, redactIdentity},
    {" floppy ", learnNoAnswer, keepAnswer},
};

const auto* deviceCommand(std::string_view question) {
  const auto* found = std::find_if(
      std::begin(kDeviceCommands), std::end(kDeviceCommands),
      [question](const auto& known) { return question.find(known.command) != question.npos; });
  return found == std::end(kDeviceCommands) ? nullptr : found;
}

void learnDevices(Section devices, Replacements& replacements) {
  for (const auto& [question, answer] : devices.items()) {
    const auto* known = deviceCommand(question);
    if (known) known->learn(bytesFromHex(textOf(answer)), replacements);
  }
}

Json redactDevices(Section devices, Replacements& replacements, std::vector<std::string>& leftOut) {
  Json kept = Json::object();
  for (const auto& [question, answer] : devices.items()) {
    const auto* known = deviceCommand(question);
    if (!answer.is_string()) {
      kept[question] = answer;  // it never comes
    } else if (known) {
      kept[question] = hexOf(known->redact(bytesFromHex(textOf(answer)), replacements));
    } else {
      leftOut.push_back("devices: " + question);
    }
  }
  return kept;
}

constexpr struct {
  std::string_view name;
  void (*learn)(Section section, Replacements& replacements);
  Json (*redact)(Section section, Replacements& replacements);
} kSections[] = {
    {"uname", learnSystem, redactSystem},           {"commands", learnCommands, redactCommands},
    {"helpers", learnHelpers, redactHelpers},       {"hosts", learnHosts, redactHosts},
    {"interfaces", learnInterfaces, redactMessage}, {"netlink", learnNetlink, redactNetlink},
    {"statvfs", learnNothing, redactSpace},         {"statvfs64", learnNothing, redactSpace},
    {"unreadable", learnNothing, redactErrors},     {"absent", learnNothing, redactPaths},
    {"cpuid", learnNothing, redactLeaves},          {"guest_channel", learnNothing, redactChannel},
};

const auto* sectionOf(std::string_view name) {
  return std::find_if(std::begin(kSections), std::end(kSections),
                      [name](const auto& section) { return section.name == name; });
}

constexpr std::string_view kDevices = "devices";

}  // namespace

void learnFacts(const Json& machine, Replacements& replacements) {
  for (const auto& [name, learn, redact] : kSections) {
    const auto section = machine.find(name);
    if (section != machine.end()) learn(*section, replacements);
  }
  const auto devices = machine.find(kDevices);
  if (devices != machine.end()) learnDevices(*devices, replacements);
}

Json redactFacts(const Json& machine, Replacements& replacements,
                 std::vector<std::string>& leftOut) {
  Json result = Json::object();
  for (const auto& [name, section] : machine.items()) {
    const auto* own = sectionOf(name);
    const bool isHanging = section.is_object() && section.contains("hang");
    if (isHanging) {
      result[name] = {{"hang", true}};
    } else if (name == kDevices) {
      result[name] = redactDevices(section, replacements, leftOut);
    } else {
      result[name] =
          (own == std::end(kSections) ? inTextsOnly : own->redact)(section, replacements);
    }
  }
  return result;
}

}  // namespace invscan::agent
