// Children on pipes and forked probes.
#include <poll.h>

#include <algorithm>

#include "Processes.h"
#include "Testing.h"
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

// Until there is another answer than "nothing yet", or for that long.
int await(void* handle, std::string& line, double seconds = kPatienceSeconds) {
  int answer = 0;
  for (const Stopwatch watch; answer == 0 && watch.seconds() < seconds;) {
    answer = slm_pgets(line.data(), static_cast<int>(line.size()), handle);
  }
  return answer;
}

Lines allLines(void* handle, std::size_t size = 4096) {
  Lines lines;
  std::string line(size, '\0');
  while (await(handle, line) == 1) lines.emplace_back(line.c_str());
  slm_pclose(handle);
  return lines;
}

// The number that the next file gets: a higher one when something was left open.
rlim_t nextDescriptor() {
  return static_cast<rlim_t>(Descriptor(dup(STDIN_FILENO)).get());
}

TEST(CommandPipe, GivesOutLines) {
  const std::tuple<const char*, std::size_t, Lines> cases[] = {
      {"printf 'a\\n\\nb'", 4096, {"a\n", "\n", "b"}},
      {"printf 'abcdefg\\nabcd\\nh\\n'", 6, {"abcd", "efg\n", "abcd", "\n", "h\n"}},
      {"printf 'a\\nb'", 3, {"a", "\n", "b"}},
      {"printf x; sleep 0.05; printf 'y\\nz'", 4096, {"xy\n", "z"}},
      {"test -p /dev/stdin && echo piped", 4096, {"piped\n"}},
      {"echo x >&2 || echo 'no error output'", 4096, {"no error output\n"}},
      {"printf 'rest'; sleep 60 &", 4096, {"rest"}},  // which has the output still open
  };
  for (const auto& [command, size, lines] : cases) {
    const Stopwatch watch;
    EXPECT_EQ(allLines(shell(command), size), lines) << command;
    EXPECT_LT(watch.seconds(), 30) << command;
  }
  EXPECT_EQ(allLines(shell("seq 100000")).size(), 100000U);
}

TEST(CommandPipe, TellsTheEndOnceAndThenForGood) {
  char line[8];
  for (const char* program : {"true", "/no/such/program"}) {
    void* handle = slm_popen(program, 0, static_cast<char*>(nullptr));
    const PipeRecord& record = recordOf(handle);
    siginfo_t end;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(record.pid), &end, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(slm_pgets(line, 2, handle), 0);
    EXPECT_EQ(record.hasExited, 0) << "there was no room for a line";
    for (const int answer : {0, -1, -1}) EXPECT_EQ(slm_pgets(line, sizeof line, handle), answer);
    EXPECT_EQ(record.hasExited, 1);
    EXPECT_EQ(WEXITSTATUS(record.exitStatus), program[0] == '/' ? 255 : 0);
    const pid_t pid = record.pid;
    slm_pclose(handle);
    // Children that other tests had killed may still be there.
    EXPECT_EQ(std::ranges::count(children(), pid), 0);
  }
}

TEST(CommandPipe, NeverBlocksAndKeepsTheTimeLimit) {
  std::string line(64, '\0');
  void* handle = shell("printf half; exec sleep 60", 1000);
  PipeRecord& record = recordOf(handle);
  const pid_t pid = record.pid;
  pollfd half{record.output, POLLIN, 0};
  ASSERT_EQ(poll(&half, 1, -1), 1);
  const Stopwatch watch;
  EXPECT_EQ(await(handle, line, 0.1), 0);
  record.startTime -= 2000;
  record.timeLimit = 0;
  EXPECT_EQ(await(handle, line, 0.1), 0) << "no limit";
  EXPECT_LT(watch.seconds(), 30);
  record.timeLimit = 1000;
  EXPECT_EQ(await(handle, line), -1);
  EXPECT_TRUE(endsSoon(pid));
  EXPECT_EQ(allLines(handle), Lines{"half"});
  EXPECT_EQ(stateOf(pid), 'X');
}

TEST(CommandPipe, TakesFourteenArguments) {
  const auto echo = [](const char* last) {
    return slm_popen("echo", 0, "$HOME;*", "2", "3", "4", "5", "6", "7", "8", "9", "a", "b", "c",
                     "d", "e", last, static_cast<char*>(nullptr));
  };
  EXPECT_EQ(allLines(echo(nullptr)), Lines{"$HOME;* 2 3 4 5 6 7 8 9 a b c d e\n"});
  EXPECT_EQ(echo("f"), nullptr);
  EXPECT_EQ(slm_popen(nullptr, 0, static_cast<char*>(nullptr)), nullptr);
  slm_pclose(nullptr);
}

TEST(CommandPipe, LeavesAloneWhatItsHostHasClosed) {
  EXPECT_EQ(0, inFork([] {
              void* handle = slm_popen("sort", 0, static_cast<char*>(nullptr));
              PipeRecord& record = recordOf(handle);
              EXPECT_EQ(write(record.input, "b\na\n", 4), 4);
              close(std::exchange(record.input, 0));
              EXPECT_EQ(allLines(handle), (Lines{"a\n", "b\n"}));
              handle = shell("echo text");
              close(std::exchange(recordOf(handle).output, 0));
              EXPECT_EQ(allLines(handle), Lines{});
              EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1);
              return testing::Test::HasFailure();
            }));
}

TEST(CommandPipe, LeavesNothingOpenWhereThereIsNoRoom) {
  EXPECT_EQ(0, inFork([] {
              const rlim_t free = nextDescriptor();
              rlimit files;
              getrlimit(RLIMIT_NOFILE, &files);
              const rlimit few{free + 3, files.rlim_max};  // no room for a second pipe
              setrlimit(RLIMIT_NOFILE, &few);
              if (shell("true")) return 1;
              setrlimit(RLIMIT_NOFILE, &files);
              allLines(shell("true"));
              forbidForks();
              pid_t pid = 7;
              if (shell("true")) return 2;
              if (execForked([] { _exit(0); }, 1, &pid) != -1 || pid != 7) return 3;
              return nextDescriptor() == free ? 0 : 4;
            }));
}

TEST(CommandPipe, WorksForAHostWithoutStandardStreams) {
  EXPECT_EQ(0, inFork([] {
              for (const int stream : {0, 1, 2}) close(stream);
              void* handle = shell("read line; echo $line");
              if (write(recordOf(handle).input, "told\n", 5) != 5) return 1;
              return allLines(handle) == Lines{"told\n"} ? 0 : 2;
            }));
}

TEST(ExecForked, TellsHowTheFunctionEndedAtOnceAndEndsWhatOutlivesItsSeconds) {
  const std::tuple<const char*, void (*)(), int, int> cases[] = {
      {"code 255", [] { _exit(255); }, 60, 255},
      {"a signal", [] { raise(SIGKILL); }, 60, -1},
      {"an exception", [] { signal(SIGABRT, SIG_DFL), close(2), throw 1; }, 60, -1},
      {"a second", [] { pause(); }, 1, -1},
      {"at least one", [] { pause(); }, -3, -1},
  };
  for (const auto& [what, function, seconds, result] : cases) {
    SCOPED_TRACE(what);
    const Stopwatch watch;
    pid_t pid = 0;
    EXPECT_EQ(execForked(function, seconds, &pid), result);
    EXPECT_GE(watch.seconds(), seconds < 60 ? 1 : 0);
    EXPECT_LT(watch.seconds(), 30);
    // A busy machine may take longer over the end of a killed child than it is waited for.
    if (seconds < 60 && endsSoon(pid)) waitpid(pid, nullptr, 0);
    EXPECT_EQ(stateOf(pid), 'X');
  }
  const pid_t self = getpid();
  const int result = execForked([] {}, 60, nullptr);
  if (getpid() != self) _exit(result == -1 ? 42 : 1);
  EXPECT_EQ(result, 42) << "a function that returns: the child goes on with -1";
}

TEST(ExecForked, SignalsNobodyWhereTheHostHasItsChildrenReaped) {
  EXPECT_EQ(0, inFork([] {
              std::signal(SIGCHLD, SIG_IGN);
              const Stopwatch watch;
              const int result = execForked([] { _exit(3); }, 60, nullptr);
              return result == -1 && watch.seconds() < 30 ? 0 : 1;
            }));
}

TEST(BrokenPipes, RaiseNoSignalAndLeaveTheHostsAlone) {
  static volatile int signals;
  signals = 0;
  const auto before = std::signal(SIGPIPE, [](int) { signals = signals + 1; });
  Pipe pipe = makePipe();
  pipe.readEnd.close();
  for (int i = 0; i < 2; ++i) {
    const BrokenPipeSilence silence;
    EXPECT_EQ(write(pipe.writeEnd.get(), "x", 1), -1);
  }
  EXPECT_EQ(signals, 0);
  EXPECT_EQ(write(pipe.writeEnd.get(), "x", 1), -1);
  EXPECT_EQ(signals, 1);
  std::signal(SIGPIPE, before);
}

}  // namespace
}  // namespace invscan
