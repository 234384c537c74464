// Value records, tables and rows, the group base, timed collection, and the printers.

#include <cwchar>
#include <future>

#include "Testing.h"
#include "WrittenText.h"
#include "base/Hex.h"

namespace {

// The type of an argument is the type of the value: a time is a long, and what has no overload must
// not turn into something else.
template <class Value>
constexpr bool kMakesAttrib = std::is_constructible_v<KelTableAttrib, unsigned long, Value>;
static_assert(!kMakesAttrib<int> && !kMakesAttrib<unsigned> && !kMakesAttrib<short>);
static_assert(!kMakesAttrib<bool> && !kMakesAttrib<char> && !kMakesAttrib<signed char>);
static_assert(!kMakesAttrib<const unsigned char*> && !kMakesAttrib<const wchar_t*>);
static_assert(kMakesAttrib<char*> && kMakesAttrib<std::string&>);

constexpr const char* kUtf8 = "C.UTF-8";

// Gives locale and time zone back after each test.
class Model : public testing::Test {
 protected:
  static void useLocale(const char* name) { ASSERT_TRUE(std::setlocale(LC_ALL, name)) << name; }
  static void useZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  void TearDown() override {
    useLocale("C");
    unsetenv("TZ");
    tzset();
  }
};

// What a function writes to a stream, which must not become wide-oriented by it.
std::string written(const std::function<void(FILE*)>& write) {
  return invscan::writtenText([&](FILE* stream) {
    write(stream);
    EXPECT_LE(std::fwide(stream, 0), 0);
  });
}

std::string printed(const KelTableAttrib& attrib) {
  const auto text =
      written([&](FILE* to) { PrintKelAttribValueToFile(to, attrib.getAttribPtr()); });
  if (attrib.getType() != KEL_STRING) {
    EXPECT_EQ(invscan::printedValue(*attrib.getAttribPtr()), text);
  }
  return text;
}

template <class... Argument>
std::unique_ptr<KelTableAttrib> attrib(Argument... argument) {
  return std::make_unique<KelTableAttrib>(0x0102UL, argument...);
}

const unsigned char kOctets[] = {0x00, 0xAB, 0x10};

TEST_F(Model, EveryTypeHasItsLayoutAndItsPrint) {
  useLocale(kUtf8);
  useZone("UTC");
  const struct {
    std::unique_ptr<KelTableAttrib> attrib;
    unsigned long type, length;
    std::string value;  // the value area in hexadecimal; zeros that follow it are left out
    std::string print;
  } rows[] = {
      {attrib(static_cast<unsigned char>(0xE)), KEL_UCHAR, 25, "0e", "0x0E"},
      {attrib(static_cast<unsigned short>(0xFEDC)), KEL_USHORT, 26, "dcfe", "65244"},
      {attrib(ULONG_MAX - 1), KEL_ULONG, 32, "feffffffffffffff", "18446744073709551614"},
      {attrib(_uquad{ULONG_MAX, 7}), KEL_UQUAD, 40, "ffffffffffffffff0700000000000000", "-1"},
      {attrib(1.5F), KEL_FLOAT, 28, "0000c03f", "1.500000"},
      {attrib(-1.5), KEL_DOUBLE, 32, "000000000000f8bf", "-1.500000"},
      {attrib(~0ULL), KEL_ULONGLONG, 32, "ffffffffffffffff", "18446744073709551615"},
      {attrib(LLONG_MIN), KEL_LONGLONG, 32, "0000000000000080", "-9223372036854775808"},
      {attrib(kOctets, 3UL), KEL_OCTETSTRING, 35, "030000000000000000ab10", "\"00AB10\""},
      {attrib(static_cast<const unsigned char*>(nullptr), 0UL), KEL_OCTETSTRING, 32, "", ""},
      {attrib(int64_t{0}), KEL_DATETIME, 50, "313937302d30312d30312d30302e30302e30302e303030303030",
       "1970-01-01-00.00.00.000000"},
      {attrib(LONG_MAX), KEL_DATETIME, 50, "", std::string(26, '\0')},
      {attrib(static_cast<const char*>(nullptr)), KEL_STRING, 36, "01", ""},
      {attrib(std::string("a\0b", 3)), KEL_STRING, 40, "020000000000000061", "a"},
      {attrib("\xE2\x82\xAC"), KEL_STRING, 48, "0200000000000000ac20", "\xE2\x82\xAC"},
      {attrib("a\"\\"), KEL_STRING, 48, "040000000000000061000000220000005c", "a\\\"\\\\"},
      {attrib("\t\x1F\x7F"), KEL_STRING, 48, "0400000000000000090000001f0000007f",
       "\\x09\\x1f\x7F"},
  };
  for (const auto& row : rows) {
    const kelAttribValue* record = row.attrib->getAttribPtr();
    SCOPED_TRACE(std::string(getKelAttribTypeAsString(row.type)) + " " + row.print);
    EXPECT_EQ(row.attrib->getType(), row.type);
    EXPECT_EQ(row.attrib->getId(), 0x0102);
    ASSERT_EQ(record->length, row.length);
    std::string expected = row.value;
    expected.resize(2 * (row.length - sizeof(kelAttribValue)), '0');
    EXPECT_EQ(invscan::hex(record->value, row.length - sizeof(kelAttribValue), invscan::kLowerHex),
              expected);
    EXPECT_EQ(printed(*row.attrib), row.print);
  }
}

// As a host reads: any type as text, number and date, or null.
TEST_F(Model, RowsAreReadByNameAndId) {
  useLocale(kUtf8);
  useZone("UTC");
  KelTable table(getGroupIdFromName("Regional"), 1);
  const struct {
    KelTableAttrib* attrib;
    std::string text;
    std::optional<long long> whole;
    std::optional<double> number;
  } values[] = {
      {new KelTableAttrib(1, static_cast<unsigned char>(200)), "200", 200, 200},
      {new KelTableAttrib(1, ULONG_MAX), "18446744073709551615", {}, 18446744073709551616.0},
      {new KelTableAttrib(1, -5LL), "-5", -5, -5},
      {new KelTableAttrib(1, _uquad{5, 7}), "5 7", {}, {}},
      {new KelTableAttrib(1, 0.5F), "0.5", {}, 0.5},
      {new KelTableAttrib(1, "\xE2\x82\xAC\""), "\xE2\x82\xAC\"", {}, {}},
      {new KelTableAttrib(1, kOctets, 3UL), "00AB10", {}, {}},
      {new KelTableAttrib(1, 1709208000L), "2024-02-29-12.00.00.000000", {}, {}},
      {new KelTableAttrib(1, LONG_MAX), "", {}, {}},
  };
  for (const auto& each : values) {
    auto* row = new KelTableRow;
    row->addAttrib(nullptr);
    row->addAttrib(each.attrib);
    row->addAttrib(new KelTableAttrib(3, 2UL));
    table.addRow(row);
  }
  const auto* expected = values;
  for (const invscan::RowView& row : invscan::TableRows(&table)) {
    const invscan::ValueView value = row[1];
    EXPECT_EQ(value.text(), expected->text);
    EXPECT_EQ(value.number<long long>(), expected->whole) << expected->text;
    EXPECT_EQ(value.number<double>(), expected->number) << expected->text;
    EXPECT_EQ(value.date().has_value(), expected->text.size() == kDateTimeSize) << expected->text;
    if (auto date = value.date()) {
      EXPECT_TRUE(date->tm_wday == 4 && std::mktime(&*date) == 1709208000);
    }
    EXPECT_EQ(value.number<unsigned char>().has_value(), expected->text == "200");
    EXPECT_TRUE(row.size() == 2 && !value.meaning() && row[value.attribute()->name]);
    EXPECT_STREQ(row["Time Zone Plus Minus"].meaning(), "-");
    const invscan::ValueView none = row["Daylight"], unknown = row["daylight"];
    EXPECT_TRUE(none.isNull() && none.attribute() && !none.text() && !none.number());
    EXPECT_TRUE(unknown.isNull() && !unknown.attribute() && !row[99].attribute());
    ++expected;
  }
  EXPECT_EQ(expected, std::end(values));
}

TEST_F(Model, AGroupSaysWhyItHasNoTable) {
  using invscan::TableState;
  std::string error;
  ASSERT_TRUE(invscan::replayMachine(INVSCAN_TESTS_DIR "/machines/nothing", error)) << error;
  const std::pair<invscan::GroupTable, TableState> rows[] = {
      {invscan::collect("Regional"), TableState::Collected},
      {invscan::collect(getGroupIdFromName("PCI Device")), TableState::Absent},
      {invscan::collect("PCI device"), TableState::UnknownGroup},
      {invscan::collect(0), TableState::UnknownGroup}};
  for (const auto& [table, state] : rows) {
    const bool hasTable = state == TableState::Collected;
    EXPECT_EQ(table.state(), state) << table.whyNone();
    EXPECT_TRUE(table.whyNone().empty() == hasTable && bool(table) == hasTable);
    EXPECT_EQ(table.size(), hasTable);
  }
  invscan::useLiveMachine();
}

TEST_F(Model, OneInvalidByteEmptiesTheWholeString) {
  const std::pair<const char*, const char*> rows[] = {
      {kUtf8, "caf\xE9 noir"}, {kUtf8, "cut \xE2\x82"}, {"C", "caf\xC3\xA9"}};
  for (const auto& [locale, text] : rows) {
    useLocale(locale);
    const KelTableAttrib attrib(1, text);
    const auto* string = reinterpret_cast<const KelString*>(attrib.getAttribPtr()->value);
    EXPECT_TRUE(string->count == 1 && string->text[0] == L'\0') << text;
  }
}

TEST_F(Model, StringsArePackedOneBehindTheOther) {
  alignas(KelString) unsigned char buffer[64];
  std::fill(std::begin(buffer), std::end(buffer), 0x7F);
  unsigned long offset = 8;
  unsigned long previous = 0;
  const auto pack = [&](const char* text, unsigned long limit) {
    auto* string = reinterpret_cast<KelString*>(buffer + offset);
    return StringToKelString(text, string, limit, &offset, &previous);
  };
  EXPECT_EQ(pack("abcdef", 3), 24);
  EXPECT_EQ(pack(nullptr, 12), 12);
  EXPECT_EQ(previous, 32);
  EXPECT_EQ(offset, 44);
  EXPECT_EQ(invscan::hex(buffer + 8, 40, invscan::kLowerHex),
            "040000000000000061000000620000006300000000000000"  // cut at the limit and terminated
            "0100000000000000000000007f7f7f7f");
}

TEST_F(Model, ADateTimeIsLocalTimeOfFourDigitYears) {
  useZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const std::string unwritten = std::string(8, '\0') + std::string(18, '#');
  const std::pair<long, std::string> rows[] = {
      {1700000000, "2023-11-14-23.13.20.000000"},
      {1720000000, "2024-07-03-11.46.40.000000"},  // daylight saving time
      {-62135596800, "0001-01-01-01.00.00.000000"},
      {253402297199, "9999-12-31-23.59.59.000000"},
      {253402300799, unwritten},  // a year of five digits
      {LONG_MIN, unwritten},
  };
  for (const auto& [time, text] : rows) {
    std::string buffer(kDateTimeSize + 1, '#');
    TimeToKelDateTime(time, buffer.data());
    EXPECT_EQ(buffer, text + "#") << time;
  }
}

TEST_F(Model, WalksStayAtTheEndUntilReset) {
  KelTable table(4, 1);
  auto* first = new KelTableRow;
  auto* second = new KelTableRow;
  EXPECT_EQ(table.addRow(nullptr), 0);
  EXPECT_EQ(table.addRow(first), 1);
  EXPECT_EQ(table.getNext(), first);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(table.getNext(), nullptr);
  table.addRow(second);
  EXPECT_EQ(table.getNext(), second) << "appended behind a walk that had ended";
  table.reset();
  EXPECT_EQ(table.getNext(), first);
}

TEST_F(Model, DumpsItsRecordsForDebugging) {
  KelTable table(4, 3);
  auto* row = new KelTableRow;
  row->addAttrib(new KelTableAttrib(2, static_cast<unsigned short>(255)));
  row->addAttrib(nullptr);
  row->addAttrib(new KelTableAttrib(0x1000000FF, -1LL));
  table.addRow(row);
  table.addRow(new KelTableRow);
  const kelAttribValue unknown = {24, 1, 12};

  testing::internal::CaptureStdout();
  table.toString();
  PrintKelAttribValue(&unknown);
  PrintKelAttribValue(nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\n--------Table Operating System (00000004) ver=3\nRows=2\n\t Attribs=3"
            "\n\t\t---len      : 26\n\t\t   attribId : x00000002"
            "\n\t\t   kel_type : 2 (KEL_USHORT)\n\t\t   value    : 255 (0x00FF)"
            "\n\t\t---len      : 32\n\t\t   attribId : x000000FF"
            "\n\t\t   kel_type : 11 (KEL_LONGLONG)\n\t\t   value    : -1 (0x        FFFFFFFF)"
            "\n\t Attribs=0\n\t\t---len      : 24\n\t\t   attribId : x00000001"
            "\n\t\t   kel_type : 12 (Undefined Attrib Type)"
            "\n\t\t   value    : Unknown attrib value type");
}

TEST_F(Model, AStringThatTheLocaleCannotExpressIsNotWritten) {
  useLocale(kUtf8);
  const auto euro = attrib("10 \xE2\x82\xAC");
  useLocale("C");
  EXPECT_EQ(printed(*euro), "");
  EXPECT_EQ(invscan::printedValue(*euro->getAttribPtr()), "10 \xE2\x82\xAC");
}

TEST_F(Model, WhatIsNoCharacterIsReplaced) {
  const auto odd = attrib("abc");
  auto* const value = const_cast<unsigned char*>(odd->getAttribPtr()->value);
  auto* const text = reinterpret_cast<KelString*>(value)->text;
  text[0] = 0xDC80, text[1] = -1;
  EXPECT_EQ(invscan::printedValue(*odd->getAttribPtr()),
            "\xEF\xBF\xBD\xEF\xBF\xBD"
            "c");
}

TEST_F(Model, TablesLieInMemoryAsHostsKnowThem) {
  alignas(KelTable) unsigned char place[sizeof(KelTable)];
  auto* const table = new (place) KelTable(4, 7);
  table->addRow(new KelTableRow);
  unsigned long words[8];
  static_assert(sizeof words == sizeof place);
  std::memcpy(words, place, sizeof words);
  EXPECT_TRUE(words[0] == 7 && words[1] == 4);
  EXPECT_EQ(words[2], reinterpret_cast<unsigned long>(GROUPS_DEF));
  EXPECT_TRUE(words[3] != 0 && words[3] == words[4] && words[6] == 1);
  EXPECT_EQ(words[7], static_cast<unsigned long>(table->getTimeStamp()));
  table->~KelTable();
  std::memcpy(words, place, sizeof words);
  EXPECT_TRUE(words[3] == 0 && words[4] == 0 && words[6] == 0) << "destroyed";
}

TEST_F(Model, FloatsReadAsPrintfWritesThem) {
  using Limits = std::numeric_limits<double>;
  for (const double value : {-0.0, 2.5e-7, 5e-7, 1e15 / 3, -2.0000005, Limits::max(),
                             Limits::denorm_min(), -Limits::infinity(), -Limits::quiet_NaN()}) {
    const std::string expected = written([&](FILE* to) { std::fprintf(to, "%f", value); });
    EXPECT_EQ(written([&](FILE* to) { PrintKelFloat(to, value); }), expected);
  }
}

TEST_F(Model, FloatsKeepTheirPointWhereTheLocaleHasAComma) {
  // Made here, since none may be installed.
  const std::string directory = testing::TempDir() + "model_test_locale";
  std::filesystem::create_directories(directory);
  std::ofstream(directory + "/comma") << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\n"
                                         "grouping 3;3\nEND LC_NUMERIC\n";
  const std::string command =
      "cd '" + directory + "' && localedef -c -f ANSI_X3.4-1968 -i comma ./made >/dev/null 2>&1";
  [[maybe_unused]] const int status = std::system(command.c_str());  // warns of missing categories
  setenv("LOCPATH", directory.c_str(), 1);
  const bool isMade = std::setlocale(LC_NUMERIC, "made") != nullptr;
  unsetenv("LOCPATH");
  if (!isMade) GTEST_SKIP() << "localedef made no locale";

  EXPECT_EQ(printed(KelTableAttrib(1, 1234.5F)), "1234.500000");
}

TEST_F(Model, EnumerationsPrintInTableOrderAsSignedNumbers) {
  const kelEnumDef values[] = {{2, "two"}, {0xFFFFFFFE, "minus two"}, {kEndOfTable, nullptr}};
  const kelAttribDef enumerated = {1, "a", KEL_ULONG, 0, values};
  EXPECT_EQ(written([&](FILE* to) { PrintKelEnumToFile(to, &enumerated); }),
            "\n\t\t2 = \"two\"\n\t\t-2 = \"minus two\"");
}

struct PlainGroup : KelGroup {
  PlainGroup() : KelGroup(4, 1) {}
  KelTable* getTable() override { return KelGroup::getTable(); }
};

TEST(TimeoutTest, OneKeyServesBothLimits) {
  const std::string path = testing::TempDir() + "model_test.conf";
  const auto expectLimits = [](const char* text, int thread, int whole) {
    OrvCfg::setKey("hwscanner.timeout", text);
    Event done;
    EXPECT_EQ(GetTableThread(nullptr, &done).get_Time(), thread) << text;
    EXPECT_EQ(GetORVMaxTimeout(), whole) << text;
  };
  std::ofstream(path).flush();
  ASSERT_EQ(OrvCfg::load(path), 0);
  expectLimits(" 12 s", 12, 12);
  expectLimits("0x10", 0, 0);
  expectLimits("-99999999999999999999", INT_MIN, INT_MIN);
  expectLimits("", 200000, 5000000);
  ASSERT_NE(OrvCfg::load(testing::TempDir() + "no such file"), 0);
  expectLimits("300", 200000, 5000000);
  ASSERT_EQ(OrvCfg::load(path), 0);
}

// Hands out a table once it is released.
struct SlowGroup : PlainGroup {
  KelTable* generateTable() override {
    released.get_future().wait();
    return new KelTable(getGroupId(), 1);
  }
  std::promise<void> released;
};

struct FailingGroup : PlainGroup {
  KelTable* generateTable() override { throw std::runtime_error("no storage"); }
};

TEST(GetTableThreadTest, AReleaseAfterTheTimeOutDoesNoHarm) {
  auto group = std::make_unique<SlowGroup>();
  auto done = std::make_unique<Event>();
  auto thread = std::make_unique<GetTableThread>(group.get(), done.get());
  ASSERT_EQ(thread->start(), 0);
  EXPECT_EQ(done->wait(20), -172);
  group->released.set_value();
  ASSERT_EQ(done->wait(10000), 0);
  done.reset();  // as the waiter may, while the thread is still on its way out
  const std::unique_ptr<KelTable> table(thread->get_table());
  EXPECT_EQ(thread->join(), 0);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->getGroupId(), 4);
}

TEST(GetTableThreadTest, AGroupWithoutATableIsReportedAtOnce) {
  PlainGroup plain;
  FailingGroup failing;
  for (KelGroup* group : {static_cast<KelGroup*>(&plain), static_cast<KelGroup*>(&failing)}) {
    Event done;
    GetTableThread thread(group, &done);
    ASSERT_EQ(thread.start(), 0);
    EXPECT_EQ(done.wait(10000), 0);
    thread.join();
    EXPECT_EQ(thread.get_table(), nullptr);
  }
}

}  // namespace
