// Captures as hostile input, and the way from a recording to its replay.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include <invscan/machine.h>

#include "invscan/machine/Capture.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

namespace fs = std::filesystem;

class Captures : public testing::Test {
 protected:
  Captures() {
    char name[] = "/tmp/invscan-test-XXXXXX";
    directory_ = mkdtemp(name);
  }
  ~Captures() override {
    useLiveMachine();
    fs::remove_all(directory_);
  }

  void write(const std::string& name, const std::string& text) const {
    fs::create_directories((directory_ / name).parent_path());
    std::ofstream(directory_ / name, std::ios::binary) << text;
  }

  // The error line of a replay, or "" when it began.
  std::string replay() const {
    std::string error;
    return replayMachine(directory_, error) ? "" : error;
  }

  fs::path directory_;
};

TEST_F(Captures, RefuseWhatIsMalformedByFileAndPlace) {
  struct {
    const char *json, *complaint;
  } const cases[] = {
      {"", "line 1: not valid JSON"},
      {"{\"capture\": 1,\n\"uname\": }", "line 2: not valid JSON"},
      {"[]", "expected an object"},
      {"{}", "missing key capture"},
      {"{\"capture\": 2}", "capture: this version reads format 1 only"},
      {"{\"capture\": 1, \"unmae\": {}}", "unknown key unmae"},
      {"{\"capture\": 1, \"uname\": 5}", "uname: expected an object"},
      {"{\"capture\": 1, \"uname\": {\"sysname\": \"\"}}", "missing key uname.nodename"},
      {"{\"capture\": 1, \"uname\": {\"nodename\": 1}}", "uname.nodename: expected a text"},
      {"{\"capture\": 1, \"page_size\": -1}", "page_size: expected a whole number of 0 or more"},
      {"{\"capture\": 1, \"time\": 1e999}", "a number that is too large"},
      {"{\"capture\": 1, \"a\\nb\": 1}", "unknown key a?b"},
      {"{\"capture\": 1, \"time\": 1e99}", "time: expected a whole number of seconds"},
      {"{\"capture\": 1, \"time\": 18446744073709551615}", "time: expected a number of seconds"},
      {"{\"capture\": 1, \"environment\": {\"LD_PRELOAD\": \"x\"}}",
       "unknown key environment.LD_PRELOAD"},
      {"{\"capture\": 1, \"environment\": {\"TZ\": \"a\\u0000b\"}}", "environment.TZ: expected"},
      {"{\"capture\": 1, \"commands\": {}}", "commands: expected a list"},
      {"{\"capture\": 1, \"commands\": [{\"line\": \"a\"}, {}]}", "missing key commands[1].line"},
      {"{\"capture\": 1, \"commands\": [{\"line\": \"a\", \"status\": 256}]}",
       "commands[0].status: expected a whole number from 0 to 255"},
      {"{\"capture\": 1, \"commands\": [{\"line\": \"a\", \"output_hex\": \"0g\"}]}",
       "commands[0].output_hex: expected hexadecimal digits"},
      {"{\"capture\": 1, \"unreadable\": {\"/x\": \"ENOPE\"}}", "unreadable./x: expected the name"},
      {"{\"capture\": 1, \"netlink\": {\"22\": [\"00\", 7]}}", "netlink.22[1]: expected a text"},
      {"{\"capture\": 1, \"statvfs\": {\"/\": {\"result\": 5}}}", "statvfs./.result: expected 0"},
      {R"({"capture": 1, "statvfs": {"/": {"f_frsize": -1}}})", "statvfs./.f_frsize: expected a"},
      {R"({"capture": 1, "statvfs64": {"/": {"hang": 1}}})", "statvfs64./.hang: expected true"},
      {R"({"capture": 1, "helpers": [{"line": "a"}]})", "unknown key helpers[0].line"},
      {R"({"capture": 1, "cpuid": {"1": ["00000001", "00000001", "00000001", "00000001"]}})",
       "cpuid.1: expected a leaf and subleaf such as"},
      {R"({"capture": 1, "cpuid": {"00000001.00000000": ["00000001", "2"]}})",
       "cpuid.00000001.00000000: expected eax, ebx, ecx and edx"},
      {R"({"capture": 1, "cpuid": {"00000001.00000000": ["0001", "0002", "0003", "0004"]}})",
       "cpuid.00000001.00000000: expected eax, ebx, ecx and edx"},
      {R"({"capture": 1, "cpuid": {"00000001.00000000": [1, 2, 3, 4]}})",
       "cpuid.00000001.00000000: expected a text"},
      {"{\"capture\": 1, \"interfaces\": [{}]}", "missing key interfaces[0].name"},
      {"{\"capture\": 1, \"absent\": {}}", "absent: expected a list"},
  };
  for (const auto& test : cases) {
    write("machine.json", test.json);
    const std::string error = replay();
    EXPECT_EQ(error.rfind(directory_.string() + ": machine.json: ", 0), 0U) << error;
    EXPECT_NE(error.find(test.complaint), std::string::npos) << test.json << "\n" << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
  write("machine.json", "{\"capture\": 1, \"x\": " + std::string(200000, '['));
  EXPECT_NE(replay(), "");
  fs::remove(directory_ / "machine.json");
  EXPECT_NE(replay().find("is this a finished capture?"), std::string::npos);
}

TEST_F(Captures, AreNotLeftByLinksAndNeverBlock) {
  write("machine.json", "{\"capture\": 1, \"unreadable\": {\"/secret\": \"EACCES\"}}");
  write("root/etc/target", "inside");
  fs::create_symlink("/etc/target", directory_ / "root/absolute");
  fs::create_symlink("../../../../etc/hostname", directory_ / "root/etc/outside");
  fs::create_symlink("/proc/self/environ", directory_ / "root/magic");
  fs::create_symlink("loop", directory_ / "root/loop");
  ASSERT_EQ(mkfifo((directory_ / "root/fifo").c_str(), 0600), 0);
  ASSERT_EQ(replay(), "");
  EXPECT_EQ(machine().readFile("/absolute").text, "inside");
  EXPECT_EQ(machine().readFile("/../../etc/target").text, "inside");
  EXPECT_EQ(machine().readFile("/etc/target", 3).text, "ins");
  struct {
    const char* path;
    int error;
  } const cases[] = {{"/etc/outside", ENOENT}, {"/magic", ENOENT}, {"/loop", ELOOP},
                     {"/fifo", ENOENT},        {"/etc", EISDIR},   {"/secret", EACCES},
                     {"/etc/hostname", ENOENT}};
  for (const auto& test : cases) {
    EXPECT_EQ(machine().readFile(test.path).error, test.error) << test.path;
  }
  EXPECT_TRUE(machine().exists("/secret"));
  EXPECT_FALSE(machine().exists("/etc/hostname"));
  EXPECT_EQ(machine().readLink("/absolute"), "/etc/target");
  EXPECT_EQ(machine().readLink("/etc/target"), std::nullopt);
}

TEST_F(Captures, AnswerCommandsInTurnAndTheLastAgain) {
  write("machine.json",
        "{\"capture\": 1, \"commands\": [{\"line\": \"a\", \"output\": \"1\"}, {\"line\": \"b\"},"
        "{\"line\": \"a\", \"output_hex\": \"32FF\", \"status\": 3}]}");
  ASSERT_EQ(replay(), "");
  EXPECT_EQ(machine().runCommand("a").text, "1");
  for (int i = 0; i < 2; ++i) {
    const CommandOutput last = machine().runCommand("a");
    EXPECT_EQ(last.text, "2\xff");
    EXPECT_EQ(last.status, 3);
  }
  EXPECT_EQ(machine().runCommand("uname -a").status, 127);
}

TEST_F(Captures, BringTheirEnvironmentAndZoneAndTakeThemAwayAgain) {
  setenv("LC_TIME", "mine", 1);
  setenv("TZ", "UTC-9", 1);
  tzset();
  struct {
    const char *what, *zone, *file;
    long west;
  } const cases[] = {
      {"a rule", "\"EST5EDT\"", nullptr, 18000},
      {"a file", "\"Test/Zone\"", "root/usr/share/zoneinfo/Test/Zone", -3600},
      {"the default", "null", "root/etc/localtime", -3600},
      {"no zone", "null", nullptr, 0},
      {"a zone that only this machine has", "\"Asia/Tokyo\"", nullptr, 0},
      {"a file elsewhere", "\":/etc/localtime\"", nullptr, 0},
  };
  const fs::path berlin =
      fs::path(INVSCAN_TESTS_DIR) / "machines/current-systemd/root/etc/localtime";
  for (const auto& test : cases) {
    write("machine.json", "{\"capture\": 1, \"environment\": {\"LC_ALL\": \"C\", \"TZ\": " +
                              std::string(test.zone) + "}}");
    fs::remove_all(directory_ / "root");
    if (test.file) {
      fs::create_directories((directory_ / test.file).parent_path());
      fs::copy_file(berlin, directory_ / test.file);
    }
    ASSERT_EQ(replay(), "") << test.what;
    EXPECT_EQ(timezone, test.west) << test.what;
    EXPECT_STREQ(getenv("LC_ALL"), "C");
    EXPECT_EQ(getenv("LC_TIME"), nullptr);
  }
  useLiveMachine();
  EXPECT_EQ(timezone, -32400);
  EXPECT_STREQ(getenv("LC_TIME"), "mine");
  EXPECT_EQ(getenv("TZDIR"), nullptr);
  unsetenv("LC_TIME");
  unsetenv("TZ");
  tzset();
}

TEST_F(Captures, HoldWhatWasAskedAlsoInForkedChildren) {
  write("live/file", "first");
  write("live/private", "");
  const std::string file = directory_ / "live/file", absent = directory_ / "live/absent";
  fs::create_symlink("there", directory_ / "live/link");
  const std::string count = "printf x >> " + (directory_ / "live/count").string() +
                            "; printf '\\377'; wc -c < " + (directory_ / "live/count").string();
  const std::string target = directory_ / "capture";
  std::string error;
  ASSERT_TRUE(recordMachine(target, error)) << error;
  EXPECT_EQ(machine().readFile(file, 2).text, "fi");
  const pid_t child = fork();
  if (child == 0) {
    machine().readFile(absent);
    machine().readFile(directory_ / "live");
    machine().runCommand("exit 7");
    _exit(machine().runCommand(count).text ==
                  "\xff"
                  "1\n"
              ? 0
              : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  write("live/file", "second");
  EXPECT_EQ(machine().readFile(file).text, "first") << "the first answer stands";
  EXPECT_EQ(machine().runCommand(count).text,
            "\xff"
            "1\n");
  EXPECT_EQ(machine().runCommand(count).text,
            "\xff"
            "2\n");
  const long time = machine().currentTime();
  const auto kernel = machine().kernelIdentity();
  EXPECT_EQ(machine().readLink(directory_ / "live/link"), "there");
  write("capture/.recording/draft.1", "{\"half");  // of a child that was killed
  ASSERT_TRUE(finishRecording(error)) << error;
  EXPECT_FALSE(finishRecording(error));
  struct stat attributes;
  ASSERT_EQ(stat(target.c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_mode & 0777, 0700U);

  fs::remove_all(directory_ / "live");
  ASSERT_TRUE(replayMachine(target, error)) << error;
  EXPECT_EQ(machine().readFile(file).text, "first");
  EXPECT_EQ(machine().runCommand(count).text,
            "\xff"
            "1\n");
  EXPECT_EQ(machine().runCommand(count).text,
            "\xff"
            "2\n");
  EXPECT_EQ(machine().runCommand("exit 7").status, 7);
  EXPECT_EQ(machine().currentTime(), time);
  EXPECT_EQ(machine().kernelIdentity()->release, kernel->release);
  EXPECT_EQ(machine().readLink(directory_ / "live/link"), "there");

  startAccessLog();
  machine().readFile(absent);
  machine().readFile("/never/asked");
  machine().readFile(directory_ / "live");
  const std::vector<Access> accesses = accessLog();
  ASSERT_EQ(accesses.size(), 3U);
  EXPECT_EQ(accesses[0].outcome, "no such file or directory");
  EXPECT_EQ(accesses[1].outcome, "never asked when it was recorded");
  EXPECT_EQ(accesses[2].outcome, "is a directory");
}

TEST_F(Captures, AnswerProcessorsHelpersAndFileSystems) {
  write("machine.json", R"({"capture": 1,
    "cpuid": {"8000001D.00000003": ["00000001", "8000000A", "ffffffff", "00000000"]},
    "commands": [{"line": "cpuid", "output": "printed"}],
    "helpers": [{"command": "cpuid", "output": "1"}, {"command": "cpuid", "output_hex": "00ff"},
                {"command": "diskscan", "hang": true}],
    "statvfs": {"/": {"f_blocks": 5}, "/x": {"result": -1}, "/y": {"hang": true}},
    "statvfs64": {"/y": {"f_blocks": 18446744073709551615}}})");
  ASSERT_EQ(replay(), "");
  const auto leaf = machine().cpuid(0x8000001D, 3);
  ASSERT_TRUE(leaf);
  EXPECT_EQ(leaf->ebx, 0x8000000A);
  EXPECT_EQ(leaf->ecx, 0xFFFFFFFF);
  EXPECT_FALSE(machine().cpuid(0x8000001D));

  EXPECT_EQ(machine().runCommand("cpuid").text, "printed");
  EXPECT_EQ(machine().runHelper("cpuid", nullptr, nullptr).text, "1") << "turns of its own";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(machine().runHelper("cpuid", "-d", nullptr).text, std::string("\0\xff", 2));
  }
  EXPECT_EQ(machine().runHelper("unknown", nullptr, nullptr).text, "");

  using enum StatisticsCall;
  EXPECT_EQ(machine().fileSystemStatistics("/", statvfs64)->f_blocks, 5U) << "falls back";
  EXPECT_EQ(machine().fileSystemStatistics("/y", statvfs64)->f_blocks, ULONG_MAX);
  EXPECT_FALSE(machine().fileSystemStatistics("/x", statvfs));
  EXPECT_FALSE(machine().fileSystemStatistics("/z", statvfs));

  void (*const hanging[])() = {[] { machine().runHelper("diskscan", nullptr, nullptr); },
                               [] { machine().fileSystemStatistics("/y", statvfs); }};
  for (const auto& ask : hanging) {
    const pid_t child = fork();
    if (child == 0) _exit((ask(), 0));
    usleep(50'000);
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0) << "it waits";
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

// A small tree such as that of /sys: all paths of an entry lead to one place.
TEST_F(Captures, KeepDirectoriesAndFilesWhereLinksLead) {
  const std::string live = directory_ / "live";
  write("live/devices/disk/size", "8");
  write("live/devices/disk/queue/kind", "ssd");
  write("live/file", "");
  write("outside", "untouched");
  const fs::path block = directory_ / "live/block";
  fs::create_directory(block);
  const std::pair<const char*, std::string> links[] = {{"absolute", live + "/devices/disk"},
                                                       {"circle", "other"},
                                                       {"dangling", "../not/there"},
                                                       {"other", "circle"},
                                                       {"relative", "../devices/disk"}};
  for (const auto& [name, target] : links) fs::create_symlink(target, block / name);
  fs::create_symlink("block", directory_ / "live/class");

  const auto ask = [&] {
    std::string answers =
        machine().readFile(block / "relative/size").text + " ";  // before the link
    for (const char* path : {"", "/class", "/class/absolute", "/devices/disk", "/class/circle",
                             "/class/dangling", "/file", "/none"}) {
      for (const std::string& name : machine().listDirectory(live + path)) answers += name + " ";
      answers += "; ";
    }
    for (const auto& [name, target] : links) {
      answers += machine().readLink(live + "/class/" + name).value_or("none") + " ";
    }
    for (const char* path :
         {"/class/absolute/queue/kind", "/devices/disk/size", "/class/circle/size"}) {
      answers += machine().readFile(live + path).text + " ";
    }
    return answers;
  };
  std::string error;
  ASSERT_TRUE(recordMachine(directory_ / "capture", error)) << error;
  const std::string recorded = ask();
  ASSERT_TRUE(finishRecording(error)) << error;
  const std::string disk = live + "/devices/disk";
  EXPECT_EQ(recorded,
            "8 block class devices ; absolute circle dangling other relative ; queue ; "
            "queue ; ; ; ; ; " +
                disk +
                " other ../not/there circle ../devices/disk "
                "ssd 8  ");
  const fs::path kept = (directory_ / "capture/root") / fs::path(live).relative_path();
  EXPECT_TRUE(fs::is_symlink(kept / "block/relative"));
  EXPECT_TRUE(fs::is_regular_file(kept / "devices/disk/size"));

  fs::remove_all(live);
  ASSERT_TRUE(replayMachine(directory_ / "capture", error)) << error;
  EXPECT_EQ(ask(), recorded);
}

// The machine changes while it is recorded: a directory turns into a link to somewhere else.
TEST_F(Captures, AreNeverLeftWhenTheyAreWritten) {
  write("live/a/file", "inside");
  write("elsewhere/keep", "");
  std::string error;
  const std::string capture = directory_ / "capture";
  ASSERT_TRUE(recordMachine(capture, error)) << error;
  const fs::path root = fs::path(capture) / "root" / directory_.relative_path();
  fs::create_directories(root / "live");
  fs::create_symlink(directory_ / "elsewhere", root / "live/a");
  EXPECT_EQ(machine().readFile(directory_ / "live/a/file").text, "inside");
  machine().listDirectory(directory_ / "live");
  finishRecording(error);
  EXPECT_FALSE(fs::exists(directory_ / "elsewhere/file"));
  EXPECT_TRUE(fs::exists(root / "elsewhere/file"));
}

TEST_F(Captures, AreNotMadeWhereSomethingIs) {
  write("full/x", "");
  std::string error;
  for (const char* name : {"full", "full/x", "absent/deeper"}) {
    EXPECT_FALSE(recordMachine(directory_ / name, error));
    EXPECT_EQ(error.rfind((directory_ / name).string() + ": ", 0), 0U) << error;
  }
}

}  // namespace
}  // namespace invscan
