// Captures as hostile input, and the way from a recording to its replay.
#include <malloc.h>

#include <latch>

#include "FirmwareBuilder.h"
#include "Processes.h"
#include "TestMachine.h"
#include "Testing.h"

namespace invscan {
namespace {

class Captures : public InDirectory {
 protected:
  // The error line, or "" when the replay began.
  static std::string replay(const std::string& directory) {
    std::string error;
    return replayMachine(directory, error) ? "" : error;
  }

  // Does to the machine what shall be recorded.
  static void record(const std::string& capture, const std::function<void()>& ask) {
    std::string error;
    ASSERT_TRUE(recordMachine(capture, error)) << error;
    ask();
    ASSERT_TRUE(finishRecording(error)) << error;
    EXPECT_FALSE(finishRecording(error));
  }
};

TEST_F(Captures, RefuseWhatIsMalformedByFileAndPlace) {
  const auto expectRefused = [&](const std::string& json, const std::string& complaint) {
    write("machine.json", json);
    const std::string error = replay(directory_);
    EXPECT_TRUE(error.starts_with(directory_.string() + ": machine.json: ")) << error;
    EXPECT_NE(error.find(complaint), std::string::npos) << json << "\n" << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
  };
  expectRefused("", "line 1: not valid JSON");
  expectRefused("{\"capture\": 1,\n\"uname\": }", "line 2: not valid JSON");
  expectRefused("{\"capture\": 1, \"x\": " + std::string(200000, '['), "");
  for (const char* value : {"tru", "01", "1.", "-", "1e", ".5", "'a'", "[1,]", "{\"a\": 1,}",
                            "{1: 2}", "[1", "1 2", "\"\t\"", "\"\\x\"", "\"\\u12g4\"",
                            "\"\\ud800\"", "\"\\udc00\\ud800\"", "\"\xc0\x80\"", "\"open"}) {
    expectRefused("{\"capture\": 1,\n\"devices\": " + std::string(value) + "}",
                  "line 2: not valid JSON");
  }
  expectRefused("{}", "missing key capture");
  expectRefused("{\"capture\": 2}", "capture: this version reads format 1 only");
  const std::pair<const char*, const char*> cases[] = {
      {R"("a\nb": 1)", "unknown key a?b"},
      {R"("uname": 5)", "uname: expected an object"},
      {R"("uname": {"sysname": "", "nodename": 1})", "uname.nodename: expected a text"},
      {R"("page_size": -1)", "page_size: expected a whole number of 0 or more"},
      {R"("time": 1e999)", "a number that is too large"},
      {R"("time": 18446744073709551615)", "time: expected a number of seconds"},
      {R"("environment": {"LD_PRELOAD": "x"})", "unknown key environment.LD_PRELOAD"},
      {R"("environment": {"TZ": "a\u0000b"})", "environment.TZ: expected"},
      {R"("absent": {})", "absent: expected a list"},
      {R"("commands": [{"line": "a"}, {}])", "missing key commands[1].line"},
      {R"("commands": [{"line": "a", "status": 256}])", "commands[0].status: expected a whole"},
      {R"("commands": [{"line": "a", "output_hex": "0g"}])", "output_hex: expected hexadecimal"},
      {R"("unreadable": {"/x": "ENOPE"})", "unreadable./x: expected the name"},
      {R"("netlink": {"22": ["00", 7]})", "netlink.22[1]: expected a text"},
      {R"("interfaces": [{}])", "missing key interfaces[0].name"},
      {R"("statvfs": {"/": {"result": 5}})", "statvfs./.result: expected 0"},
      {R"("statvfs64": {"/": {"hang": 1}})", "statvfs64./.hang: expected true"},
      {R"("helpers": [{"line": "a"}])", "unknown key helpers[0].line"},
      {R"("cpuid": {"1": ["00000001", "00000001", "00000001", "00000001"]})",
       "cpuid.1: expected a leaf and subleaf such as"},
      {R"("cpuid": {"00000001.00000000": ["01", "02", "03", "04"]})",
       "cpuid.00000001.00000000: expected eax"},
  };
  for (const auto& [part, complaint] : cases) {
    expectRefused("{\"capture\": 1, " + std::string(part) + "}", complaint);
  }
  fs::remove(directory_ / "machine.json");
  EXPECT_NE(replay(directory_).find("is this a finished capture?"), std::string::npos);
}

TEST_F(Captures, AreNotLeftByLinksAndNeverBlock) {
  write("machine.json", R"({"capture": 1, "unreadable": {"/secret": "EACCES"}})");
  write("root/etc/target", "inside");
  const std::pair<const char*, const char*> links[] = {{"absolute", "/etc/target"},
                                                       {"outside", "../../../../etc/hostname"},
                                                       {"magic", "/proc/self/environ"},
                                                       {"loop", "loop"}};
  for (const auto& [name, target] : links) fs::create_symlink(target, directory_ / "root" / name);
  ASSERT_EQ(mkfifo((directory_ / "root/fifo").c_str(), 0600), 0);
  ASSERT_EQ(replay(directory_), "");
  const std::tuple<const char*, int, const char*> cases[] = {
      {"/absolute", 0, "ins"},      {"/../../etc/target", 0, "ins"},
      {"/outside", ENOENT, ""},     {"/magic", ENOENT, ""},
      {"/loop", ELOOP, ""},         {"/fifo", ENOENT, ""},
      {"/etc", EISDIR, ""},         {"/secret", EACCES, ""},
      {"/etc/hostname", ENOENT, ""}};
  for (const auto& [path, error, text] : cases) {
    EXPECT_EQ(machine().readFile(path, 3).error, error) << path;
    EXPECT_EQ(machine().readFile(path, 3).text, text) << path;
  }
  EXPECT_TRUE(machine().exists("/secret"));
  EXPECT_FALSE(machine().exists("/etc/hostname"));
  EXPECT_EQ(machine().readLink("/absolute").text, "/etc/target");
  EXPECT_EQ(machine().readLink("/etc/target").error, kNotALink);
}

TEST_F(Captures, BringTheirEnvironmentAndZoneAndTakeThemAwayAgain) {
  setenv("LC_TIME", "mine", 1);
  setenv("TZ", "UTC-9", 1);
  tzset();
  const std::tuple<const char*, const char*, const char*, long> cases[] = {
      {"a rule", "\"EST5EDT\"", nullptr, 18000},
      {"a file", "\"Test/Zone\"", "root/usr/share/zoneinfo/Test/Zone", -3600},
      {"the default", "null", "root/etc/localtime", -3600},
      {"no zone", "null", nullptr, 0},
      {"a rule with a time of day", "\"CET-1CEST,M3.5.0,M10.5.0/3\"", nullptr, -3600},
      {"a zone that only this machine has", "\"Asia/Tokyo\"", nullptr, 0},
      {"a file elsewhere", "\":/etc/localtime\"", nullptr, 0},
  };
  const std::string berlin =
      contents(fs::path(INVSCAN_TESTS_DIR) / "machines/current-systemd/root/etc/localtime");
  for (const auto& [what, zone, file, west] : cases) {
    write("machine.json",
          R"({"capture": 1, "environment": {"LC_ALL": "C", "TZ": )" + std::string(zone) + "}}");
    fs::remove_all(directory_ / "root");
    if (file) write(file, berlin);
    ASSERT_EQ(replay(directory_), "") << what;
    EXPECT_EQ(timezone, west) << what;
    EXPECT_STREQ(getenv("LC_ALL"), "C");
    EXPECT_EQ(getenv("LC_TIME"), nullptr);
  }
  // Also when something goes wrong behind it.
  std::string error;
  EXPECT_FALSE(recordMachine("/dev/null", error));
  EXPECT_EQ(timezone, -32400);
  EXPECT_STREQ(getenv("LC_TIME"), "mine");
  EXPECT_EQ(getenv("TZDIR"), nullptr);
  for (const char* variable : {"LC_TIME", "TZ"}) unsetenv(variable);
  tzset();
}

TEST_F(Captures, HoldWhatWasAskedAlsoInForkedChildren) {
  write("live/file", "first");
  const std::string file = directory_ / "live/file", absent = directory_ / "live/absent";
  const std::string counter = directory_ / "live/count";
  const std::string count = "printf x >> " + counter + "; printf '\\377'; wc -c < " + counter;
  const std::string once = std::string("\xff") + "1\n", twice = std::string("\xff") + "2\n";
  const std::string capture = directory_ / "capture";
  long time = 0;
  std::optional<KernelIdentity> kernel;
  record(capture, [&] {
    EXPECT_EQ(machine().readFile(file, 2).text, "fi");
    EXPECT_EQ(0, inFork([&] {
                machine().readFile(absent);
                machine().readFile(directory_ / "live");
                machine().runCommand("exit 7");
                return machine().runCommand(count).text == once ? 0 : 1;
              }));
    write("live/file", "second");
    EXPECT_EQ(machine().readFile(file).text, "first") << "the first answer stands";
    EXPECT_EQ(machine().runCommand(count).text, once);
    EXPECT_EQ(machine().runCommand(count).text, twice);
    time = machine().currentTime();
    kernel = machine().kernelIdentity();
    write("capture/.recording/draft.1", "{\"half");  // of a child that was killed
  });
  EXPECT_EQ(fs::status(capture).permissions(), fs::perms::owner_all);

  fs::remove_all(directory_ / "live");
  ASSERT_EQ(replay(capture), "");
  EXPECT_EQ(machine().readFile(file).text, "first");
  EXPECT_EQ(machine().runCommand(count).text, once);
  EXPECT_EQ(machine().runCommand(count).text, twice);
  EXPECT_EQ(machine().runCommand("exit 7").status, 7);
  EXPECT_EQ(machine().currentTime(), time);
  EXPECT_EQ(machine().kernelIdentity()->release, kernel->release);

  const std::pair<std::string, const char*> unread[] = {
      {absent, "no such file or directory"},
      {"/never/asked", "never asked when it was recorded"},
      {directory_ / "live", "is a directory"}};
  startAccessLog();
  for (const auto& [path, outcome] : unread) {
    machine().readFile(path);
    EXPECT_EQ(accessLog().back().outcome, outcome);
  }
}

TEST_F(Captures, AnswerInTurnAndTheLastAgain) {
  write("machine.json", R"({"capture": 1,
    "uname": {"hang": true},
    "cpuid": {"8000001D.00000003": ["00000001", "8000000A", "ffffffff", "00000000"]},
    "commands": [{"line": "cpuid", "output": "1"}, {"line": "other"},
                 {"line": "cpuid", "output_hex": "32FF", "status": 3}],
    "helpers": [{"command": "cpuid", "output": "1\u00fc\ud83d\ude00\n"}, {"command": "cpuid", "output_hex": "00ff"},
                {"command": "diskscan", "hang": true}],
    "statvfs": {"/": {"f_blocks": 5}, "/x": {"result": -1}, "/y": {"f_blocks": 6}},
    "statvfs64": {"/y": {"f_blocks": 18446744073709551615}}})");
  ASSERT_EQ(replay(directory_), "");
  const auto leaf = machine().cpuid(0x8000001D, 3);
  ASSERT_TRUE(leaf);
  EXPECT_EQ(leaf->ebx, 0x8000000A);
  EXPECT_EQ(leaf->ecx, 0xFFFFFFFF);
  EXPECT_FALSE(machine().cpuid(0x8000001D));

  EXPECT_EQ(machine().runCommand("cpuid").text, "1");
  EXPECT_EQ(machine().runHelper("cpuid", nullptr, nullptr).text, "1\u00fc\U0001F600\n");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(machine().runCommand("cpuid").text, "2\xff");
    EXPECT_EQ(machine().runHelper("cpuid", "-d", nullptr).text, std::string("\0\xff", 2));
  }
  EXPECT_EQ(machine().runCommand("cpuid").status, 3);
  EXPECT_EQ(machine().runCommand("unknown").status, 127);
  EXPECT_EQ(machine().runHelper("unknown", nullptr, nullptr).text, "");
  const auto hang = [] { machine().runHelper("diskscan", nullptr, nullptr), _exit(0); };
  EXPECT_EQ(execForked(hang, 1, nullptr), -1) << "it waits";
  const auto hangingQuestion = [] { machine().kernelIdentity(), _exit(0); };
  EXPECT_EQ(execForked(hangingQuestion, 1, nullptr), -1) << "any question may";

  using enum StatisticsCall;
  EXPECT_EQ(machine().fileSystemStatistics("/", statvfs64)->f_blocks, 5U) << "falls back";
  EXPECT_EQ(machine().fileSystemStatistics("/y", statvfs64)->f_blocks, ULONG_MAX);
  EXPECT_FALSE(machine().fileSystemStatistics("/x", statvfs));
  EXPECT_FALSE(machine().fileSystemStatistics("/z", statvfs));
}

// What can be asked of a path, and how a replay tells what was recorded.
TEST_F(Captures, TellAbsenceDenialAndEmptinessApart) {
  const std::string live = directory_ / "live", capture = directory_ / "capture";
  write("live/file", "text");
  fs::create_directory(live + "/empty");
  fs::create_symlink("loop", live + "/loop");
  const auto ask = [&] {
    std::string outcomes;
    const auto note = [&](auto&&) { outcomes += accessLog().back().outcome + "; "; };
    startAccessLog();
    for (const char* name : {"/file", "/empty", "/loop", "/none", ""}) {
      note(machine().readFile(live + name));
      note(machine().listDirectory(live + name));
      note(machine().readLink(live + name));
      note(machine().exists(live + name));
    }
    return outcomes;
  };
  std::string recorded;
  record(capture, [&] { recorded = ask() + (machine().exists("/dev/zero") ? "a device" : ""); });
  EXPECT_FALSE(fs::exists(capture + "/root/dev")) << "which is not read";
  EXPECT_EQ(
      recorded,
      "ok; not a directory; not a link; ok; "
      "is a directory; nothing in it; not a link; ok; "
      "too many levels of symbolic links; too many levels of symbolic links; ok; "
      "too many levels of symbolic links; "
      "no such file or directory; no such file or directory; no such file or directory; no such "
      "file or directory; "
      "is a directory; ok; not a link; ok; a device");
  fs::remove_all(live);
  ASSERT_EQ(replay(capture), "");
  EXPECT_EQ(ask() + (machine().exists("/dev/zero") ? "a device" : ""), recorded);

  write("machine.json", R"({"capture": 1, "absent": [],
    "unreadable": {"/denied": "EACCES", "link /link": "EPERM", "/stale": "ESTALE",
                   "/dev/mem 0x0+0x8": "EPERM"}})");
  write("root/dev/mem", std::string(16, '\0'));
  ASSERT_EQ(replay(directory_), "");
  startAccessLog();
  EXPECT_EQ(machine().listDirectory("/denied").error, EACCES);
  EXPECT_EQ(accessLog().back().outcome, "permission denied when it was recorded");
  EXPECT_EQ(machine().readLink("/link").error, EPERM);
  EXPECT_EQ(accessLog().back().outcome, "operation not permitted when it was recorded");
  EXPECT_EQ(machine().readFile("/stale").error, ESTALE);
  EXPECT_EQ(machine().listDirectory("/other").error, ENOENT);
  EXPECT_EQ(accessLog().back().outcome, "never asked when it was recorded");
  machine().runCommand("other");
  EXPECT_EQ(accessLog().back().outcome, "never asked when it was recorded");

  // What stood in the way is noted where nothing else is.
  startObstacleLog();
  machine().readFile("/denied");
  machine().readFile("/stale");
  machine().pageSize();
  machine().runCommand("other");
  EXPECT_EQ(accessLog().size(), 2U);
  machine().readMemory(0, 8);
  EXPECT_EQ(accessLog().size(), 3U);
  machine().readMemory(8, 8);  // the source tells all the same
  EXPECT_EQ(accessLog().size(), 2U);
}

// A small tree such as that of /sys: all paths of an entry lead to one place.
TEST_F(Captures, KeepDirectoriesAndFilesWhereLinksLead) {
  const std::string live = directory_ / "live", disk = live + "/devices/disk";
  const std::string capture = directory_ / "capture";
  write("live/devices/disk/size", "8");
  write("live/devices/disk/queue/kind", "ssd");
  write("live/block/file", "");
  const std::pair<const char*, std::string> links[] = {
      {"class", "block"},        {"block/absolute", disk},
      {"block/circle", "other"}, {"block/dangling", "../not/there"},
      {"block/other", "circle"}, {"block/relative", "../devices/disk"}};
  for (const auto& [name, target] : links) fs::create_symlink(target, live + "/" + name);

  const auto ask = [&] {
    std::string answers = machine().readFile(live + "/block/relative/size").text;  // then the link
    for (const char* path : {"", "/class", "/class/absolute", "/devices/disk", "/class/circle",
                             "/class/dangling", "/block/file", "/none"}) {
      answers += ";";
      for (const std::string& name : machine().listDirectory(live + path)) answers += " " + name;
    }
    for (const char* name : {"absolute", "circle", "dangling", "relative"}) {
      answers += "; " + machine().readLink(live + "/class/" + name).text;
    }
    for (const char* path : {"/class/absolute/queue/kind", "/class/circle/size"}) {
      answers += "; " + machine().readFile(live + path).text;
    }
    return answers;
  };
  std::string recorded;
  record(capture, [&] { recorded = ask(); });
  EXPECT_EQ(recorded,
            "8; block class devices; absolute circle dangling other relative; queue; "
            "queue;;;;; " +
                disk + "; other; ../not/there; ../devices/disk; ssd; ");
  EXPECT_TRUE(fs::is_regular_file(capture + "/root" + disk + "/size"));
  fs::remove_all(live);
  ASSERT_EQ(replay(capture), "");
  EXPECT_EQ(ask(), recorded);
}

// The machine changes while it is recorded: a directory turns into a link to somewhere else.
TEST_F(Captures, AreNeverLeftWhenTheyAreWritten) {
  write("live/a/file", "inside");
  write("elsewhere/keep", "");
  const std::string capture = directory_ / "capture";
  const fs::path root = capture + "/root" + directory_.string();
  record(capture, [&] {
    fs::create_directories(root / "live");
    fs::create_symlink(directory_ / "elsewhere", root / "live/a");
    EXPECT_EQ(machine().readFile(directory_ / "live/a/file").text, "inside");
    machine().listDirectory(directory_ / "live");
  });
  EXPECT_FALSE(fs::exists(directory_ / "elsewhere/file"));
  EXPECT_TRUE(fs::exists(root / "elsewhere/file"));
}

TEST_F(Captures, AreFreedWhenTheNextOneIsScanned) {
  std::string absent = "\"/\"";
  for (int number = 0; number < 10000; ++number)
    absent += ",\n \"/sys/" + std::to_string(number) + "\"";
  write("machine.json", R"({"capture": 1, "helpers": [{"command": "cpuid", "output": "1.0 0 OK\n"}],
    "absent": [)" + absent + "]}");
  const std::string structures = structure(200, zeros(200)) + zeros(50000);
  write("root/sys/firmware/dmi/tables/DMI", structures);
  write("root/sys/firmware/dmi/tables/smbios_entry_point", entryPoint64(0x300, 50000));
  OrvCfg::setKey("hwscanner.sources", "native");
  const auto replays = [&](int rounds) {
    for (int round = 0; round < rounds; ++round) {
      ASSERT_EQ(replay(directory_), "");
      GroupFactory::getInstance()->initialise();
      EXPECT_TRUE(globalSMBIOSTable->isAvailable());
      EXPECT_EQ(getCpuidVT()->result, 0);
    }
  };
  replays(3);
  const std::size_t before = mallinfo2().uordblks;
  replays(30);
  EXPECT_LT(mallinfo2().uordblks, before + absent.size());
  OrvCfg::setKey("hwscanner.sources", "");
}

// A machine that tells when it is gone.
class MortalMachine : public TestMachine {
 public:
  explicit MortalMachine(std::atomic<bool>& isGone) : TestMachine(Answers()), isGone_(isGone) {}
  ~MortalMachine() override { isGone_ = true; }

 private:
  std::atomic<bool>& isGone_;
};

TEST_F(Captures, LastAsLongAsAThreadAsksThem) {
  std::atomic<bool> isGone = false;
  setMachine(std::make_shared<MortalMachine>(isGone));
  std::latch asked(2), replaced(2);
  std::thread abandoned([&] {
    Machine& mine = machine();
    asked.arrive_and_wait();
    replaced.arrive_and_wait();
    EXPECT_EQ(mine.pageSize(), 0U);
    EXPECT_FALSE(isGone);
    machine();
    EXPECT_TRUE(isGone) << "it asks the next one";
  });
  asked.arrive_and_wait();
  useLiveMachine();
  EXPECT_FALSE(isGone);
  replaced.arrive_and_wait();
  abandoned.join();
}

TEST_F(Captures, AreNotMadeWhereSomethingIs) {
  write("full/x", "");
  for (const char* name : {"full", "full/x", "absent/deeper"}) {
    std::string error;
    EXPECT_FALSE(recordMachine(directory_ / name, error));
    EXPECT_TRUE(error.starts_with((directory_ / name).string() + ": ")) << error;
  }
}

}  // namespace
}  // namespace invscan
