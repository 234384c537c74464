// Statistics of file systems through the child that asks for them.

#include "Processes.h"
#include "ProcessorTime.h"
#include "Testing.h"
#include "base/ChildPipe.h"
#include "invscan/com/children/StatisticsService.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr int kPatience = 60'000'000;

class Statistics : public InDirectory {
 protected:
  ~Statistics() override {
    useLiveMachine();
    CcLogWrapper::setSink(-1, CcLogWrapper::kOff);
    for (const pid_t left : children()) {
      EXPECT_TRUE(endsSoon(left));
      waitpid(left, nullptr, 0);  // which a later question would do
    }
  }

  // The result, or 9 when nothing could be told.
  int ask(const char* path, bool use64 = false, int timeout = kPatience) {
    return timeout_statvfs(path, info_, timeout, use64) == 0 ? info_.result : 9;
  }

  void replay() const {
    write("machine.json", R"({"capture": 1, "statvfs": {"/mnt/dead": {"hang": true},
               "/": {"result": 0, "f_frsize": 4096, "f_blocks": 1000, "f_bavail": 500}},
               "statvfs64": {"/mnt/wide": {"result": 0, "f_blocks": 7}}})");
    std::string error;
    ASSERT_TRUE(replayMachine(directory_, error)) << error;
  }

  // The child that serves this process. One that was ended may still be on its way out.
  static pid_t child() {
    std::vector<pid_t> serving = children();
    std::erase_if(serving, [](pid_t each) { return stateOf(each) == 'Z'; });
    return serving.size() == 1 ? serving.front() : 0;
  }

  orv_statvfs_info_t info_{};
};

TEST_F(Statistics, AreThoseOfTheFileSystem) {
  struct statvfs expected;
  ASSERT_EQ(statvfs("/proc", &expected), 0);
  for (const bool use64 : {false, true}) {
    info_.answer.f_bsize = info_.answer64.f_bsize = 99;
    EXPECT_EQ(ask("/proc", use64), 0);
    EXPECT_EQ(use64 ? info_.answer64.f_bsize : info_.answer.f_bsize, expected.f_bsize);
    EXPECT_EQ(use64 ? info_.answer64.f_namemax : info_.answer.f_namemax, expected.f_namemax);
    EXPECT_EQ(use64 ? info_.answer.f_bsize : info_.answer64.f_bsize, 0U);
  }
}

TEST_F(Statistics, FailWithoutAChildForPathsThatCannotBeAsked) {
  EXPECT_EQ(ask(nullptr), 9);
  EXPECT_EQ(ask(std::string(4097, 'x').c_str()), 9);
  EXPECT_EQ(child(), 0);
  EXPECT_EQ(ask(std::string(4096, 'x').c_str()), -1);
  EXPECT_EQ(ask(""), -1);
}

TEST_F(Statistics, CostOneTimeOutWhereAFileSystemHangs) {
  replay();
  startAccessLog();
  ASSERT_EQ(ask("/"), 0);
  const auto before = descriptorsOf(getpid()).size();
  for (const int timeout : {200'000, -5, 999}) {
    const pid_t asked = child();
    const ShareMeter meter;
    EXPECT_EQ(ask("/mnt/dead", true, timeout), 9);
    EXPECT_GE(meter.time().count(), timeout > 1000 ? 0.2 : 0.001);
    EXPECT_LT(meter.timeWithProcessor().count(), 4);
    EXPECT_EQ(info_.answer.f_blocks, 1000U) << "left as it was";
    EXPECT_TRUE(endsSoon(asked));
    EXPECT_EQ(ask("/"), 0);
    EXPECT_EQ(info_.answer.f_bavail, 500U);
    EXPECT_EQ(stateOf(asked), 'X');
    EXPECT_NE(child(), 0);
    EXPECT_EQ(descriptorsOf(getpid()).size(), before);
  }
  ASSERT_EQ(accessLog().size(), 7U);
  EXPECT_EQ(accessLog()[0].source, "statvfs /");
  EXPECT_EQ(accessLog()[0].outcome, "ok");
  EXPECT_EQ(accessLog()[1].outcome, "no answer in time");
  EXPECT_GE(accessLog()[1].milliseconds, 200);
}

TEST_F(Statistics, ThatAreExpectedAreStillAnswersToWhatIsAsked) {
  write("machine.json", [] {
    std::string text = R"({"capture": 1, "statvfs": {"/dead": {"hang": true})";
    for (int i = 0; i < 40; ++i) {
      const std::string number = std::to_string(i);
      text += R"(, "/)" + number + R"(": {"result": 0, "f_blocks": )" + number + "}";
    }
    return text + "}}";
  }());
  std::string error;
  ASSERT_TRUE(replayMachine(directory_, error)) << error;
  const auto blocksOf = [this](int path) {
    return ask(('/' + std::to_string(path)).c_str()) == 0 ? static_cast<int>(info_.answer.f_blocks)
                                                          : -1;
  };
  std::vector<std::string> paths;
  for (int i = 0; i < 40; ++i) paths.push_back('/' + std::to_string(i));
  paths.insert(paths.begin() + 30, {std::string(5000, 'x'), "/dead"});
  {
    const ExpectedStatistics expected(paths);
    EXPECT_EQ(blocksOf(0), 0);
    const pid_t first = child();
    for (int i = 1; i < 30; ++i) EXPECT_EQ(blocksOf(i), i);
    EXPECT_EQ(child(), first);
    EXPECT_EQ(ask("/dead", false, 50'000), 9);
    for (int i = 30; i < 40; ++i) EXPECT_EQ(blocksOf(i), i);
  }
  {
    const ExpectedStatistics expected(paths);
    for (const int i : {0, 1, 7, 2}) EXPECT_EQ(blocksOf(i), i) << "another than the expected one";
  }
  pid_t before = 0;
  {
    const ExpectedStatistics expected(paths);
    EXPECT_EQ(blocksOf(0), 0);
    before = child();
    kill(before, SIGKILL);
    EXPECT_TRUE(endsSoon(before));
    EXPECT_EQ(blocksOf(1), 1) << "which the dead child had";
    before = child();
  }
  EXPECT_EQ(blocksOf(2), 2);
  EXPECT_NE(child(), before) << "what it had read ahead may be old";
}

TEST_F(Statistics, AskThroughOneChildAsLongAsItLives) {
  ASSERT_EQ(ask("/"), 0);
  const pid_t first = child();
  const auto before = descriptorsOf(getpid()).size();
  for (int i = 0; i < 10'000; ++i) ASSERT_EQ(ask(i % 3 ? "/" : "/no/such", i % 2), i % 3 ? 0 : -1);
  EXPECT_EQ(child(), first);
  EXPECT_EQ(descriptorsOf(getpid()).size(), before);
  ASSERT_GT(first, 0);
  kill(first, SIGKILL);
  EXPECT_TRUE(endsSoon(first));
  EXPECT_EQ(ask("/"), 0);
  EXPECT_EQ(stateOf(first), 'X');
  const pid_t second = child();
  replay();
  EXPECT_TRUE(endsSoon(second)) << "the child knew the other machine";
  EXPECT_EQ(ask("/mnt/wide", true), 0);
  EXPECT_EQ(info_.answer64.f_blocks, 7U);
}

TEST_F(Statistics, OfAForkedCopyComeFromAChildOfItsOwn) {
  ASSERT_EQ(ask("/"), 0);
  const pid_t mine = child();
  EXPECT_EQ(0, inFork([&] {
              if (ask("/") != 0 || child() == 0) return 1;
              const pid_t own = child();
              useLiveMachine();
              if (!endsSoon(own)) return 2;
              forbidForks();
              const Stopwatch watch;
              if (ask("/") != 9) return 3;
              return watch.seconds() < 30 && children().empty() ? 0 : 4;
            }));
  EXPECT_EQ(0, inFork([] { return useLiveMachine(), 0; })) << "drops what it inherited";
  EXPECT_EQ(ask("/"), 0);
  EXPECT_EQ(child(), mine);
}

TEST_F(Statistics, LeaveTheHostBehindAndDieWithIt) {
  replay();
  Pipe pipe = makePipe();
  const pid_t host = fork();
  if (host == 0) {
    std::signal(SIGTERM, SIG_IGN);
    std::signal(SIGUSR1, [](int) {});
    sigset_t blocked;
    sigfillset(&blocked);
    sigprocmask(SIG_SETMASK, &blocked, nullptr);
    ask("/");
    const pid_t served = child();
    if (::write(pipe.writeEnd.get(), &served, sizeof served) != sizeof served) _exit(1);
    ask("/mnt/dead", false, 60'000'000);
    _exit(0);
  }
  pid_t served = 0;
  ASSERT_EQ(read(pipe.readEnd.get(), &served, sizeof served), ssize_t{sizeof served});

  std::vector<std::string> kept = descriptorsOf(served);
  EXPECT_EQ(std::erase(kept, "/dev/null"), 3U);
  EXPECT_EQ(std::erase_if(kept, [](const auto& to) { return to.starts_with("pipe:"); }), 2U);
  EXPECT_TRUE(kept.empty());
  const std::string status = contents("/proc/" + std::to_string(served) + "/status");
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
  for (const bool use64 : {false, true}) ask("/", use64);
  CcLogWrapper::setSink(-1, CcLogWrapper::kOff);
  std::fclose(sink);
  const std::string trace = contents(directory_ / "trace"), pid = std::to_string(child());
  for (const std::string& text :
       {"Created new helper child pid=" + pid, "Child exists pid=" + pid,
        "Waiting for response for 60000000 us" + std::string("..."), "[" + pid + "] MAX hw",
        "Calling statvfs64 for / " + std::string("...")}) {
    EXPECT_NE(trace.find(text), std::string::npos) << text << " is missing in\n" << trace;
  }
}

}  // namespace
}  // namespace invscan
