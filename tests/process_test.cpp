// Children on pipes and forked probes.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <invscan/process.h>

#include "Processes.h"
#include "base/ChildPipe.h"

namespace invscan {
namespace {

using Lines = std::vector<std::string>;

// What hosts know of a handle.
struct PipeRecord {
  int pid, input, output;
  FILE* stream;
  time_t startTime;
  int timeLimit, hasExited, exitStatus;
};

PipeRecord& recordOf(void* handle) {
  return *static_cast<PipeRecord*>(handle);
}

void* shell(const char* line, int timeLimit = 0) {
  return slm_popen("sh", timeLimit, "-c", line, static_cast<char*>(nullptr));
}

// Until there is another answer than "nothing yet", or that long.
int await(void* handle, char* buffer, int size, double seconds = 5) {
  const Stopwatch watch;
  int answer;
  do {
    answer = slm_pgets(buffer, size, handle);
  } while (answer == 0 && watch.seconds() < seconds);
  return answer;
}

Lines allLines(void* handle, int size = 4096) {
  Lines lines;
  std::vector<char> buffer(static_cast<std::size_t>(size));
  while (await(handle, buffer.data(), size) == 1) lines.emplace_back(buffer.data());
  slm_pclose(handle);
  return lines;
}

// The number that the next file gets: a higher one when something was left open.
rlim_t nextDescriptor() {
  return static_cast<rlim_t>(Descriptor(dup(STDIN_FILENO)).get());
}

TEST(CommandPipe, GivesOutLines) {
  struct {
    const char* command;
    int size;
    Lines lines;
  } const cases[] = {
      {"printf 'a\\n\\nb'", 4096, {"a\n", "\n", "b"}},
      {"printf 'abcdefg\\nh\\n'", 6, {"abcd", "efg\n", "h\n"}},
      {"printf 'abcd\\n'", 6, {"abcd", "\n"}},
      {"printf 'a\\nb'", 3, {"a", "\n", "b"}},
      {"printf x; sleep 0.05; printf 'y\\nz'", 4096, {"xy\n", "z"}},
      {"test -p /dev/stdin && echo piped", 4096, {"piped\n"}},
      {"echo x >&2 || echo 'no error output'", 4096, {"no error output\n"}},
      {"printf a; exec >&-; sleep 0.05", 4096, {"a"}},
      {"true", 4096, {}},
      {"printf 'rest'; sleep 9 &", 4096, {"rest"}},  // which has the output still open
  };
  for (const auto& test : cases) {
    const Stopwatch watch;
    EXPECT_EQ(allLines(shell(test.command), test.size), test.lines) << test.command;
    EXPECT_LT(watch.seconds(), 4) << test.command;
  }
  EXPECT_EQ(allLines(slm_popen("printf", 0, "%s", "$HOME;*", static_cast<char*>(nullptr))),
            Lines{"$HOME;*"});
  EXPECT_EQ(allLines(shell("seq 100000")).size(), 100000U);
}

TEST(CommandPipe, TellsTheEndOnceAndThenForGood) {
  char line[8] = "";
  for (const char* program : {"true", "/no/such/program"}) {
    void* handle = slm_popen(program, 0, static_cast<char*>(nullptr));
    const pid_t pid = recordOf(handle).pid;
    siginfo_t end;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(slm_pgets(line, 2, handle), 0);
    EXPECT_EQ(recordOf(handle).hasExited, 0);
    EXPECT_EQ(slm_pgets(line, sizeof line, handle), 0);
    EXPECT_EQ(recordOf(handle).hasExited, 1);
    EXPECT_EQ(WEXITSTATUS(recordOf(handle).exitStatus), program[0] == '/' ? 255 : 0);
    EXPECT_EQ(slm_pgets(line, sizeof line, handle), -1);
    EXPECT_EQ(slm_pgets(line, sizeof line, handle), -1);
    slm_pclose(handle);
    EXPECT_TRUE(childrenOf(getpid()).empty());
  }
}

TEST(CommandPipe, NeverBlocksAndKeepsTheTimeLimit) {
  char line[64];
  void* handle = shell("printf half; exec sleep 60", 1);
  PipeRecord& record = recordOf(handle);
  const Stopwatch watch;
  for (int i = 0; i < 100; ++i) EXPECT_EQ(slm_pgets(line, sizeof line, handle), 0);
  EXPECT_LT(watch.seconds(), 0.5);
  record.startTime -= 100;
  record.timeLimit = 0;
  EXPECT_EQ(await(handle, line, sizeof line, 0.1), 0) << "no limit";
  record.timeLimit = 1;
  const pid_t pid = record.pid;
  EXPECT_EQ(slm_pgets(line, sizeof line, handle), -1);
  EXPECT_TRUE(endsSoon(pid));
  EXPECT_EQ(allLines(handle), Lines{"half"});
  EXPECT_EQ(stateOf(pid), 'X');
}

TEST(CommandPipe, RefusesAndLeavesNothingOpen) {
  char line[8];
  EXPECT_EQ(slm_pgets(line, sizeof line, nullptr), 0);
  slm_pclose(nullptr);
  EXPECT_EQ(slm_popen(nullptr, 0, static_cast<char*>(nullptr)), nullptr);
  char* const end = nullptr;
  EXPECT_EQ(allLines(slm_popen("echo", 0, "1", "2", "3", "4", "5", "6", "7", "8", "9", "a", "b",
                               "c", "d", "e", end)),
            Lines{"1 2 3 4 5 6 7 8 9 a b c d e\n"});
  EXPECT_EQ(slm_popen("echo", 0, "1", "2", "3", "4", "5", "6", "7", "8", "9", "a", "b", "c", "d",
                      "e", "f", end),
            nullptr);
  EXPECT_EQ(inFork([] {
              const rlim_t free = nextDescriptor();
              allLines(shell("true"));
              rlimit files;
              getrlimit(RLIMIT_NOFILE, &files);
              files.rlim_cur = free + 3;  // no room for a second pipe
              setrlimit(RLIMIT_NOFILE, &files);
              if (shell("true")) return 1;
              files.rlim_cur = files.rlim_max;
              setrlimit(RLIMIT_NOFILE, &files);
              const NoForks none;
              pid_t pid = 7;
              if (shell("true")) return 2;
              if (execForked([] { _exit(0); }, 1, &pid) != -1 || pid != 7) return 3;
              return nextDescriptor() == free ? 0 : 4;
            }),
            0);
}

TEST(CommandPipe, WorksForAHostWithoutStandardStreams) {
  EXPECT_EQ(inFork([] {
              for (const int stream : {0, 1, 2}) close(stream);
              void* handle = shell("read line; echo $line");
              if (write(recordOf(handle).input, "told\n", 5) != 5) return 1;
              return allLines(handle) == Lines{"told\n"} ? 0 : 2;
            }),
            0);
}

TEST(ExecForked, TellsHowTheFunctionEndedAtOnce) {
  struct {
    const char* what;
    void (*function)();
    int result;
  } const cases[] = {
      {"code 0", [] { _exit(0); }, 0},
      {"code 255", [] { _exit(255); }, 255},
      {"a signal", [] { raise(SIGKILL); }, -1},
      {"an exception", [] { signal(SIGABRT, SIG_DFL), close(2), throw 1; }, -1},
  };
  for (const auto& test : cases) {
    const Stopwatch watch;
    pid_t pid = 0;
    EXPECT_EQ(execForked(test.function, 5, &pid), test.result) << test.what;
    EXPECT_LT(watch.seconds(), 4) << test.what;
    EXPECT_EQ(stateOf(pid), 'X') << test.what;
  }
  const pid_t self = getpid();
  const int result = execForked([] {}, 5, nullptr);
  if (getpid() != self) _exit(result == -1 ? 42 : 1);
  EXPECT_EQ(result, 42) << "a function that returns: the child goes on with -1";
}

TEST(ExecForked, EndsWhatOutlivesItsSeconds) {
  for (const int seconds : {-3, 1}) {
    const Stopwatch watch;
    pid_t pid = 0;
    EXPECT_EQ(execForked([] { pause(); }, seconds, &pid), -1);
    EXPECT_GE(watch.seconds(), 1);
    EXPECT_LT(watch.seconds(), 2);
    EXPECT_TRUE(endsSoon(pid));
  }
}

TEST(ExecForked, SignalsNobodyWhereTheHostHasItsChildrenReaped) {
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  const Stopwatch watch;
  EXPECT_EQ(execForked([] { _exit(3); }, 5, nullptr), -1);
  EXPECT_LT(watch.seconds(), 4);
  std::signal(SIGCHLD, before);
}

TEST(BrokenPipes, RaiseNoSignalAndLeaveTheHostsAlone) {
  EXPECT_EQ(inFork([] {
              std::signal(SIGPIPE, SIG_DFL);
              Pipe pipe = makePipe();
              pipe.readEnd.close();
              for (int i = 0; i < 2; ++i) {
                const BrokenPipeSilence silence;
                if (write(pipe.writeEnd.get(), "x", 1) != -1 || errno != EPIPE) return 1;
              }
              static volatile int signals = 0;
              std::signal(SIGPIPE, [](int) { signals = signals + 1; });
              if (write(pipe.writeEnd.get(), "x", 1) != -1 || signals != 1) return 2;
              return 0;
            }),
            0);
}

}  // namespace
}  // namespace invscan
