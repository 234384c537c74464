// Helpers that answer, and helpers that do all else.

#include "Processes.h"
#include "TestMachine.h"
#include "Testing.h"
#include "common/vartree/ProgramOutput.h"
#include "common/vartree/Release.h"

namespace invscan {
namespace {

// A directory with helpers, which are shell scripts.
class Helpers : public InDirectory {
 protected:
  Helpers() { setenv("ORV_HOMEDIR", directory_.c_str(), 1); }
  ~Helpers() override {
    useLiveMachine();
    while (wait(nullptr) > 0) {  // the library waits for none, and other tests count children
    }
    unsetenv("ORV_HOMEDIR");
  }

  std::string writeHelper(const std::string& body) const {
    write("bin/cpuid", "#!/bin/sh\n" + body + "\n");
    fs::permissions(directory_ / "bin/cpuid", fs::perms::owner_all);
    return directory_ / "bin/cpuid";
  }

  std::string messageOf(const std::string& body, const char* arguments = nullptr,
                        const char* tracePath = nullptr) const {
    const Answer info(vtExecProgram(writeHelper(body).c_str(), arguments, tracePath));
    return info && info->message ? info->message : "no answer";
  }
};

TEST_F(Helpers, AreReadWhateverTheyDo) {
  // The tree has x, has none (-1), or is none (-2).
  const std::tuple<const char*, int, const char*, int> cases[] = {
      {"echo ';note'; echo '1.0  3  no luck '", 3, "no luck ", -1},
      {"printf '1.0 0'", 0, "", -1},
      {"printf '1.07 0\\r\\nx:i=5\\r\\n'", 0, "", 5},
      {"echo 1.0 99999999999 much", 2147483647, "much", -1},
      {"printf '1.0 2 bad dump\\n-\\n'", 2, "bad dump", -2},
      {"echo 1 0", -1, nullptr, -2},
      {"echo 0.1 0", -1, nullptr, -2},
      {"echo 1.0 -1", -1, nullptr, -2},
      {"exit 1", -1, nullptr, -2},
      {"head -c 1000000 /dev/urandom", -1, nullptr, -2},
      {"echo 1.0 0 OK; yes ';' | head -n 4200000", -1, nullptr, -2},
      {"echo 1.0 0 OK; printf '(A\\nx:i'; kill -9 $$", 0, "OK", -2},
      {"head -c 10000000 /dev/zero >&2; echo 1.0 0 OK; echo x:i=5", 0, "OK", 5},
      {"exec 2>&-; echo 1.0 0 OK; echo x:i=5; sleep 120 &", 0, "OK", 5},
      {"echo 1.0 0 OK; echo x:i=5; exec >&-; sleep 120", 0, "OK", 5},
  };
  for (const auto& [script, result, message, x] : cases) {
    SCOPED_TRACE(script);
    const Stopwatch watch;
    writeHelper(script);
    const Answer info(vtExecCommand("cpuid", nullptr, nullptr));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->result, result);
    EXPECT_STREQ(info->message, message);
    EXPECT_EQ(vtGetValue(info.get(), "", "x", info->tree ? -1 : -2), x);
    EXPECT_LT(watch.seconds(), 60);
  }
  EXPECT_EQ(Answer(vtExecCommand("missing", nullptr, nullptr))->result, -1);
}

TEST_F(Helpers, DoNotOutliveTheirAnswer) {
  const fs::path noted = directory_ / "pid";
  // What was read of it, and how it ended.
  const auto run = [&](const std::string& body) {
    const std::string path = writeHelper("echo $$ >" + noted.string() + "; " + body);
    fs::remove(noted);
    const auto others = children();
    const auto text = readProgramOutput(path.c_str(), nullptr, nullptr, 1000);
    int status = 0;
    const auto all = children();
    const auto isNew = [&](pid_t child) {
      return std::find(others.begin(), others.end(), child) == others.end();
    };
    const auto pid = std::find_if(all.begin(), all.end(), isNew);
    if (pid == all.end() || waitpid(*pid, &status, 0) != *pid) return std::string("not there");
    if (contents(noted) != std::to_string(*pid) + "\n") return std::string("not begun");
    return *text + (WIFSIGNALED(status) ? "killed" : "ended by itself");
  };
  EXPECT_EQ(run("echo text; exec >&-; exec sleep 60"), "text\nkilled");
  EXPECT_EQ(run("exec yes"), "killed");
  EXPECT_EQ(run("head -c 1001 /dev/zero").find('\0'), std::string::npos);
  EXPECT_EQ(run("printf '%01000d' 0; sleep 0.2; :"), std::string(1000, '0') + "ended by itself");
  std::string outcome = "not begun";  // in so little time, on a busy machine
  for (int limit = 300; limit < 60'000 && outcome == "not begun"; limit *= 3) {
    OrvCfg::setKey("hwscanner.helper_timeout", std::to_string(limit).c_str());
    outcome = run("echo text; exec sleep 1000");
  }
  OrvCfg::setKey("hwscanner.helper_timeout", "");
  EXPECT_EQ(outcome, "killed");
}

// The standard descriptors, the script, and the directory in which the shell looks them up.
constexpr char kOpened[] = "5";
constexpr char kCountOpened[] = "echo noise >&2; set -- /proc/self/fd/*; echo 1.0 0 $#";

TEST_F(Helpers, StartWithNothingOfTheHosts) {
  const Descriptor mark(open((directory_ / "mark").c_str(), O_CREAT | O_RDWR, 0600));
  const std::string signals = " $(grep -E '^Sig(Blk|Ign)' /proc/$$/status | cut -f2)";
  EXPECT_EQ(0, inFork([&] {
              sigset_t blocked, after;
              sigfillset(&blocked);
              sigprocmask(SIG_SETMASK, &blocked, nullptr);
              signal(SIGPIPE, SIG_IGN);
              EXPECT_EQ(messageOf(kCountOpened + signals),
                        kOpened + std::string(" 0000000000000000 0000000000000000"));
              sigprocmask(SIG_SETMASK, nullptr, &after);
              return HasFailure() || !sigismember(&after, SIGTERM);
            }));
}

TEST_F(Helpers, GetAtMost62Words) {
  std::string words;
  for (int i = 1; i <= 70; ++i) words += "  w" + std::to_string(i);
  EXPECT_EQ(messageOf("shift 61; echo 1.0 0 $0 $*", words.c_str()),
            (directory_ / "bin/cpuid").string() + " w62");
  EXPECT_EQ(messageOf("echo 1.0 0 $#", "  "), "0");
}

TEST_F(Helpers, RunWithoutStandardDescriptors) {
  writeHelper(kCountOpened);
  EXPECT_EQ(0, inFork([] {
              for (const int standard : {0, 1, 2}) close(standard);
              const Answer info(vtExecCommand("cpuid", nullptr, "/no/such/file"));
              return std::strcmp(info->message ? info->message : "", kOpened);
            }));
}

TEST_F(Helpers, LeaveNothingOpenWhereTheyCannotStart) {
  const std::string path = writeHelper("echo 1.0 0 OK");
  EXPECT_EQ(0, inFork([&] {
              const int free = dup(1);
              closefrom(free);
              for (int more = 0; more < 6; ++more) {
                const rlimit few{static_cast<rlim_t>(free + more), 1024};
                setrlimit(RLIMIT_NOFILE, &few);
                if (vtExecProgram(path.c_str(), nullptr, nullptr)) return 1;
              }
              const rlimit enough{1024, 1024};
              setrlimit(RLIMIT_NOFILE, &enough);
              forbidForks();
              if (vtExecProgram(path.c_str(), nullptr, nullptr)) return 2;
              for (int more = 0; more < 6; ++more) {
                if (fcntl(free + more, F_GETFD) != -1) return 3;
              }
              return 0;
            }));
}

TEST_F(Helpers, TalkThroughTheirPipes) {
  const std::string path = writeHelper("read word; echo got $word; echo error >&2; exit 7");
  const std::unique_ptr<VtProcess> process(VtProcess::create(path.c_str(), nullptr, nullptr));
  ASSERT_NE(process, nullptr);
  char word[] = "word\n", answer[64] = "";
  EXPECT_EQ(process->input->write(word, 5), 5);
  EXPECT_EQ(process->waitFor(), 7);
  EXPECT_EQ(process->input->write(word, 5), -1);
  EXPECT_EQ(process->output->read(answer, sizeof answer), 9);
  EXPECT_STREQ(answer, "got word\n");
  EXPECT_EQ(process->error->read(answer, sizeof answer), 6);
  process->output->close();
  EXPECT_EQ(process->output->read(answer, sizeof answer), 0);
  process->destroy();
  EXPECT_EQ(process->exitValue(), 7);
}

TEST_F(Helpers, TraceIntoPlainFilesOnly) {
  const fs::path trace = directory_ / "trace", secret = directory_ / "secret";
  const std::string script = "echo traced >&2; echo 1.0 0 OK";
  for (const char* before : {"", "a longer text that was there before, and more of it"}) {
    if (*before) std::ofstream(trace) << before;
    EXPECT_EQ(messageOf(script, nullptr, trace.c_str()), "OK");
    const std::string text = contents(trace);
    EXPECT_TRUE(text.starts_with("CPUID START TIMESTAMP = ")) << text;
    EXPECT_EQ(text.substr(text.find('\n')), "\ntraced\n");
    EXPECT_EQ(fs::status(trace).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  }
  std::ofstream(secret) << "kept";
  fs::create_symlink(secret, directory_ / "link");
  fs::create_hard_link(secret, directory_ / "second name");
  fs::create_symlink(directory_ / "new", directory_ / "dangling");
  mkfifo((directory_ / "fifo").c_str(), 0600);
  for (const char* name : {"link", "second name", "dangling", "fifo", "bin", "no/such"}) {
    EXPECT_EQ(messageOf(script, nullptr, (directory_ / name).c_str()), "OK") << name;
  }
  EXPECT_EQ(contents(secret), "kept");
  EXPECT_FALSE(fs::exists(directory_ / "new"));
}

TEST_F(Helpers, AreAskedOnceForEachMachine) {
  writeHelper("echo run >>" + (directory_ / "runs").string() + "; echo 1.0 0 live \"$@\"");
  OrvCfg::setKey("common_trace_path", String(directory_.string()));
  const VtExecInfo* live = getCpuidVT();
  EXPECT_EQ(getCpuidVT(), live);
  EXPECT_STREQ(live->message, "live -d");
  EXPECT_TRUE(fs::exists(directory_ / "traceORV_cpuid.log"));
  OrvCfg::setKey("common_trace_path", String((directory_ / "missing").string()));
  {
    const OnMachine other(Answers{.helpers = {{"cpuid", "1.0 4 other\nx:i=5\n"}}});
    EXPECT_EQ(vtGetValue(getCpuidVT(), "", "x", -1), 5);
    EXPECT_EQ(getDiskScanVT()->result, -1);
  }
  EXPECT_STREQ(getCpuidVT()->message, "live");
  EXPECT_EQ(contents(directory_ / "runs"), "run\nrun\n");
  OrvCfg::setKey("common_trace_path", "");
}

TEST(HelperAnswers, ShowTheirFirstLine) {
  testing::internal::CaptureStdout();
  vtDumpResponse(2, "told");
  vtDumpResponse(0, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "1.0 2 told\n1.0 0\n");
}

}  // namespace
}  // namespace invscan
