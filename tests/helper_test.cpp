// Helpers that answer, and helpers that do all else.
#include <invscan/helper.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

#include <invscan/machine.h>

#include "TestMachine.h"
#include "common/vartree/ProgramOutput.h"
#include "common/vartree/Release.h"

namespace invscan {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A directory with helpers, which are shell scripts.
class Helpers : public testing::Test {
 protected:
  Helpers() {
    char name[] = "/tmp/invscan-test-XXXXXX";
    directory_ = mkdtemp(name);
    fs::create_directory(directory_ / "bin");
    setenv("ORV_HOMEDIR", directory_.c_str(), 1);
    useLiveMachine();
  }
  ~Helpers() override {
    useLiveMachine();
    while (wait(nullptr) > 0) {  // the library waits for none, and other tests count children
    }
    unsetenv("ORV_HOMEDIR");
    fs::remove_all(directory_);
  }

  std::string write(const std::string& body, const std::string& command = "cpuid") const {
    const fs::path path = directory_ / "bin" / command;
    std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
    fs::permissions(path, fs::perms::owner_all);
    return path;
  }

  std::string messageOf(const std::string& body, const char* arguments = nullptr,
                        const char* tracePath = nullptr) const {
    const Answer info(vtExecProgram(write(body).c_str(), arguments, tracePath));
    return info && info->message ? info->message : "no answer";
  }

  fs::path directory_;
};

struct Answered {
  const char* script;
  int result;
  const char* message;
  int x;  // of the tree; -1 when it has none, -2 without tree
};

TEST_F(Helpers, AreReadWhateverTheyDo) {
  const Answered cases[] = {
      {"echo 1.0 0 OK; echo x:i=5", 0, "OK", 5},
      {"echo ';note'; echo '1.0  3  no luck '", 3, "no luck ", -1},
      {"printf '1.0 0'", 0, "", -1},
      {"printf '1.07 0\\r\\nx:i=5\\r\\n'", 0, "", 5},
      {"echo 1.0 99999999999 much", 2147483647, "much", -1},
      {"printf '1.0 2 bad dump\\n-\\n'", 2, "bad dump", -2},
      {"echo 1 0", -1, nullptr, -2},
      {"echo 0.1 0", -1, nullptr, -2},
      {"echo 1.0", -1, nullptr, -2},
      {"echo 1. 0", -1, nullptr, -2},
      {"echo 1.0 -1", -1, nullptr, -2},
      {"echo ' 1.0 0'", -1, nullptr, -2},
      {"echo", -1, nullptr, -2},
      {"exit 1", -1, nullptr, -2},
      {"head -c 1000000 /dev/urandom", -1, nullptr, -2},
      {"echo 1.0 0 OK; printf '(A\\nx:i'; kill -9 $$", 0, "OK", -2},
      {"head -c 10000000 /dev/zero >&2; echo 1.0 0 OK; echo x:i=5", 0, "OK", 5},
      {"exec 2>&-; echo 1.0 0 OK; echo x:i=5", 0, "OK", 5},
      {"echo 1.0 0 OK; echo x:i=5; sleep 60 &", 0, "OK", 5},
      {"echo 1.0 0 OK; echo x:i=5; exec >&-; sleep 60", 0, "OK", 5},
      {"echo 1.0 0 OK; echo x:i=5; exit 9", 0, "OK", 5},
  };
  const auto begin = std::chrono::steady_clock::now();
  for (const Answered& expected : cases) {
    SCOPED_TRACE(expected.script);
    write(expected.script);
    const Answer info(vtExecCommand("cpuid", nullptr, nullptr));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->result, expected.result);
    EXPECT_STREQ(info->message, expected.message);
    EXPECT_EQ(vtGetValue(info.get(), "", "x", info->tree ? -1 : -2), expected.x);
  }
  EXPECT_EQ(Answer(vtExecCommand("missing", nullptr, nullptr))->result, -1);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

// How the script that tells its process id ended.
std::string endOf(const std::string& path, std::size_t limit, const fs::path& noted) {
  const auto text = readProgramOutput(path.c_str(), nullptr, nullptr, limit);
  int status = 0;
  const pid_t pid = std::stoi(contents(noted));
  const std::string end =
      waitpid(pid, &status, 0) == pid && WIFSIGNALED(status) ? "killed" : "ended by itself";
  return *text + end;
}

TEST_F(Helpers, DoNotOutliveTheirAnswer) {
  const std::string note = "echo $$ >" + (directory_ / "pid").string() + "; ";
  const auto run = [&](const std::string& body) {
    return endOf(write(note + body), 1000, directory_ / "pid");
  };
  EXPECT_EQ(run("echo text; exec >&-; exec sleep 60"), "text\nkilled");
  EXPECT_EQ(run("exec yes"), "killed");
  EXPECT_EQ(run("head -c 1001 /dev/zero").find('\0'), std::string::npos);
  EXPECT_EQ(run("printf '%01000d' 0; sleep 0.2; :"), std::string(1000, '0') + "ended by itself");
}

// The standard descriptors, and one with which the shell reads the count.
constexpr char kOpened[] = "4";
constexpr char kCountOpened[] =
    "echo noise >&2; echo 1.0 0 $(ls -l /proc/$$/fd | grep -c -e pipe: -e mark$)";

TEST_F(Helpers, StartWithNothingOfTheHosts) {
  const Descriptor mark(open((directory_ / "mark").c_str(), O_CREAT | O_RDWR, 0600));
  sigset_t blocked, before;
  sigfillset(&blocked);
  sigprocmask(SIG_SETMASK, &blocked, &before);
  const auto handler = signal(SIGPIPE, SIG_IGN);
  const std::string opened = messageOf(kCountOpened);
  const std::string signals =
      messageOf("echo 1.0 0 $(grep -E '^Sig(Blk|Ign)' /proc/$$/status | cut -f2)");
  signal(SIGPIPE, handler);
  sigset_t after;
  sigprocmask(SIG_SETMASK, &before, &after);
  EXPECT_EQ(opened, kOpened);
  EXPECT_EQ(signals, "0000000000000000 0000000000000000");
  EXPECT_EQ(sigismember(&after, SIGTERM), 1);
}

TEST_F(Helpers, GetAtMost62Words) {
  std::string words;
  for (int i = 1; i <= 70; ++i) words += "  w" + std::to_string(i);
  EXPECT_EQ(messageOf("shift 61; echo 1.0 0 $0 $*", words.c_str()),
            (directory_ / "bin/cpuid").string() + " w62");
  EXPECT_EQ(messageOf("echo 1.0 0 $#", "  "), "0");
}

// What a test says in a child of its own.
bool holdsInChild(bool (*test)(const std::string&), const std::string& path) {
  const pid_t child = fork();
  if (child == 0) _exit(test(path) ? 0 : 1);
  int status = 0;
  return waitpid(child, &status, 0) == child && status == 0;
}

TEST_F(Helpers, RunWithoutStandardDescriptors) {
  const std::string path = write(kCountOpened);
  const auto test = [](const std::string& helper) {
    for (int number = 0; number < 3; ++number) close(number);
    const Answer info(vtExecProgram(helper.c_str(), nullptr, "/no/such/file"));
    return info && info->message && info->message == std::string(kOpened);
  };
  EXPECT_TRUE(holdsInChild(test, path));
}

TEST_F(Helpers, LeaveNothingOpenWhenThereAreNoDescriptors) {
  const auto test = [](const std::string& helper) {
    const int free = dup(1);
    close(free);
    for (unsigned more = 0; more < 6; ++more) {
      const rlimit limit{static_cast<rlim_t>(free) + more, static_cast<rlim_t>(free) + more};
      if (more == 0) setrlimit(RLIMIT_NOFILE, &limit);
      if (vtExecProgram(helper.c_str(), nullptr, nullptr)) return false;
    }
    const rlimit room{1024, 1024};
    return setrlimit(RLIMIT_NOFILE, &room) != 0 || dup(1) == free;
  };
  EXPECT_TRUE(holdsInChild(test, write("echo 1.0 0 OK")));
}

TEST_F(Helpers, TalkThroughTheirPipes) {
  const std::string path = write("read word; echo got $word; echo error >&2; exit 7");
  const std::unique_ptr<VtProcess> process(VtProcess::create(path.c_str(), nullptr, nullptr));
  ASSERT_NE(process, nullptr);
  char word[] = "word\n", answer[64] = "";
  EXPECT_EQ(process->input->write(word, 5), 5);
  EXPECT_EQ(process->waitFor(), 7);
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
    std::istringstream lines(contents(trace));
    std::string first, second;
    std::getline(lines, first);
    std::getline(lines, second);
    EXPECT_TRUE(first.starts_with("CPUID START TIMESTAMP = ")) << first;
    EXPECT_EQ(second, "traced");
    EXPECT_TRUE(lines.peek() == EOF);
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
  write("echo run >>" + (directory_ / "runs").string() + "; echo 1.0 0 live \"$@\"", "cpuid");
  OrvCfg::setKey("common_trace_path", String(directory_.string()));
  const VtExecInfo* live = getCpuidVT();
  EXPECT_EQ(getCpuidVT(), live);
  EXPECT_STREQ(live->message, "live -d");
  EXPECT_TRUE(fs::exists(directory_ / "traceORV_cpuid.log"));
  {
    Answers answers;
    answers.helpers["cpuid"] = "1.0 4 other\nx:i=5\n";
    const OnMachine other(answers);
    EXPECT_EQ(getCpuidVT()->result, 4);
    EXPECT_EQ(vtGetValue(getCpuidVT(), "", "x", -1), 5);
    EXPECT_EQ(getDiskScanVT()->result, -1);
    EXPECT_EQ(getDiskScanVT(), getDiskScanVT());
  }
  EXPECT_EQ(contents(directory_ / "runs"), "run\n");
  OrvCfg::setKey("common_trace_path", String((directory_ / "missing").string()));
  EXPECT_STREQ(getCpuidVT()->message, "live");
  EXPECT_STREQ(live->message, "live -d");
  EXPECT_EQ(contents(directory_ / "runs"), "run\nrun\n");
  OrvCfg::setKey("common_trace_path", "");
}

TEST_F(Helpers, ShowTheirAnswers) {
  write("echo 1.0 3 partly; echo x:i=5");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(vtExecTest("cpuid"), 0);
  EXPECT_EQ(vtExecTest("diskscan"), 1);
  vtDumpResponse(2, "told");
  vtDumpResponse(0, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Command 'cpuid' executed successfully\n"
            "VT version = 1.0, result = 3, message = partly\n"
            "(\n   x:i=5\n)\n1.0 2 told\n1.0 0\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "*** Fatal: could not execute 'diskscan'\n");
}

}  // namespace
}  // namespace invscan
