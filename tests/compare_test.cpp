// Scans that were kept as JSON, and what differs between two of them.

#include "Testing.h"
#include "agent/Failure.h"
#include "agent/compare/Comparison.h"
#include "agent/formats/Formats.h"
#include "agent/saved/SavedScan.h"

namespace invscan::agent {
namespace {

std::string scanOf(const std::string& groups) {
  return R"({"invscan": "2.8.0", "hostname": "h", "time": "2026-11-21T06:24:00Z",
 "duration_ms": 1.5, "groups": {)" +
         groups + "}}";
}

std::string groupOf(const std::string& name, const std::string& rows,
                    const std::string& more = R"("status": "ok")") {
  return "\"" + name + R"(": {"id": 77, "version": 1, )" + more + R"(, "rows": [)" + rows + "]}";
}

// Below the lines that tell what is compared.
std::string told(const std::string& a, const std::string& b, bool withVolatile = false) {
  const Scan scans[] = {parseSavedScan(scanOf(a)), parseSavedScan(scanOf(b))};
  const Comparison comparison = compareScans(scans[0], scans[1], withVolatile);
  if (!comparison.differs()) return "";
  const std::string text = comparisonText(comparison, {"a", "b"}, {.isWhole = withVolatile});
  return text.substr(text.find("\n\n") + 2);
}

TEST(Comparison, TellsWhatAPersonWouldCallTheChange) {
  const struct {
    const char* group;
    std::string a, b, told;
  } cases[] = {
      {"Storage", R"({"Index": 1, "ID": "x", "Serial Number": "S1", "Device": "sda"},
                     {"Index": 2, "ID": "x", "Serial Number": "S2", "Device": "sdb"})",
       R"({"Index": 1, "ID": "y", "Serial Number": "N", "Device": "nvme0n1", "Type": 68},
          {"Index": 2, "ID": "x", "Serial Number": "S2", "Device": "sda"},
          {"Index": 3, "ID": "x", "Serial Number": "S1", "Device": "sdb"})",
       "  changed: sda\n    Device  sda -> sdb\n  changed: sdb\n    Device  sdb -> sda\n"
       "  added: nvme0n1\n    Serial Number  N\n"
       "    Type           Solid State Disk (68)\n"},
      {"Storage", R"({"Serial Number": "S1", "Device": "sda"})",
       R"({"Serial Number": "S2", "Device": "sda"})",
       "  removed: sda\n    Serial Number  S1\n  added: sda\n    Serial Number  S2\n"},
      {"Storage", R"({"Device": "sda"})", R"({"Serial Number": "S2", "Device": "sda"})",
       "  changed: sda\n    Serial Number  (none) -> S2\n"},
      {"Memory Modules", R"({"Index": 1, "Socket Name": "A1", "Module Size MB": 8192},
                            {"Index": 2, "Socket Name": "A2", "Module Size MB": 8192})",
       R"({"Index": 1, "Socket Name": "A2", "Module Size MB": 16384},
          {"Index": 2, "Socket Name": "A1", "Module Size MB": 8192})",
       "  changed: A2\n    Module Size MB  8192 MB -> 16384 MB\n"},
      {"IP Address", R"({"Address": "192.0.2.1", "Permanent Mac Address": "02:00:00:00:00:01"})",
       R"({"Address": "192.0.2.2", "Permanent Mac Address": "02:00:00:00:00:01"},
          {"Address": "192.0.2.9", "Permanent Mac Address": "02:00:00:00:00:09"})",
       "  changed: 192.0.2.1\n    Address  192.0.2.1 -> 192.0.2.2\n"
       "  added: 192.0.2.9\n    Permanent Mac Address  02:00:00:00:00:09\n"},
      // Named alike: the most equal.
      {"Memory Modules",
       R"({"Socket Name": "S", "Module Size MB": 1, "Packaging": "p", "Memory Type": "t"},
                            {"Socket Name": "S", "Module Size MB": 2, "Packaging": "q", "Memory Type": "t"})",
       R"({"Socket Name": "S", "Module Size MB": 2, "Packaging": "q", "Memory Type": "u"},
          {"Socket Name": "S", "Module Size MB": 3, "Packaging": "p", "Memory Type": "t"},
          {"Socket Name": "S", "Module Size MB": 9, "Packaging": "", "Memory Type": ""})",
       "  changed: S\n    Module Size MB  1 MB -> 3 MB\n  changed: S\n    Memory Type  t -> u\n"
       "  added: S\n    Module Size MB  9 MB\n"},
      // A digest says no more than what it is made of, and equal changes are told once.
      {"Processor",
       R"({"Index": 1, "ID": "a", "Stepping": 1}, {"Index": 2, "ID": "b", "Stepping": 1})",
       R"({"Index": 1, "ID": "c", "Stepping": 2}, {"Index": 2, "ID": "d", "Stepping": 2})",
       "  changed: 1, 2 (2 rows)\n    Stepping  1 -> 2\n"},
      {"Processor", R"({"Index": 1, "ID": "a"})", R"({"Index": 1, "ID": "b"})",
       "  changed: 1\n    ID  a -> b\n"},
      {"Memory", R"({"Total Physical": 5, "Free Physical": 1})",
       R"({"Total Physical": 6, "Free Physical": 2})",
       "  changed\n    Total Physical  5 KiB -> 6 KiB\n"},
      // What this version does not know.
      {"Memory", R"({"Page Size": 1, "Flux": -3, "Page Size text": "new"})",
       R"({"Page Size": 1, "Flux": [1, 0.5], "Drain": true})",
       "  changed\n    Flux   -3 -> [1, 0.5]\n    Drain  (none) -> true\n"},
      {"Warp", R"({"Index": 1, "Name": "x", "On": true}, {"Index": 2, "Name": "y", "On": true})",
       R"({"Index": 1, "Name": "y", "On": true}, {"Index": 2, "Name": "x", "On": false})",
       "  changed\n    On  true -> false\n"},
      {"Warp", "{}", "{}, {}", "  added\n"},
      // What differs does so in what is shown.
      {"Lpar", R"({"EntitledCapacity": 0.5})", R"({"EntitledCapacity": 0.50000012})",
       "  changed\n    EntitledCapacity  0.5 -> 0.5000001\n"},
      // No value, an empty one and a default.
      {"Partition", R"({"FS Mount Point": "/", "Server Path": "", "FS Type": 65535})",
       R"({"FS Mount Point": "/", "Index": 9})", ""},
      {"Partition", "", "", ""},
  };
  for (const auto& each : cases) {
    const std::string a = groupOf(each.group, each.a), b = groupOf(each.group, each.b);
    EXPECT_EQ(told(a, b), each.told.empty() ? "" : std::string(each.group) + "\n" + each.told);
    EXPECT_EQ(told(a, a) + told(b, b), "") << each.group;
  }
  EXPECT_EQ(told(groupOf("Memory", R"({"Free Page": 1})"), groupOf("Memory", R"({"Free Page": 2})"),
                 true),
            "Memory\n  changed\n    Free Page  1 -> 2\n");
}

TEST(Comparison, TakesNothingForRemovedThatCouldNotBeRead) {
  const std::string row = R"({"Manufacturer": "m", "Serial Number": "s"})";
  const std::string there = groupOf("ComponentID", row);
  const std::pair<std::string, std::string> cases[] = {
      {R"("status": "denied", "trouble": "/dev/mem: permission denied")",
       "ComponentID: not comparable; A: ok, B: denied (/dev/mem: permission denied)\n"},
      {R"("status": "slow", "trouble": "t")",
       "ComponentID: not comparable; A: ok, B: unsupported (status \"slow\", which this version "
       "does not know:\n  t)\n"},
      {R"("status": "absent")",
       "ComponentID: ok -> absent\n  removed\n    Manufacturer   m\n"
       "    Serial Number  s\n"},
  };
  for (const auto& [status, text] : cases) {
    const std::string lost = groupOf("ComponentID", "", status);
    EXPECT_EQ(told(there, lost), text);
    EXPECT_EQ(told(lost, lost), "");
  }
  EXPECT_EQ(told(there, groupOf("ComponentID", R"({"Manufacturer": "n"})",
                                R"("status": "ok", "incomplete": "x: permission denied")")),
            "ComponentID\n  changed\n    Manufacturer  m -> n\n"
            "  not told in B: Serial Number (x: permission denied)\n");
  EXPECT_EQ(told("", there), "Only in B: ComponentID\n");
  EXPECT_EQ(told(groupOf("ComponentID", "", R"("status": "denied")"),
                 groupOf("ComponentID", "", R"("status": "timeout")")),
            "");
}

TEST(SavedScans, AreRefusedWithThePlaceOfWhatIsWrong) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "line 1: not valid JSON"},
      {"[]", "not an object"},
      {"7", "not a scan"},
      {"{}", "has no groups"},
      {scanOf("\"Memory\": 1"), "\"Memory\": not an object"},
      {scanOf(groupOf("Memory", "")) + "\nx", "line 3: not valid JSON"},
      {scanOf("\"Memory\": {}"), "Memory: has no status"},
      {scanOf(groupOf("\\u001b", "")), "not a name"},
      {scanOf(groupOf("Memory", R"({"\u202e": 1})")), "not a name"},
      {scanOf(groupOf("Memory", R"({"Page Size": 1}, {"Page Size": "x"})")),
       "Memory, row 2, \"Page Size\": not a value of type KEL_ULONG"},
      {scanOf(groupOf("Memory", R"({"Page Size": -1})")), "KEL_ULONG"},
      {scanOf(groupOf("Memory", R"({"Page Size": 18446744073709551616})")), "KEL_ULONG"},
      {scanOf(groupOf("Memory", R"({"Page Size": [1]})")), "KEL_ULONG"},
      {scanOf(groupOf("Lpar", R"({"MinCapacity": 1e300})")), "KEL_FLOAT"},
      {scanOf(groupOf("ComponentID", R"({"Product": null})")), "KEL_STRING"},
      {scanOf(groupOf("Memory", R"({"Page Size": 1, "Page Size": 1})")), "stands there twice"},
      {scanOf(groupOf("Memory", "") + "," + groupOf("Memory", "")), "stands there twice"},
      {scanOf(groupOf("X", R"({"deep": )" + std::string(1000, '[') + std::string(1000, ']') + "}")),
       "deeper than any scan"},
  };
  for (const auto& [json, words] : cases) {
    try {
      parseSavedScan(json);
      ADD_FAILURE() << json;
    } catch (const Failure& failure) {
      EXPECT_NE(std::string(failure.what()).find(words), std::string::npos) << failure.what();
    }
  }
}

}  // namespace
}  // namespace invscan::agent
