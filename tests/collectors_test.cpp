// Rules of single collectors that a whole machine's expected output would not show.
#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include <invscan/invscan.h>

#include "Rendering.h"
#include "TestMachine.h"
#include "invscan/linux/utils/Text.h"

namespace invscan {
namespace {

class Collectors : public testing::Test {
 protected:
  void SetUp() override { setlocale(LC_CTYPE, "C.UTF-8"); }
  void TearDown() override { setlocale(LC_CTYPE, "C"); }
};

// The printed value of one attribute, or "-" when the row lacks it.
std::string valueOf(unsigned long groupId, const std::string& attribute) {
  const std::string text = collected(groupId);
  const std::size_t found = text.find(" " + attribute + " (");
  if (found == std::string::npos) return "-";
  const std::size_t begin = text.find(") ", found) + 2;
  return text.substr(begin, text.find('\n', begin) - begin);
}

FileText file(const std::string& text) {
  return {0, text};
}

TEST_F(Collectors, NameTheDistributionByTheFirstReleaseFileThatOpens) {
  const std::string umlauts = [] {
    std::string text;
    for (int i = 0; i < 200; ++i) text += "\u00fc";
    return text;
  }();
  struct {
    const char* what;
    std::map<std::string, FileText> files;
    std::string name, description;
  } const cases[] = {
      {"quotes and newline go",
       {{"/etc/os-release", file("PRETTY_NAME=\"Ubuntu 22.04.3 LTS\"\n")}},
       "Ubuntu 22.04.3 LTS",
       "Ubuntu 22.04.3 LTS"},
      {"without a newline the last character goes",
       {{"/etc/os-release", file("PRETTY_NAME=\"Ubuntu 22.04.3 LTS\"")}},
       "Ubuntu 22.04.3 LT",
       "Ubuntu 22.04.3 LT"},
      {"and it goes whole", {{"/etc/os-release", file("PRETTY_NAME=Lin\u00fc")}}, "Lin", "Lin"},
      {"the key is taken to begin the line",
       {{"/etc/os-release", file("# PRETTY_NAME=Lin\n")}},
       "E=Lin",
       "E=Lin"},
      {"an empty name", {{"/etc/os-release", file("PRETTY_NAME=")}}, "Linux", "Linux"},
      {"no key ends the search",
       {{"/etc/os-release", file("NAME=x\n")}, {"/etc/redhat-release", file("Red\n")}},
       "Linux",
       "Linux"},
      {"a file that cannot be read does not",
       {{"/etc/os-release", {EACCES, {}}}, {"/etc/redhat-release", file("Red\n")}},
       "Red ",
       "Red "},
      {"runs of control characters", {{"/etc/SuSE-release", file("A\x01\x7f\n\nB")}}, "A B", "A B"},
      {"254 bytes at most, characters whole",
       {{"/etc/UnitedLinux-release", file("x" + umlauts)}},
       "x" + umlauts.substr(0, 252),
       "x" + umlauts.substr(0, 252)},
      {"a mark without contents",
       {{"/etc/.installed", file("")}},
       "Caldera Linux",
       "Caldera Linux"},
      {"an issue of it",
       {{"/etc/.issue", file("\nCaldera 3\n")}},
       "Caldera Linux",
       "Caldera Linux"},
      {"another issue",
       {{"/etc/.issue", file("x\n")}, {"/etc/debian_version", file("9\n")}},
       "Linux",
       "Linux"},
      {"the last of equal keys",
       {{"/etc/lsb-release",
         file("DISTRIB_ID=A\nDISTRIB_ID=B\nDISTRIB_RELEASE=1\nDISTRIB_CODENAME=c\n"
              "DISTRIB_DESCRIPTION=d\n DISTRIB_ID=no\n")}},
       "B 1",
       "B 1 (d c)"},
      {"a Debian version", {{"/etc/debian_version", file("12.5\n")}}, "Debian 12.5", "Debian 12.5"},
      {"an empty one", {{"/etc/debian_version", file("\n12\n")}}, "Linux", "Linux"},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.files = test.files});
    EXPECT_EQ(valueOf(4, "Name"), test.name) << test.what;
    EXPECT_EQ(valueOf(4, "Description String"), test.description) << test.what;
  }
}

TEST_F(Collectors, SplitTheKernelRelease) {
  struct {
    const char *release, *major, *minor, *sub;
  } const cases[] = {
      {"3.10.0-1160.el7.x86_64", "3", "10", "0-1160.el7.x86_64"},
      {"5.4", "5", "4", ""},
      {"5..3", "5", "0", "3"},
      {"6", "6", "0", ""},
      {"", "0", "0", ""},
      {"5.4.", "5", "4", ""},
      {"99999999999999999999.1x.y", "9223372036854775807", "1", "y"},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.kernel = KernelIdentity{"Linux", "n", test.release, "v", "m"}});
    EXPECT_EQ(valueOf(4, "Major Version"), test.major) << test.release;
    EXPECT_EQ(valueOf(4, "Minor Version"), test.minor) << test.release;
    EXPECT_EQ(valueOf(4, "Sub Version"), test.sub) << test.release;
  }
}

TEST_F(Collectors, AskForTheWordSizeInTurn) {
  const char* const first = "getconf -v POSIX_V6_LP64_OFF64 LONG_BIT 2>&1";
  const char* const second = "getconf LONG_BIT 2>/dev/null";
  struct {
    CommandOutput first, second;
    const char* expected;
  } const cases[] = {
      {{true, 0, "64\n"}, {true, 0, "32\n"}, "64"},
      {{true, 1, "getconf: no such thing\n64\n"}, {true, 0, "32"}, "32"},
      {{true, 0, "640\n"}, {true, 0, " 64\n"}, ""},
      {{false, 0, ""}, {true, 0, "64\n"}, ""},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.commands = {{first, test.first}, {second, test.second}}});
    EXPECT_EQ(valueOf(4, "OS Kernel Mode"), test.expected);
  }
  const OnMachine native({.commands = {{first, {true, 0, "32\n"}}}, .wordSize = 64}, "native");
  EXPECT_EQ(valueOf(4, "OS Kernel Mode"), "64");
}

TEST_F(Collectors, AddUpMemory) {
  const MemoryFigures figures{4096 << 10, 1024 << 10, 2048 << 10, 512 << 10};
  struct {
    const char *meminfo, *expected;
  } const cases[] = {
      {"MemTotal: 8000000 kB\nMemFree: 1000000 kB\nSwapTotal: 2000000 kB\nSwapFree: 500000 kB\n",
       "8000000 1000000 10000000 1500000 1953 244 4096"},
      {"MemTotal: 0 kB\nMemFree: 5 kB\n", "4096 1024 6144 1536 1 0 4096"},
      {"MemTotal: 7 kB\nMemFree: 5 kB\nMemTotal: 7 kB\n", "4096 1024 6144 1536 1 0 4096"},
      {"", "4096 1024 6144 1536 1 0 4096"},
      {"MemTotal:\t9 kB\nSwapTotal: 3 kB\nMemTotal: 8192 kB\n", "8192 0 8192 0 2 0 4096"},
      {"MemTotal: many\n", "4096 1024 6144 1536 1 0 4096"},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.files = {{"/proc/meminfo", file(test.meminfo)}}, .memory = figures});
    std::string values;
    for (const char* name : {"Total Physical", "Free Physical", "Total Virtual", "Free Virtual",
                             "Total Page", "Free Page", "Page Size"}) {
      values += (values.empty() ? "" : " ") + valueOf(3, name);
    }
    EXPECT_EQ(values, test.expected) << test.meminfo;
  }
}

TEST_F(Collectors, TakeRunLevelAndTimesFromTheRecordFirst) {
  const std::map<std::string, FileText> kernel = {{"/proc/stat", file("cpu 1\nbtime 500\n")},
                                                  {"/proc/uptime", file("77.5 1\n")}};
  const auto command = [](const char* text) {
    return std::map<std::string, CommandOutput>{{"/sbin/runlevel", {true, 0, text}}};
  };
  struct {
    const char* what;
    std::optional<RunLevelRecord> record;
    const char *printed, *sources, *level, *uptime;
  } const cases[] = {
      {"a record", RunLevelRecord{"~", 900, '5'}, "N 3", "classic", "3", "100"},
      {"its own level", RunLevelRecord{"~", 900, '5'}, "N 3", "native", "5", "100"},
      {"no level in it", RunLevelRecord{"~", 900, {}}, "N 3", "native", "3", "100"},
      {"a strange level in it", RunLevelRecord{"~", 900, '\1'}, "N 3", "native", "3", "100"},
      {"no record", {}, "unknown", "classic", "59", "-"},
      {"no record, kernel asked", {}, "unknown", "native", "0", "77"},
      {"a record of tomorrow", RunLevelRecord{"~", 5000, '2'}, "", "classic", "0", "0"},
      {"a record of tomorrow, kernel asked", RunLevelRecord{"~", 5000, '2'}, "", "native", "2",
       "77"},
      {"too short", {}, "N\n", "classic", "0", "-"},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.files = kernel,
                             .commands = command(test.printed),
                             .time = 1000,
                             .runLevelRecord = test.record},
                            test.sources);
    EXPECT_EQ(valueOf(19, "Run Level"), test.level) << test.what;
    EXPECT_EQ(valueOf(20, "Uptime"), test.uptime) << test.what;
  }
}

TEST_F(Collectors, ReadTheKernelsMeters) {
  struct {
    const char *what, *stat, *idle, *user, *wait, *sys;
  } const cases[] = {
      {"four processors", "cpu 400 0 200 4000 100\ncpu0 1\ncpu1 1\ncpu2 1\ncpu3 1\nintr 5\n",
       "1000", "100", "25", "50"},
      {"no processor lines", "cpu 400 0 200 4000 100\nintr 5\n", "-", "-", "-", "-"},
      {"an old kernel on one processor", "cpu 4 0 2 8\ncpu0 4 0 2 8\n", "8", "4", "-", "2"},
      {"and on two: -1 / 2 is 0", "cpu 4 0 2 8\ncpu0 1\ncpu1 1\n", "4", "2", "0", "1"},
      {"empty", "", "-", "-", "-", "-"},
  };
  for (const auto& test : cases) {
    const OnMachine machine({.files = {{"/proc/stat", file(test.stat)}}});
    EXPECT_EQ(valueOf(46, "IdleTime"), test.idle) << test.what;
    EXPECT_EQ(valueOf(46, "UserTime"), test.user) << test.what;
    EXPECT_EQ(valueOf(46, "WaitTime"), test.wait) << test.what;
    EXPECT_EQ(valueOf(46, "SysTime"), test.sys) << test.what;
  }
  const OnMachine machine(
      {.files = {{"/proc/uptime", file("12345.67 1\n")}, {"/proc/loadavg", file("1.5 0,5\n")}}});
  EXPECT_EQ(collected(46), "row 1\n  5 SystemUpTime (KEL_LONGLONG) 1234500\n");
  EXPECT_EQ(collected(47),
            "row 1\n  1 LoadAvg1 (KEL_FLOAT) 1.500000\n  2 LoadAvg5 (KEL_FLOAT) 0.000000\n");
}

TEST_F(Collectors, TellALocaleThatIsNotThere) {
  const OnMachine machine({.locale = {false, "C"}});
  EXPECT_EQ(valueOf(15, "Local"), "");
  EXPECT_EQ(valueOf(4, "OS Messages Locale"), "C");
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
  for (const unsigned long id : {0UL, 26UL, 55UL, kEndOfTable}) {
    EXPECT_EQ(factory->getKELGroup(id), nullptr) << id;
  }
  const std::unique_ptr<KelGroup> byName(factory->getGroup("Scan Info"));
  ASSERT_NE(byName, nullptr);
  EXPECT_EQ(byName->getGroupId(), 20U);
  EXPECT_EQ(byName->getGroupName(), String("Scan Info"));
  EXPECT_EQ(factory->getGroup("scan info"), nullptr);
  EXPECT_EQ(factory->getGroup(String()), nullptr);

  std::list<String> names = {"kept"};
  EXPECT_EQ(factory->getAllGroups(names), 0);
  EXPECT_EQ(names.size(), 24U);
  EXPECT_EQ(names.front(), String("kept"));
}

TEST(Factory, PutsTheDirectoryBeforeTheConfigurationFile) {
  struct {
    const char *directory, *file, *expected;
  } const cases[] = {{"/opt/x", "", "/opt/x/OrvHWConfig.xml"},
                     {"/opt/x", "hw.xml", "/opt/x/hw.xml"},
                     {"/opt/x", "/etc/hw.xml", "/opt/x//etc/hw.xml"},
                     {"", "", "/OrvHWConfig.xml"}};
  for (const auto& test : cases) {
    OrvCfg::setKey("config_dir", test.directory);
    OrvCfg::setKey("hwscanner.config_file", test.file);
    EXPECT_EQ(GroupFactory::getInstance()->initialise(), 1);
    EXPECT_EQ(GroupFactory::getInstance()->m_HWConfigFile, String(test.expected));
  }
}

}  // namespace
}  // namespace invscan
