#include "invscan/machine/Capture.h"

#include <algorithm>
#include <climits>
#include <cstdio>

namespace invscan {
namespace {

[[noreturn]] void refuse(const std::string& where, const std::string& expected) {
  throw CaptureError("machine.json: " + where + ": expected " + expected);
}

std::string keyOf(const std::string& where, const std::string& key) {
  return where.empty() ? key : where + "." + key;
}

const Json& readObject(const Json& json, const std::string& where) {
  if (!json.is_object()) refuse(where, "an object");
  return json;
}

const Json& readArray(const Json& json, const std::string& where) {
  if (!json.is_array()) refuse(where, "a list");
  return json;
}

std::string readText(const Json& json, const std::string& where) {
  if (!json.is_string()) refuse(where, "a text");
  std::string text = json.get<std::string>();
  if (text.find('\0') != std::string::npos) refuse(where, "a text without NUL characters");
  return text;
}

bool readFlag(const Json& json, const std::string& where) {
  if (!json.is_boolean()) refuse(where, "true or false");
  return json.get<bool>();
}

unsigned long readNumber(const Json& json, const std::string& where,
                         unsigned long most = ULONG_MAX) {
  if (!json.is_number_unsigned() || json.get<unsigned long>() > most) {
    refuse(where, most == ULONG_MAX ? "a whole number of 0 or more"
                                    : "a whole number from 0 to " + std::to_string(most));
  }
  return json.get<unsigned long>();
}

long readTime(const Json& json, const std::string& where) {
  if (!json.is_number_integer()) refuse(where, "a whole number of seconds");
  if (json.is_number_unsigned() && json.get<unsigned long>() > LONG_MAX) {
    refuse(where, "a number of seconds that 63 bits hold");
  }
  return json.get<long>();
}

int hexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

std::string readHex(const Json& json, const std::string& where) {
  const std::string digits = readText(json, where);
  if (digits.size() % 2 != 0) refuse(where, "an even number of hexadecimal digits");
  std::string bytes;
  bytes.reserve(digits.size() / 2);
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const int high = hexDigit(digits[i]), low = hexDigit(digits[i + 1]);
    if (high < 0 || low < 0) refuse(where, "hexadecimal digits");
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  return bytes;
}

std::string writeHex(const std::string& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  digits.reserve(bytes.size() * 2);
  for (const char byte : bytes) {
    digits.push_back(kDigits[static_cast<unsigned char>(byte) >> 4]);
    digits.push_back(kDigits[static_cast<unsigned char>(byte) & 15]);
  }
  return digits;
}

bool isText(const std::string& bytes) {
  try {
    static_cast<void>(Json(bytes).dump());
    return bytes.find('\0') == std::string::npos;
  } catch (const Json::exception&) {
    return false;  // not UTF-8
  }
}

// What a member of an object must be.
using Check = void (*)(const Json& json, const std::string& where);
struct Member {
  const char* name;
  Check check;
  bool isRequired = true;
};

template <std::size_t count>
const Json& readMembers(const Json& json, const std::string& where,
                        const Member (&members)[count]) {
  readObject(json, where);
  for (const auto& [key, value] : json.items()) {
    const auto* known =
        std::find_if(std::begin(members), std::end(members),
                     [&name = key](const Member& member) { return name == member.name; });
    if (known == std::end(members)) {
      throw CaptureError("machine.json: unknown key " + keyOf(where, key));
    }
    known->check(value, keyOf(where, key));
  }
  for (const Member& member : members) {
    if (member.isRequired && !json.contains(member.name)) {
      throw CaptureError("machine.json: missing key " + keyOf(where, member.name));
    }
  }
  return json;
}

void checkText(const Json& json, const std::string& where) {
  readText(json, where);
}
void checkHex(const Json& json, const std::string& where) {
  readHex(json, where);
}
void checkFlag(const Json& json, const std::string& where) {
  readFlag(json, where);
}
void checkTime(const Json& json, const std::string& where) {
  readTime(json, where);
}
void checkNumber(const Json& json, const std::string& where) {
  readNumber(json, where);
}
void checkByte(const Json& json, const std::string& where) {
  readNumber(json, where, 255);
}
void checkObject(const Json& json, const std::string& where) {
  readObject(json, where);
}

void checkLevel(const Json& json, const std::string& where) {
  if (readText(json, where).size() != 1) refuse(where, "one character");
}

void checkTextOrNull(const Json& json, const std::string& where) {
  if (!json.is_null()) readText(json, where);
}

void checkStatisticsResult(const Json& json, const std::string& where) {
  if (!json.is_number_integer() || (json != 0 && json != -1)) refuse(where, "0 or -1");
}

template <Check check>
void checkEach(const Json& json, const std::string& where) {
  if (json.is_array()) {
    for (std::size_t i = 0; i < json.size(); ++i) {
      check(json[i], where + "[" + std::to_string(i) + "]");
    }
    return;
  }
  for (const auto& [key, value] : readObject(json, where).items()) check(value, keyOf(where, key));
}

template <Check check>
void checkList(const Json& json, const std::string& where) {
  checkEach<check>(readArray(json, where), where);
}

template <Check check>
void checkMap(const Json& json, const std::string& where) {
  checkEach<check>(readObject(json, where), where);
}

void checkInterface(const Json& json, const std::string& where) {
  static constexpr Member kMembers[] = {{"name", checkText},
                                        {"address", checkText, false},
                                        {"netmask", checkText, false},
                                        {"hwaddr", checkText, false}};
  readMembers(json, where, kMembers);
}

// The captured output of a program, which is named by one of the keys.
CapturedCommand readProgram(const Json& json, const std::string& where, const char* nameKey) {
  const Member members[] = {{nameKey, checkText},
                            {"output", checkText, false},
                            {"output_hex", checkHex, false},
                            {"status", checkByte, false},
                            {"hang", checkFlag, false}};
  readMembers(json, where, members);
  CapturedCommand command;
  if (json.contains("output")) command.output = json["output"];
  if (json.contains("output_hex")) command.output = readHex(json["output_hex"], where);
  command.status = json.value("status", 0);
  command.hangs = json.value("hang", false);
  return command;
}

void putOutput(Json& json, const std::string& output) {
  if (isText(output)) {
    json["output"] = output;
  } else {
    json["output_hex"] = writeHex(output);
  }
}

// The key of a leaf, as cpuidLeafName() writes it.
std::string readLeafName(std::string name) {
  constexpr std::size_t kPoint = 8, kLength = 17;
  const bool isLeaf = name.size() == kLength && name[kPoint] == '.' &&
                      std::count_if(name.begin(), name.end(),
                                    [](char c) { return hexDigit(c) >= 0; }) == kLength - 1;
  if (!isLeaf) refuse("cpuid." + name, "a leaf and subleaf such as 00000004.00000001");
  for (char& c : name) {
    if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
  }
  return name;
}

std::string eightDigits(std::uint32_t value) {
  char digits[9];
  snprintf(digits, sizeof digits, "%08x", value);
  return digits;
}

struct ErrorName {
  const char* name;
  int number;
};

// What can go wrong with a file that is there.
constexpr ErrorName kErrorNames[] = {
    {"EPERM", EPERM},          {"EIO", EIO},       {"ENXIO", ENXIO},         {"EACCES", EACCES},
    {"EBUSY", EBUSY},          {"ENODEV", ENODEV}, {"EISDIR", EISDIR},       {"EINVAL", EINVAL},
    {"EFAULT", EFAULT},        {"ENOMEM", ENOMEM}, {"EOVERFLOW", EOVERFLOW}, {"ELOOP", ELOOP},
    {"EOPNOTSUPP", EOPNOTSUPP}};

int readErrorName(const Json& json, const std::string& where) {
  const std::string name = readText(json, where);
  for (const ErrorName& error : kErrorNames) {
    if (name == error.name) return error.number;
  }
  refuse(where, "the name of an error, such as EACCES");
}

void checkErrorName(const Json& json, const std::string& where) {
  readErrorName(json, where);
}

// The parts that no collector asks for yet are checked all the same, so that a capture is good or
// bad once and for all.
constexpr Member kTopLevel[] = {
    {"capture", checkNumber},
    {"uname", [](const Json& json, const std::string& where) { readKernelIdentity(json, where); },
     false},
    {"sysinfo", [](const Json& json, const std::string& where) { readMemoryFigures(json, where); },
     false},
    {"page_size", checkNumber, false},
    {"word_size", checkNumber, false},
    {"processors", checkNumber, false},
    {"time", checkTime, false},
    {"run_level_record",
     [](const Json& json, const std::string& where) { readRunLevelRecord(json, where); }, false},
    {"environment", checkMap<checkTextOrNull>, false},
    {"locales", checkMap<checkTextOrNull>, false},
    {"commands",
     checkList<[](const Json& json, const std::string& where) { readCommand(json, where); }>,
     false},
    {"helpers",
     checkList<[](const Json& json, const std::string& where) { readHelper(json, where); }>, false},
    {"statvfs",
     checkMap<[](const Json& json, const std::string& where) { readStatistics(json, where); }>,
     false},
    {"statvfs64",
     checkMap<[](const Json& json, const std::string& where) { readStatistics(json, where); }>,
     false},
    {"hosts", checkMap<checkText>, false},
    {"netlink", checkMap<checkList<checkHex>>, false},
    {"interfaces", checkList<checkInterface>, false},
    {"unreadable", checkMap<checkErrorName>, false},
    {"absent", checkList<checkText>, false},
    {"cpuid", checkMap<[](const Json& json, const std::string& where) { readCpuid(json, where); }>,
     false},
    {"guest_channel", checkObject, false},
    {"devices", checkObject, false}};

Json parse(const std::string& text) {
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& error) {
    const auto end = text.begin() + static_cast<long>(std::min(error.byte, text.size()));
    const auto line = 1 + std::count(text.begin(), end, '\n');
    throw CaptureError("machine.json: line " + std::to_string(line) + ": not valid JSON");
  } catch (const Json::out_of_range&) {
    throw CaptureError("machine.json: a number that is too large");
  }
}

std::string oneLine(std::string text) {
  constexpr std::size_t kLongest = 500;
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return text.size() <= kLongest ? text : text.substr(0, kLongest) + "...";
}

}  // namespace

CaptureError::CaptureError(std::string text) : std::runtime_error(oneLine(std::move(text))) {
}

Json toJson(const KernelIdentity& kernel) {
  return {{"sysname", kernel.sysname},
          {"nodename", kernel.nodename},
          {"release", kernel.release},
          {"version", kernel.version},
          {"machine", kernel.machine}};
}

KernelIdentity readKernelIdentity(const Json& json, const std::string& where) {
  static constexpr Member kMembers[] = {{"sysname", checkText},
                                        {"nodename", checkText},
                                        {"release", checkText},
                                        {"version", checkText},
                                        {"machine", checkText}};
  readMembers(json, where, kMembers);
  return {json["sysname"], json["nodename"], json["release"], json["version"], json["machine"]};
}

Json toJson(const MemoryFigures& figures) {
  return {{"totalram", figures.totalRam},
          {"freeram", figures.freeRam},
          {"totalswap", figures.totalSwap},
          {"freeswap", figures.freeSwap}};
}

MemoryFigures readMemoryFigures(const Json& json, const std::string& where) {
  static constexpr Member kMembers[] = {
      {"totalram", checkNumber}, {"freeram", checkNumber},         {"totalswap", checkNumber},
      {"freeswap", checkNumber}, {"mem_unit", checkNumber, false}, {"uptime", checkNumber, false}};
  readMembers(json, where, kMembers);
  return {json["totalram"], json["freeram"], json["totalswap"], json["freeswap"]};
}

Json toJson(const RunLevelRecord& record) {
  Json json = {{"line", isText(record.line) ? record.line : ""}, {"time", record.time}};
  if (record.level && isText({*record.level})) json["level"] = std::string(1, *record.level);
  return json;
}

RunLevelRecord readRunLevelRecord(const Json& json, const std::string& where) {
  static constexpr Member kMembers[] = {
      {"line", checkText}, {"time", checkTime}, {"level", checkLevel, false}};
  readMembers(json, where, kMembers);
  RunLevelRecord record{json["line"], json["time"], std::nullopt};
  if (json.contains("level")) record.level = json["level"].get<std::string>().front();
  return record;
}

Json toJson(const LocaleName& locale) {
  return locale.known ? Json(locale.name) : Json(nullptr);
}

LocaleName readLocale(const Json& json, const std::string& where) {
  if (json.is_null()) return {false, "C"};
  return {true, readText(json, where)};
}

Json toJson(const std::string& line, const CommandOutput& output) {
  Json json = {{"line", line}};
  putOutput(json, output.text);
  json["status"] = output.started ? std::min(output.status, 255) : 127;
  return json;
}

CapturedCommand readCommand(const Json& json, const std::string& where) {
  return readProgram(json, where, "line");
}

Json toJson(const std::string& command, const HelperOutput& output) {
  Json json = {{"command", command}};
  putOutput(json, output.text);
  return json;
}

CapturedCommand readHelper(const Json& json, const std::string& where) {
  return readProgram(json, where, "command");
}

Json toJson(const std::optional<struct statvfs>& statistics) {
  if (!statistics) return {{"result", -1}};
  return {{"result", 0},
          {"f_frsize", statistics->f_frsize},
          {"f_blocks", statistics->f_blocks},
          {"f_bavail", statistics->f_bavail}};
}

CapturedStatistics readStatistics(const Json& json, const std::string& where) {
  static constexpr Member kMembers[] = {{"result", checkStatisticsResult, false},
                                        {"f_frsize", checkNumber, false},
                                        {"f_blocks", checkNumber, false},
                                        {"f_bavail", checkNumber, false},
                                        {"hang", checkFlag, false}};
  readMembers(json, where, kMembers);
  CapturedStatistics statistics{std::nullopt, json.value("hang", false)};
  if (json.value("result", 0) != 0) return statistics;
  statistics.answer.emplace();
  statistics.answer->f_frsize = json.value("f_frsize", 0UL);
  statistics.answer->f_blocks = json.value("f_blocks", 0UL);
  statistics.answer->f_bavail = json.value("f_bavail", 0UL);
  return statistics;
}

Json toJson(const CpuidRegisters& registers) {
  Json json = Json::array();
  for (const std::uint32_t value : {registers.eax, registers.ebx, registers.ecx, registers.edx}) {
    json.push_back(eightDigits(value));
  }
  return json;
}

CpuidRegisters readCpuid(const Json& json, const std::string& where) {
  constexpr const char* kForm = "eax, ebx, ecx and edx, eight hexadecimal digits each";
  std::uint32_t values[4];
  if (readArray(json, where).size() != std::size(values)) refuse(where, kForm);
  for (std::size_t i = 0; i < std::size(values); ++i) {
    const std::string bytes = readHex(json[i], where);
    if (bytes.size() != sizeof(std::uint32_t)) refuse(where, kForm);
    values[i] = 0;
    for (const char byte : bytes) values[i] = values[i] << 8 | static_cast<unsigned char>(byte);
  }
  return {values[0], values[1], values[2], values[3]};
}

CaptureFacts readFacts(const std::string& text) {
  const Json json = parse(text);
  if (!json.is_object()) throw CaptureError("machine.json: expected an object");
  readMembers(json, "", kTopLevel);
  if (json["capture"] != 1) {
    throw CaptureError("machine.json: capture: this version reads format 1 only");
  }

  CaptureFacts facts;
  if (json.contains("uname")) facts.kernelIdentity = readKernelIdentity(json["uname"], "uname");
  if (json.contains("sysinfo")) facts.memoryFigures = readMemoryFigures(json["sysinfo"], "sysinfo");
  if (json.contains("word_size")) facts.wordSize = json["word_size"].get<unsigned long>();
  if (json.contains("run_level_record")) {
    facts.runLevelRecord = readRunLevelRecord(json["run_level_record"], "run_level_record");
  }
  facts.pageSize = json.value("page_size", 0UL);
  facts.time = json.value("time", 0L);

  const auto eachOf = [&json](const char* key, auto&& take) {
    if (json.contains(key)) {
      for (const auto& [name, value] : json[key].items()) take(name, value);
    }
  };
  eachOf("environment", [&](const std::string& name, const Json& value) {
    if (!isCapturedVariable(name))
      throw CaptureError("machine.json: unknown key environment." + name);
    if (!value.is_null()) facts.environment[name] = value;
  });
  eachOf("locales", [&](const std::string& name, const Json& value) {
    facts.locales[name] = readLocale(value, "locales." + name);
  });
  eachOf("commands", [&](const std::string& index, const Json& value) {
    facts.commands[value["line"]].push_back(readCommand(value, "commands[" + index + "]"));
  });
  eachOf("helpers", [&](const std::string& index, const Json& value) {
    facts.helpers[value["command"]].push_back(readHelper(value, "helpers[" + index + "]"));
  });
  eachOf("statvfs", [&](const std::string& path, const Json& value) {
    facts.statistics[path] = readStatistics(value, "statvfs." + path);
  });
  eachOf("statvfs64", [&](const std::string& path, const Json& value) {
    facts.statistics64[path] = readStatistics(value, "statvfs64." + path);
  });
  eachOf("cpuid", [&](const std::string& leaf, const Json& value) {
    facts.cpuid[readLeafName(leaf)] = readCpuid(value, "cpuid." + leaf);
  });
  eachOf("unreadable", [&](const std::string& path, const Json& value) {
    facts.unreadable[path] = readErrorName(value, "unreadable." + path);
  });
  if (json.contains("absent")) facts.absent = json["absent"].get<std::set<std::string>>();
  return facts;
}

std::string cpuidLeafName(std::uint32_t leaf, std::uint32_t subleaf) {
  return eightDigits(leaf) + "." + eightDigits(subleaf);
}

}  // namespace invscan
