// Statistics of file systems through the child that asks for them.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include <invscan/base/CcLogWrapper.h>
#include <invscan/machine.h>
#include <invscan/statistics.h>

#include "Processes.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

namespace fs = std::filesystem;

constexpr int kPatience = 5'000'000;

class Statistics : public testing::Test {
 protected:
  Statistics() {
    char name[] = "/tmp/invscan-test-XXXXXX";
    directory_ = mkdtemp(name);
    useLiveMachine();
  }
  ~Statistics() override {
    useLiveMachine();
    CcLogWrapper::setSink(-1, CcLogWrapper::kOff);
    for (const pid_t left : childrenOf(getpid())) EXPECT_TRUE(endsSoon(left));
    fs::remove_all(directory_);
  }

  void replay() const {
    std::ofstream(directory_ / "machine.json")
        << R"({"capture": 1, "statvfs": {"/mnt/dead": {"hang": true},
               "/": {"result": 0, "f_frsize": 4096, "f_blocks": 1000, "f_bavail": 500}},
               "statvfs64": {"/mnt/wide": {"result": 0, "f_blocks": 7}}})";
    std::string error;
    ASSERT_TRUE(replayMachine(directory_, error)) << error;
  }

  // The child that serves this process.
  static pid_t child() {
    const auto children = childrenOf(getpid());
    return children.size() == 1 ? children.front() : 0;
  }

  fs::path directory_;
  orv_statvfs_info_t info_{};
};

TEST_F(Statistics, AreThoseOfTheFileSystem) {
  struct statvfs expected;
  ASSERT_EQ(statvfs("/proc", &expected), 0);
  info_.answer.f_blocks = info_.answer64.f_blocks = 99;
  ASSERT_EQ(timeout_statvfs("/proc", info_, kPatience, false), 0);
  EXPECT_EQ(info_.result, 0);
  EXPECT_EQ(info_.answer.f_bsize, expected.f_bsize);
  EXPECT_EQ(info_.answer.f_fsid, expected.f_fsid);
  EXPECT_EQ(info_.answer.f_namemax, expected.f_namemax);
  EXPECT_EQ(info_.answer64.f_bsize, 0U);
  ASSERT_EQ(timeout_statvfs("/proc", info_, kPatience, true), 0);
  EXPECT_EQ(info_.answer64.f_fsid, expected.f_fsid);
  EXPECT_EQ(info_.answer.f_bsize, 0U);
}

TEST_F(Statistics, FailWithoutAChildForPathsThatCannotBeAsked) {
  EXPECT_EQ(timeout_statvfs(nullptr, info_, kPatience, false), 1);
  EXPECT_EQ(timeout_statvfs(std::string(4097, 'x').c_str(), info_, kPatience, false), 1);
  EXPECT_EQ(child(), 0);
  for (const std::string& path : {std::string(4096, 'x'), std::string("/no/such"), std::string()}) {
    EXPECT_EQ(timeout_statvfs(path.c_str(), info_, kPatience, false), 0);
    EXPECT_EQ(info_.result, -1);
  }
}

TEST_F(Statistics, CostOneTimeOutWhereAFileSystemHangs) {
  replay();
  startAccessLog();
  ASSERT_EQ(timeout_statvfs("/", info_, kPatience, false), 0);
  const auto before = descriptorsOf(getpid()).size();
  for (const int timeout : {200'000, -5, 999}) {
    const pid_t asked = child();
    const Stopwatch watch;
    EXPECT_EQ(timeout_statvfs("/mnt/dead", info_, timeout, true), 1);
    EXPECT_GE(watch.seconds(), timeout > 1000 ? 0.2 : 0.001);
    EXPECT_LT(watch.seconds(), timeout > 1000 ? 1.0 : 0.5);
    EXPECT_EQ(info_.answer.f_blocks, 1000U) << "left as it was";
    EXPECT_TRUE(endsSoon(asked));
    EXPECT_EQ(timeout_statvfs("/", info_, kPatience, false), 0);
    EXPECT_EQ(info_.answer.f_bavail, 500U);
    EXPECT_EQ(stateOf(asked), 'X');
    EXPECT_NE(child(), 0);
    EXPECT_EQ(descriptorsOf(getpid()).size(), before);
  }
  EXPECT_EQ(accessLog()[0].source, "statvfs /");
  EXPECT_EQ(accessLog()[0].outcome, "ok");
  EXPECT_EQ(accessLog()[1].outcome, "no answer in time");
  EXPECT_GE(accessLog()[1].milliseconds, 200);
  EXPECT_EQ(accessLog().size(), 7U);
}

TEST_F(Statistics, AskThroughOneChildAsLongAsItLives) {
  ASSERT_EQ(timeout_statvfs("/", info_, kPatience, false), 0);
  const pid_t first = child();
  const auto before = descriptorsOf(getpid()).size();
  for (int i = 0; i < 10'000; ++i) {
    ASSERT_EQ(timeout_statvfs(i % 3 ? "/" : "/no/such", info_, kPatience, i % 2), 0);
    ASSERT_EQ(info_.result, i % 3 ? 0 : -1);
  }
  EXPECT_EQ(child(), first);
  EXPECT_EQ(descriptorsOf(getpid()).size(), before);
  ASSERT_GT(first, 0);
  kill(first, SIGKILL);
  EXPECT_TRUE(endsSoon(first));
  EXPECT_EQ(timeout_statvfs("/", info_, kPatience, false), 0);
  EXPECT_EQ(stateOf(first), 'X');
  replay();
  EXPECT_EQ(child(), 0) << "the child knew the other machine";
  EXPECT_EQ(timeout_statvfs("/mnt/wide", info_, kPatience, true), 0);
  EXPECT_EQ(info_.answer64.f_blocks, 7U);
}

TEST_F(Statistics, OfAForkedCopyComeFromAChildOfItsOwn) {
  ASSERT_EQ(timeout_statvfs("/", info_, kPatience, false), 0);
  const pid_t mine = child();
  EXPECT_EQ(inFork([&] {
              if (timeout_statvfs("/", info_, kPatience, false) != 0 || child() == 0) return 1;
              useLiveMachine();
              if (child() != 0) return 2;
              const NoForks none;
              const Stopwatch watch;
              if (timeout_statvfs("/", info_, kPatience, false) != 1) return 3;
              return watch.seconds() < 1 && childrenOf(getpid()).empty() ? 0 : 4;
            }),
            0);
  EXPECT_EQ(inFork([] { return useLiveMachine(), 0; }), 0) << "drops what it inherited";
  EXPECT_EQ(timeout_statvfs("/", info_, kPatience, false), 0);
  EXPECT_EQ(child(), mine);
}

TEST_F(Statistics, LeaveTheHostBehindAndDieWithIt) {
  replay();
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t host = fork();
  if (host == 0) {
    std::signal(SIGTERM, SIG_IGN);
    std::signal(SIGUSR1, [](int) {});
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR2);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    timeout_statvfs("/", info_, kPatience, false);
    const pid_t served = child();
    if (write(ends[1], &served, sizeof served) != sizeof served) _exit(1);
    timeout_statvfs("/mnt/dead", info_, 60'000'000, false);
    _exit(0);
  }
  pid_t served = 0;
  ASSERT_EQ(read(ends[0], &served, sizeof served), static_cast<ssize_t>(sizeof served));
  for (const int end : ends) close(end);

  std::vector<std::string> kept = descriptorsOf(served);
  EXPECT_EQ(std::count(kept.begin(), kept.end(), "/dev/null"), 3);
  EXPECT_EQ(std::erase_if(kept, [](const auto& to) { return to.starts_with("pipe:"); }), 2U);
  EXPECT_EQ(kept.size(), 3U);
  std::ifstream file("/proc/" + std::to_string(served) + "/status");
  const std::string status{std::istreambuf_iterator<char>(file), {}};
  const auto mask = [&status](const std::string& name) {
    constexpr unsigned long kOfTheCLibrary = 0x180000000;  // handles them where there were threads
    const std::size_t place = status.find("\n" + name + ":\t") + name.size() + 3;
    return std::stoul(status.substr(place, 16), nullptr, 16) & ~kOfTheCLibrary;
  };
  EXPECT_EQ(mask("SigBlk"), 0U);
  EXPECT_EQ(mask("SigCgt"), 0U);
  EXPECT_EQ(mask("SigIgn"), 1UL << (SIGPIPE - 1));
  ASSERT_GT(host, 0);
  kill(host, SIGKILL);
  waitpid(host, nullptr, 0);
  EXPECT_TRUE(endsSoon(served));
}

TEST_F(Statistics, AreTracedByBothProcesses) {
  std::FILE* sink = std::fopen((directory_ / "trace").c_str(), "a+");
  CcLogWrapper::setSink(fileno(sink), CcLogWrapper::kMax);
  timeout_statvfs("/", info_, kPatience, false);
  timeout_statvfs("/", info_, kPatience, true);
  CcLogWrapper::setSink(-1, CcLogWrapper::kOff);
  std::fclose(sink);
  std::ifstream file(directory_ / "trace");
  const std::string trace{std::istreambuf_iterator<char>(file), {}};
  const std::string pid = std::to_string(child());
  for (const std::string& text :
       {std::string("hardware Creating new helper child."),
        "hardware Created new helper child pid=" + pid, "hardware Child exists pid=" + pid,
        std::string("hardware Waiting for response for 5000000 us..."),
        std::string("hardware Calling statvfs for / ..."),
        std::string("hardware Calling statvfs64 for / ..."), "[" + pid + "] MAX hw"}) {
    EXPECT_NE(trace.find(text), std::string::npos) << text << " is missing in\n" << trace;
  }
}

TEST_F(Statistics, AreRecordedFromTheChild) {
  std::string error;
  const std::string capture = directory_ / "capture";
  ASSERT_TRUE(recordMachine(capture, error)) << error;
  ASSERT_EQ(timeout_statvfs("/", info_, kPatience, false), 0);
  const orv_statvfs_info_t recorded = info_;
  ASSERT_EQ(timeout_statvfs("/no/such", info_, kPatience, true), 0);
  ASSERT_TRUE(finishRecording(error)) << error;
  ASSERT_TRUE(replayMachine(capture, error)) << error;
  ASSERT_EQ(timeout_statvfs("/", info_, kPatience, true), 0) << "statvfs64 falls back";
  EXPECT_EQ(info_.answer64.f_frsize, recorded.answer.f_frsize);
  EXPECT_EQ(info_.answer64.f_blocks, recorded.answer.f_blocks);
  EXPECT_EQ(info_.answer64.f_bavail, recorded.answer.f_bavail);
  ASSERT_EQ(timeout_statvfs("/no/such", info_, kPatience, true), 0);
  EXPECT_EQ(info_.result, -1);
}

}  // namespace
}  // namespace invscan
