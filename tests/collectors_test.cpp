// Rules of single collectors that a whole machine's expected output would not show.

#include "Rendering.h"
#include "TestMachine.h"
#include "Testing.h"
#include "common/text/Lines.h"

namespace invscan {
namespace {

class Collectors : public testing::Test {
 protected:
  void SetUp() override { setlocale(LC_CTYPE, "C.UTF-8"); }
  void TearDown() override { setlocale(LC_CTYPE, "C"); }
};

TEST_F(Collectors, NameTheDistributionByTheFirstReleaseFileThatOpens) {
  const std::string umlauts = [] {
    std::string text;
    while (text.size() < 400) text += "\u00fc";
    return text;
  }();
  // Every machine has a Debian version as well, which comes last.
  const struct {
    const char *what, *path;
    std::string text, name, description = name;
    int error = 0;
  } cases[] = {
      {"without a newline the last character goes", "/etc/os-release",
       "PRETTY_NAME=\"Ubuntu 22.04.3 LTS\"", "Ubuntu 22.04.3 LT"},
      {"and it goes whole", "/etc/os-release", "PRETTY_NAME=Lin\u00fc", "Lin"},
      {"the key is taken to begin the line", "/etc/os-release", "# PRETTY_NAME=Lin\n", "E=Lin"},
      {"an empty name", "/etc/os-release", "PRETTY_NAME=", "Linux"},
      {"no key ends the search", "/etc/os-release", "NAME=x\n", "Linux"},
      {"no right to read does not", "/etc/os-release", "", "Debian 9", "Debian 9", EACCES},
      {"runs of control characters", "/etc/SuSE-release", "A\x01\x7f\n\nB", "A B"},
      {"254 bytes at most, characters whole", "/etc/UnitedLinux-release", "x" + umlauts,
       "x" + umlauts.substr(0, 252)},
      {"a mark without contents", "/etc/.installed", "", "Caldera Linux"},
      {"an issue of it", "/etc/.issue", "\nCaldera 3\n", "Caldera Linux"},
      {"another issue", "/etc/.issue", "x\n", "Linux"},
      {"the last of equal keys", "/etc/lsb-release",
       "DISTRIB_ID=A\nDISTRIB_ID=B\nDISTRIB_RELEASE=1\nDISTRIB_CODENAME=c\n"
       "DISTRIB_DESCRIPTION=d\n DISTRIB_ID=no\n",
       "B 1", "B 1 (d c)"},
      {"a Debian version", "/etc/debian_version", "12.5\n", "Debian 12.5"},
      {"with its name in front no longer", "/etc/debian_version", umlauts,
       "Debian " + umlauts.substr(0, 246)},
      {"an empty one", "/etc/debian_version", "\n12\n", "Linux"},
  };
  for (const auto& test : cases) {
    std::map<std::string, FileText> files = {{"/etc/debian_version", {0, "9\n"}}};
    files[test.path] = {test.error, test.text};
    const OnMachine machine({.files = files});
    EXPECT_EQ(valuesOf(4, {"Name", "Description String"}), test.name + "|" + test.description)
        << test.what;
  }
}

TEST_F(Collectors, SplitTheKernelRelease) {
  const std::pair<const char*, const char*> cases[] = {
      {"3.10.0-1160.el7.x86_64", "3|10|0-1160.el7.x86_64"},
      {"5.4", "5|4|"},
      {"5..3", "5|0|3"},
      {"", "0|0|"},
      {"99999999999999999999.1x.y", "9223372036854775807|1|y"},
  };
  for (const auto& [release, expected] : cases) {
    const KernelIdentity kernel{"Linux", "n", release, "v", "m"};
    const OnMachine machine({.plain = {answered<KernelIdentityQuestion>(kernel)}});
    EXPECT_EQ(valuesOf(4, {"Major Version", "Minor Version", "Sub Version"}), expected) << release;
  }
}

TEST_F(Collectors, AskForTheWordSizeInTurn) {
  const char* const first = "getconf -v POSIX_V6_LP64_OFF64 LONG_BIT 2>&1";
  const char* const second = "getconf LONG_BIT 2>/dev/null";
  const struct {
    CapturedProgram first;
    const char *second, *notStarted, *expected;
  } cases[] = {
      {{"64\n"}, "32\n", "", "64"},
      {{"getconf: no such thing\n64\n", 1}, "32", "", "32"},
      {{"640\n"}, " 64\n", "", ""},
      {{"64\n"}, "64\n", first, ""},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.commands = {{first, test.first}, {second, {test.second}}},
                             .notStarted = test.notStarted});
    EXPECT_EQ(valuesOf(4, {"OS Kernel Mode"}), test.expected);
  }
}

TEST_F(Collectors, AddUpMemory) {
  const MemoryFigures figures{4096 << 10, 1024 << 10, 2048 << 10, 512 << 10};
  const char* const ofTheKernel = "4096|1024|6144|1536|1|0";
  const std::pair<const char*, const char*> cases[] = {
      {"MemTotal: 8000000 kB\nMemFree: 1000000 kB\nSwapTotal: 2000000 kB\nSwapFree: 500000 kB\n",
       "8000000|1000000|10000000|1500000|1953|244"},
      {"MemTotal:\t9 kB\nSwapTotal: 3 kB\nMemTotal: 8192 kB\n", "8192|0|8192|0|2|0"},
      {"MemTotal: 7 kB\nMemFree: 5 kB\nMemTotal: 7 kB\n", ofTheKernel},
      {"MemTotal: 0 kB\nMemFree: 5 kB\n", ofTheKernel},
      {"MemTotal: many\n", ofTheKernel},
      {"", ofTheKernel},
  };
  for (const auto& [meminfo, expected] : cases) {
    const OnMachine machine(
        {.files = {{"/proc/meminfo", {0, meminfo}}},
         .plain = {answered<MemoryFiguresQuestion>(figures), answered<PageSizeQuestion>(4096)}});
    EXPECT_EQ(valuesOf(3, {"Total Physical", "Free Physical", "Total Virtual", "Free Virtual",
                           "Total Page", "Free Page"}),
              expected)
        << meminfo;
  }
}

TEST_F(Collectors, TakeRunLevelAndTimesFromTheRecordFirst) {
  const std::map<std::string, FileText> kernel = {{"/proc/stat", {0, "cpu 1\nbtime 500\n"}},
                                                  {"/proc/uptime", {0, "77.5 1\n"}}};
  const struct {
    const char* what;
    std::optional<RunLevelRecord> record;
    const char *printed, *sources, *level, *uptime;
  } cases[] = {
      {"a record", RunLevelRecord{"~", 900, '5'}, "N 3", "classic", "3", "100"},
      {"its own level", RunLevelRecord{"~", 900, '5'}, "N 3", "native", "5", "100"},
      {"no level in it", RunLevelRecord{"~", 900, {}}, "N 3", "native", "3", "100"},
      {"single user", RunLevelRecord{"~", 900, 'S'}, "N 3", "native", "1", "100"},
      {"a strange level in it", RunLevelRecord{"~", 900, '\1'}, "N 3", "native", "0", "100"},
      {"one from before this run", RunLevelRecord{"~", 400, '2'}, "", "classic", "0", "600"},
      {"that, kernel asked", RunLevelRecord{"~", 400, '2'}, "", "native", "2", "77"},
      {"the clock was set since", RunLevelRecord{"~", 440, '2'}, "", "native", "2", "560"},
      {"by more than it is set", RunLevelRecord{"~", 439, '2'}, "", "native", "2", "77"},
      {"no record", {}, "unknown", "classic", "59", "-"},
      {"no record, kernel asked", {}, "unknown", "native", "0", "77"},
      {"one of tomorrow", RunLevelRecord{"~", 5000, '2'}, "", "classic", "0", "0"},
      {"one of tomorrow, kernel asked", RunLevelRecord{"~", 5000, '2'}, "", "native", "2", "77"},
      {"one of a time that is none", RunLevelRecord{"~", LONG_MIN, '2'}, "", "native", "2", "77"},
      {"too short", {}, "N\n", "classic", "0", "-"},
  };
  for (const auto& test : cases) {
    const OnMachine machine(
        {.files = kernel,
         .commands = {{"/sbin/runlevel", {test.printed}}},
         .plain = {answered<ClockQuestion>(1000), answered<RunLevelQuestion>(test.record)}},
        test.sources);
    EXPECT_EQ(valuesOf(19, {"Run Level"}), test.level) << test.what;
    EXPECT_EQ(valuesOf(20, {"Uptime"}), test.uptime) << test.what;
  }
}

TEST_F(Collectors, ReadTheKernelsMeters) {
  const struct {
    const char *what, *stat, *expected;
  } cases[] = {
      {"four processors", "cpu 400 0 200 4000 100\ncpu0 1\ncpu1 1\ncpu2 1\ncpu3 1\nintr 5\n",
       "1000|100|25|50"},
      {"no processor lines", "cpu 400 0 200 4000 100\nintr 5\n", "-|-|-|-"},
      {"an old kernel on one processor", "cpu 4 0 2 8\ncpu0 4 0 2 8\n", "8|4|-|2"},
      {"and on two: -1 / 2 is 0", "cpu 4 0 2 8\ncpu0 1\ncpu1 1\n", "4|2|0|1"},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.files = {{"/proc/stat", {0, test.stat}}}});
    EXPECT_EQ(valuesOf(46, {"IdleTime", "UserTime", "WaitTime", "SysTime"}), test.expected)
        << test.what;
  }
  const OnMachine machine(
      {.files = {{"/proc/uptime", {0, "12345.67 1\n"}}, {"/proc/loadavg", {0, "1.5 0,5\n"}}}});
  EXPECT_EQ(valuesOf(46, {"SystemUpTime"}), "1234500");
  EXPECT_EQ(valuesOf(47, {"LoadAvg1", "LoadAvg5", "LoadAvg15"}), "1.500000|0.000000|-");
}

TEST_F(Collectors, ReadLinesAsABufferOfThatSizeDoes) {
  const std::string text("ab\ncd\u00fc\u00fcx\0y\nlast", 17);
  std::string pieces;
  TextLines lines(text, 5);
  for (std::string_view line; lines.next(line);) pieces += "[" + std::string(line) + "]";
  EXPECT_EQ(pieces, "[ab\n][cd\u00fc][\u00fcx][\n][last]");
  // Bytes that are no UTF-8 are cut anywhere, and a limit of one byte still gets on.
  EXPECT_EQ(cutText("\x80\x80\x80\x80\x80\x80", 4).size(), 4U);
  EXPECT_EQ(cutText("\u00fc", 1).size(), 1U);
}

TEST(Factory, CreatesWhatItHasACollectorFor) {
  GroupFactory* factory = GroupFactory::getInstance();
  for (const unsigned long id : {0UL, 55UL, kEndOfTable}) {
    EXPECT_EQ(factory->getKELGroup(id), nullptr) << id;
  }
  const std::unique_ptr<KelGroup> byName(factory->getGroup("Scan Info"));
  ASSERT_NE(byName, nullptr);
  EXPECT_EQ(byName->getGroupName(), String("Scan Info"));
  for (const char* name : {"scan info", ""}) EXPECT_EQ(factory->getGroup(name), nullptr);

  std::list<String> names = {"kept"};
  EXPECT_EQ(factory->getAllGroups(names), 0);
  EXPECT_EQ(names.size(), 24U);
  EXPECT_EQ(names.front(), String("kept"));
}

TEST(Factory, PutsTheDirectoryBeforeTheConfigurationFile) {
  const struct {
    const char *directory, *file, *expected;
  } cases[] = {{"/opt/x", "/etc/hw.xml", "/opt/x//etc/hw.xml"}, {"", "", "/OrvHWConfig.xml"}};
  for (const auto& test : cases) {
    OrvCfg::setKey("config_dir", test.directory);
    OrvCfg::setKey("hwscanner.config_file", test.file);
    EXPECT_EQ(GroupFactory::getInstance()->initialise(), 1);
    EXPECT_EQ(GroupFactory::getInstance()->m_HWConfigFile, String(test.expected));
  }
}

}  // namespace
}  // namespace invscan
