// The agent's forms of output, and its redaction, for values that no machine at hand has.

#include <cmath>
#include <set>

#include "Testing.h"
#include "agent/Text.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Json.h"
#include "agent/formats/Value.h"
#include "agent/redact/Addresses.h"
#include "agent/redact/Redactor.h"
#include "agent/redact/Replacements.h"
#include "agent/screen/Figures.h"
#include "agent/screen/Grid.h"

namespace invscan::agent {
namespace {

using namespace std::string_literals;

Record makeRecord(unsigned long attribId, unsigned long type, const std::string& value) {
  const std::size_t size = sizeof(kelAttribValue) + value.size();
  Record record(reinterpret_cast<kelAttribValue*>(new unsigned char[size]));
  record->length = size;
  record->attribId = attribId;
  record->kelType = type;
  std::memcpy(record->value, value.data(), value.size());
  return record;
}

template <class Number>
std::string bytesOf(Number number) {
  return std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

template <class Number>
Record makeNumber(unsigned long type, Number number, unsigned long attribId = 1) {
  return makeRecord(attribId, type, bytesOf(number));
}

Record makeText(unsigned long attribId, const std::wstring& text) {
  std::string value = bytesOf(text.size() + 1);
  value.append(reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(wchar_t));
  return makeRecord(attribId, KEL_STRING, value);
}

Scan makeScan(const char* group, std::vector<Record> records) {
  Scan scan;
  scan.hostName = "h";
  GroupResult& result = scan.groups.emplace_back();
  result.group = getGroupDefinitionFromId(getGroupIdFromName(group));
  result.status = Status::Ok;
  result.rows.push_back(std::move(records));
  return scan;
}

TEST(Formats, JsonKeepsEveryValueWhole) {
  const std::pair<Record, std::string> cases[] = {
      {makeNumber<unsigned char>(KEL_UCHAR, 200), "200"},
      {makeNumber<unsigned short>(KEL_USHORT, 65535), "65535"},
      {makeNumber(KEL_ULONG, ULONG_MAX), "18446744073709551615"},
      {makeNumber(KEL_LONGLONG, LLONG_MIN), "-9223372036854775808"},
      {makeRecord(1, KEL_UQUAD, bytesOf(5UL) + bytesOf(ULONG_MAX)), "[5, 18446744073709551615]"},
      {makeNumber(KEL_FLOAT, 0.1F), "0.1"},
      {makeNumber(KEL_DOUBLE, 1e300), "1e+300"},
      {makeNumber(KEL_FLOAT, std::nanf("")), "null"},
      {makeNumber(KEL_DOUBLE, -HUGE_VAL), "null"},
      {makeText(1, L"a\"\\\n\x1B\xE9\x1F600"), "\"a\\\"\\\\\\u000a\\u001b\u00E9\U0001F600\""},
      {makeText(1, L"\x7F\x9B\x202E\x200D\xE0041\x20AC\x4E00"),
       "\"\\u007f\\u009b\\u202e\\u200d\\udb40\\udc41\u20AC\u4E00\""},
      {makeText(1, {L'a', 0xDC80, 0xD800, 0x110000}), "\"a\uFFFD\uFFFD\uFFFD\""},
      {makeRecord(1, KEL_STRING, bytesOf(0UL)), "\"\""},
      {makeRecord(1, KEL_OCTETSTRING, bytesOf(3UL) + "\x00\xAB\x10"s), "\"00AB10\""},
      {makeRecord(1, KEL_DATETIME, "2026-11-21-10.15.00.000000"), "\"2026-11-21-10.15.00.000000\""},
      {makeRecord(1, KEL_DATETIME, std::string(26, '\0')), "\"\""},
  };
  for (const auto& [record, json] : cases) {
    std::string text;
    appendJsonValue(text, *record);
    EXPECT_EQ(text, json);
  }
}

TEST(Formats, JsonTimeIsOneOrNull) {
  const std::pair<long, std::string> cases[] = {{1700000000, "\"2023-11-14T22:13:20Z\""},
                                                {-62000000000, "\"0005-04-19T09:46:40Z\""},
                                                {-70000000000, "\"-0249-10-15T19:33:20Z\""},
                                                {300000000000, "\"11476-08-15T05:20:00Z\""},
                                                {LONG_MAX, "null"},
                                                {LONG_MIN, "null"}};
  for (const auto& [time, json] : cases) {
    Scan scan;
    scan.time = time;
    EXPECT_EQ(formatJson(scan), "{\"invscan\": \"2.8.0\", \"hostname\": \"\", \"time\": " + json +
                                    ", \"duration_ms\": 0.0,\n \"groups\": {}}\n");
  }
}

// Whether promtool finds nothing; what it finds otherwise.
std::string metricsTrouble(const std::string& text) {
  const std::string file = testing::TempDir() + "metrics." + std::to_string(getpid());
  std::ofstream(file) << text;
  const int status = std::system(("promtool check metrics <" + file + " 2>&1").c_str());
  fs::remove(file);
  return status == 0 ? "" : "see what promtool has written";
}

// Every attribute of the catalogue, in two rows that are alike.
TEST(Formats, MetricsFollowTheConventions) {
  Scan scan;
  for (const kelGroupDef* group = GROUPS_DEF; group->id != kEndOfTable; ++group) {
    GroupResult& result = scan.groups.emplace_back();
    result.group = group;
    result.status = Status::Ok;
    for (int i = 0; i < 2; ++i) {
      Row& row = result.rows.emplace_back();
      for (const kelAttribDef* each = group->attribs; each->id != kEndOfTable; ++each) {
        row.push_back(each->type == KEL_STRING ? makeText(each->id, L"\"a\\\n\xE9\x1B")
                      : each->type == KEL_DATETIME
                          ? makeRecord(each->id, KEL_DATETIME, "2026-11-21-10.15.00.000000")
                      : each->type == KEL_FLOAT ? makeNumber(KEL_FLOAT, 0.1F, each->id)
                                                : makeNumber(KEL_ULONG, 77UL, each->id));
      }
    }
  }
  const std::string text = formatPrometheus(scan);
  for (const char* line : {
           "# TYPE invscan_cpu_meter_idle_seconds_total counter\n",
           "\ninvscan_cpu_meter_idle_seconds_total{row=\"2\"} 0.77\n",
           "\ninvscan_memory_total_physical_bytes{row=\"1\"} 78848\n",
           "\ninvscan_physical_processor_clock_hertz{id=\"77\",row=\"1\"} 7.7e+07\n",
           "\ninvscan_unix_cpu_meter_load_avg1{row=\"1\"} 0.1\n",
           "\ninvscan_san_adapter_info{index=\"77\",id=\"\\\"a\\\\ \u00E9 \",row=\"1\",",
           "# HELP invscan_memory_page_size_bytes ",
       }) {
    EXPECT_NE(text.find(line), text.npos) << line;
  }
  std::set<std::string> names;
  for (std::size_t place = 0; (place = text.find("# TYPE ", place)) != text.npos; ++place) {
    const std::string name = text.substr(place, text.find('\n', place) - place);
    EXPECT_TRUE(names.insert(name).second) << name;
  }
  if (std::system("command -v promtool >/dev/null") != 0) GTEST_SKIP() << "promtool is missing";
  EXPECT_EQ(metricsTrouble(text), "");
}

TEST(Formats, MetricsLeaveOutWhatNothingTold) {
  Scan scan = makeScan("Memory", {});
  scan.groups.front().rows.front().push_back(makeNumber(KEL_ULONG, 0UL, 1));  // stable
  scan.groups.front().rows.front().push_back(makeNumber(KEL_ULONG, 0UL, 2));  // volatile
  GroupResult& failed = scan.groups.emplace_back();
  failed.group = getGroupDefinitionFromId(getGroupIdFromName("Storage"));
  failed.status = Status::Timeout;
  const std::string text = formatPrometheus(scan);
  EXPECT_EQ(text.find("total_physical"), text.npos);
  EXPECT_NE(text.find("\ninvscan_memory_free_physical_bytes 0\n"), text.npos);
  EXPECT_NE(text.find("\ninvscan_group_answered{group=\"Storage\"} 0\n"), text.npos);
  EXPECT_EQ(text.find("invscan_storage"), text.npos);
}

TEST(Formats, CsvQuotesWhatNeedsIt) {
  std::vector<Record> records;
  records.push_back(makeText(1, L"a,\"b\"\nc"));
  records.push_back(makeRecord(2, KEL_UQUAD, bytesOf(5UL) + bytesOf(7UL)));  // KEL_ULONG it is
  records.push_back(makeText(3, L"redacted"));
  records.push_back(makeText(4711, L"x"));
  EXPECT_EQ(formatCsv(makeScan("Operating System", std::move(records))),
            "host,group,row,attribute,type,value\r\n"
            "h,Operating System,1,Name,KEL_STRING,\"a,\"\"b\"\"\nc\"\r\n"
            "h,Operating System,1,Type,KEL_ULONG,5 7\r\n"
            "h,Operating System,1,Major Version,KEL_STRING,redacted\r\n"
            "h,Operating System,1,attribute 4711,KEL_STRING,x\r\n");
}

// What a terminal would obey is spelt in all that people read, and no cell begins a formula; but a
// number is a number.
TEST(Formats, NoValueIsMoreThanAValue) {
  const std::tuple<std::wstring, std::string, std::string> cases[] = {
      {L"=1+1", "=1+1", "'=1+1"},
      {L"+49 30", "+49 30", "'+49 30"},
      {L"-7", "-7", "'-7"},
      {L"@x", "@x", "'@x"},
      {L"'x", "'x", "''x"},
      {L"\tx", "\\x09x", "'\tx"},
      {L"\r=x", "\\x0d=x", "'\\x0d=x"},
      {L"\xFF1D"
       L"1",
       "\uFF1D"
       "1",
       "'\uFF1D"
       "1"},
      {L"a=-+@", "a=-+@", "a=-+@"},
      {L"a\x1B[2J\x9B\x202E\xFEFF", "a\\x1b[2J\\x9b\\u202e\\ufeff", "a\\x1b[2J\\x9b\\u202e\\ufeff"},
  };
  for (const auto& [value, inText, inCsv] : cases) {
    std::vector<Record> records;
    records.push_back(makeText(1, value));
    records.push_back(makeNumber(KEL_LONGLONG, -7LL, 3));
    const Scan scan = makeScan("Operating System", std::move(records));
    EXPECT_EQ(formatText(scan),
              "Operating System\n  Name           " + inText + "\n  Major Version  -7\n");
    EXPECT_EQ(formatCsv(scan),
              "host,group,row,attribute,type,value\r\nh,Operating System,1,Name,KEL_STRING," +
                  inCsv + "\r\nh,Operating System,1,Major Version,KEL_ULONG,-7\r\n");
  }
}

// By attribute: what a terminal shows, what it shows exactly, and what is written without one.
TEST(Figures, AreReadAtAGlance) {
  const auto number = [](unsigned long value, unsigned long attribId) {
    return makeNumber(KEL_ULONG, value, attribId);
  };
  const struct {
    const char* group;
    Record record;
    const char *brief, *exact, *plain;
  } cases[] = {
      {"Memory", number(24641536, 1), "23.5 GiB", "25232932864 bytes", "24641536 KiB"},
      {"Memory", number(1048575, 1), "1 GiB", "1073740800 bytes", "1048575 KiB"},
      {"Memory", number(1023, 7), "1023 bytes", "1023 bytes", "1023 bytes"},
      {"Memory", number(ULONG_MAX, 1), "16 ZiB", "18446744073709551615 KiB",
       "18446744073709551615 KiB"},
      {"Memory", number(0, 8), "unknown", "unknown", "unknown"},
      {"Processor", number(2666, 10), "2.67 GHz", "2666 MHz", "2666 MHz"},
      {"Processor", number(800, 10), "800 MHz", "800 MHz", "800 MHz"},
      {"Processor", number(107, 4), "AMD Zen (107)", "AMD Zen (107)", "AMD Zen (107)"},
      {"Processor", makeText(39, L"T"), "yes", "yes", "yes"},
      {"Storage", makeText(13, L"0"), "no", "no", "no"},
      {"Regional", number(2, 4), "no (2)", "no (2)", "no (2)"},
      {"Scan Info", number(4320, 6), "1 h 12 min", "4320 seconds", "4320 seconds"},
      {"Scan Info", number(86400, 6), "1 d", "86400 seconds", "86400 seconds"},
      {"CpuMeter", number(5999, 1), "59 s", "5999 clock ticks", "5999 clock ticks"},
      {"UNIX System Params", makeRecord(1, KEL_DATETIME, "2026-11-22-00.31.24.000000"),
       "2026-11-22 00:31", "2026-11-22-00.31.24.000000", "2026-11-22-00.31.24.000000"},
      {"SMBIOS", makeText(8, L"To Be Filled By O.E.M."), "To Be Filled By O.E.M. (placeholder)",
       "To Be Filled By O.E.M. (placeholder)", "To Be Filled By O.E.M. (placeholder)"},
  };
  for (const auto& [name, record, brief, exact, plain] : cases) {
    const kelGroupDef& group = *getGroupDefinitionFromId(getGroupIdFromName(name));
    EXPECT_EQ(figureOf(group, *record, {.columns = 80}).withUnit(), brief) << name;
    EXPECT_EQ(figureOf(group, *record, {.columns = 80, .inBytes = true}).withUnit(), exact) << name;
    EXPECT_EQ(figureOf(group, *record, {}).withUnit(), plain) << name;
  }
}

// Wide characters take two columns, marks that combine none; keys stay whole, and what has no place
// beside them goes below, behind the first column.
TEST(Grid, FitsItsLines) {
  EXPECT_EQ(width("a\u0308\u6F22"), 3u);
  EXPECT_EQ(shortened("\u6F22\u6F22\u6F22", 4), "\u6F22\u2026");
  const std::string key(18, 'k'), value(30, 'v');
  const std::vector<GridColumn> columns = {{"No", Align::Right, true, {"1", "12"}},
                                           {"Key", Align::Left, true, {key, ""}},
                                           {"Value", Align::Left, false, {"", value}},
                                           {"Size", Align::Right, false, {"1 KiB", ""}}};
  EXPECT_EQ(gridText(columns, 1, 54),
            " No  Key                 Value                    Size\n"
            "  1  " +
                key +
                "                          1 KiB\n"
                " 12                      " +
                std::string(21, 'v') + "\u2026\n");
  EXPECT_EQ(gridText(columns, 1, 48), " No  Key                 Value\n  1  " + key +
                                          "\n 12                      " + std::string(22, 'v') +
                                          "\u2026\n\n No   Size\n  1  1 KiB\n 12\n");
  EXPECT_EQ(gridText(columns, 1, 20), "");
}

// Text and JSON tell a 0 that can be none.
TEST(Formats, AnUnknownNumberIsNoZero) {
  std::vector<Record> records;
  records.push_back(makeNumber(KEL_ULONG, 0UL, 2));  // Free Physical may be used up
  records.push_back(makeNumber(KEL_ULONG, 0UL, 8));
  const Scan scan = makeScan("Memory", std::move(records));
  EXPECT_EQ(formatText(scan), "Memory\n  Free Physical  0 KiB\n  Max Memory MB  unknown\n");
  EXPECT_NE(formatJson(scan).find("{\"Free Physical\": 0, \"Max Memory MB\": 0, \"Max Memory MB "
                                  "text\": \"unknown\"}"),
            std::string::npos);
}

// 1 Manufacturer is public, 4 Serial Number and 7 UUID are sensitive.
Scan makeSecretScan() {
  std::vector<Record> records;
  records.push_back(makeText(1, L"ACME Ltd"));
  records.push_back(makeText(4, L"SN 123/4"));
  records.push_back(makeText(7, L""));
  records.push_back(makeText(13, L"SN 123"));
  records.push_back(makeText(14, L"192.0.2.7"));
  records.push_back(makeText(15, L"X1"));
  records.push_back(makeNumber(KEL_ULONG, 4711UL, 16));
  Scan scan = makeScan("ComponentID", std::move(records));
  scan.hostName = "node";
  return scan;
}

class Redaction : public testing::Test {
 protected:
  ~Redaction() override { OrvCfg::setKey("agent.redact_key", ""); }

  static Redactor makeRedactor() {
    OrvCfg::setKey("agent.redact_key", "secret");
    return Redactor();
  }
  std::string token(const std::string& value) const { return redactor_.token(value); }
  std::string other(const std::string& address) const {
    return Address::spelled(address)->substitute(redactor_).spelledLike(address);
  }

  const Redactor redactor_ = makeRedactor();
};

TEST_F(Redaction, ReplacesSensitiveValuesOnly) {
  Scan scan = makeSecretScan();
  redactor_.redact(scan);
  std::vector<std::string> values;
  for (const Record& record : scan.groups[0].rows[0]) values.push_back(plainText(*record));
  EXPECT_EQ(values, (std::vector<std::string>{"ACME Ltd", token("SN 123/4"), "", token("SN 123"),
                                              token("192.0.2.7"), token("X1"), token("4711")}));
}

TEST_F(Redaction, CaptureLosesWholeWordsOnly) {
  const std::pair<std::string, std::string> cases[] = {
      {"Serial: SN 123.\n", "Serial: " + token("SN 123") + ".\n"},
      {"=SN 123/4=", "=" + token("SN 123/4") + "="},  // the longer value first
      {"SN 123/5", token("SN 123") + "/5"},           // the nearest entry does not begin it
      {"SN 1234 nodes my_node xnode", "SN 1234 nodes my_" + token("node") + " xnode"},
      {"n\u00F6node", "n\u00F6node"},  // a letter of another script
      {"node,node", token("node") + "," + token("node")},
      {"sn 123 NoDe", token("SN 123") + " " + token("node")},
      {"X1", "X1"},  // too short to be told from other words
      {"192.0.2.7/24 192.0.2.70", other("192.0.2.7") + "/24 192.0.2.70"},
      {"", ""},
  };
  Replacements replacements(makeSecretScan(), redactor_);
  for (const auto& [text, expected] : cases) EXPECT_EQ(replacements.inText(text), expected);
  EXPECT_EQ(replacements.inValue(" X1\n"), " " + token("X1") + "\n");
  EXPECT_EQ(replacements.inField("To Be Filled By O.E.M."), "To Be Filled By O.E.M.");
}

TEST_F(Redaction, ListingsLoseAddressesThatNoValueIs) {
  const std::string mac = other("00:1A:2B:3C:4D:5E");
  const std::string bare = Address::spelled(mac)->spelledLike("");
  const std::pair<std::string, std::string> cases[] = {
      {"eth0 HWaddr 00:1A:2B:3C:4D:5E  \n", "eth0 HWaddr " + mac + "  \n"},
      {"5.0.0.10.in-addr.arpa\tname = node.",
       other("5.0.0.10") + ".in-addr.arpa\tname = " + token("node") + "."},
      {"ib0 80:0:1\n80:00:00:48:FE:80:00", "ib0 80:0:1\n" + other("80:00:00:48:FE:80:00")},
      {"0.0.0.0 127.0.0.1 ff:ff:ff:ff:ff:ff 00:00:00:00:00:00 :: 1.2.3 a.b :",
       "0.0.0.0 127.0.0.1 ff:ff:ff:ff:ff:ff 00:00:00:00:00:00 :: 1.2.3 a.b :"},
      {"192.0.2.7:00:1A:2B:3C:4D:5E x10.0.0.1", other("192.0.2.7") + ":" + mac + " x10.0.0.1"},
      {"52:54:0:ab:cd:1 001a.2b3c.4d5e enx001a2b3c4d5e",
       other("52:54:0:ab:cd:1") + " " + Address::spelled(mac)->spelledLike("001a.2b3c.4d5e") +
           " enx" + bare},
  };
  Replacements replacements(makeSecretScan(), redactor_);
  for (const auto& [text, expected] : cases) {
    replacements.learn(text);
    EXPECT_EQ(replacements.inText(text), expected);
  }
}

TEST_F(Redaction, AddressesStayInTheirKindAndSubnet) {
  const auto substitute = [this](const char* text) {
    return Address::spelled(text)->substitute(redactor_).bytes();
  };
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"2001:db8::1", "2001:db8::2", "3fff:"},
      {"fe80::1", "fe80::2", "fe80::"},
      {"fd00::5", "fd00::6", "fd"},
      {"52:54:00:AB:CD:01", "52:54:00:AB:CD:02", "02:"},
      {"192.0.2.1", "192.0.2.2", ""},
  };
  for (const auto& [one, two, beginning] : cases) {
    const std::string first = substitute(one), second = substitute(two);
    const std::size_t common = first.size() - 1;
    EXPECT_EQ(first.substr(0, common), second.substr(0, common)) << one;
    EXPECT_NE(first, second) << one;
    EXPECT_NE(first.substr(common - 1), Address::spelled(one)->bytes().substr(common - 1)) << one;
    EXPECT_TRUE(other(one).starts_with(beginning)) << other(one);
  }
  std::set<char> found;
  for (int first = 0; first < 256; ++first) {
    const Address address = *Address::ofBytes(std::string{static_cast<char>(first), 7, 7, 7});
    if (!address.tells()) continue;
    const Address another = address.substitute(redactor_);
    EXPECT_TRUE(another.tells() && found.insert(another.bytes()[0]).second) << first;
  }
}

}  // namespace
}  // namespace invscan::agent
