// The agent's scan engine: workers that misbehave, and answers that make no sense.
#include <poll.h>
#include <sys/resource.h>

#include "Processes.h"
#include "TestMachine.h"
#include "Testing.h"
#include "agent/scan/Scanner.h"
#include "agent/scan/SignalWatch.h"
#include "agent/scan/Wire.h"
#include "agent/scan/WorkerPool.h"

namespace invscan::agent {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A pipe that those hold open who must go. It reaches its end when all of them are gone, so no
// process id has to be trusted.
class Witness {
 public:
  Witness() { EXPECT_EQ(pipe(ends_), 0); }
  ~Witness() {
    close(ends_[0]);
    closeOwnEnd();
  }

  // For those watched: says that one is up.
  void isUp() const { EXPECT_EQ(write(ends_[1], "u", 1), 1); }

  bool sawUp() const {
    char mark;
    return isReadable(60s) && read(ends_[0], &mark, 1) == 1;
  }

  void closeOwnEnd() {
    if (ends_[1] >= 0) close(std::exchange(ends_[1], -1));
  }

  // Whether all are gone, or go while a test is patient.
  bool areAllGone() {
    closeOwnEnd();
    char mark;
    while (isReadable(60s)) {
      if (read(ends_[0], &mark, 1) == 0) return true;
    }
    return false;
  }

 private:
  bool isReadable(std::chrono::milliseconds limit) const {
    pollfd event{ends_[0], POLLIN, 0};
    return poll(&event, 1, static_cast<int>(limit.count())) == 1;
  }

  int ends_[2] = {-1, -1};
};

// What all processes that are forked from now on see.
template <class Value>
Value& inSharedMemory() {
  return *new (mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                    0)) Value{};
}

[[noreturn]] void hang() {
  for (;;) pause();
}

// Leaves a command running behind; it inherits the witness's descriptor.
void startCommand() {
  EXPECT_EQ(std::system("sleep 1000 &"), 0);
}

std::unique_ptr<KelTable> makeTable(int rows, const std::string& text = "text") {
  auto table = std::make_unique<KelTable>(4, 1);
  for (int i = 0; i < rows; ++i) {
    auto* const row = new KelTableRow;
    row->addAttrib(new KelTableAttrib(1, text));
    table->addRow(row);
  }
  return table;
}

void sendRows(int descriptor, int rows, const std::string& text = "text") {
  Outbox(descriptor).answer(encodePayload(makeTable(rows, text).get(), 0, {}));
}

void sendBytes(int descriptor, const std::string& bytes) {
  EXPECT_EQ(write(descriptor, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

std::string word(unsigned long number) {
  return std::string(reinterpret_cast<const char*>(&number), sizeof(number));
}

std::vector<GroupResult> run(const std::vector<std::function<void(int)>>& works, double timeout,
                             int atATime, ScannerOptions options = {}, int room = kOwnRoom) {
  options.timeoutSeconds = timeout;
  options.jobs = atATime;
  std::vector<Job> jobs;
  for (const auto& work : works) {
    const auto doWork = [&](Outbox& outbox) { work(outbox.descriptor()); };
    jobs.push_back({&GROUPS_DEF[0], doWork, room, room == kOwnRoom});
  }
  return runJobs(jobs, options);
}

struct Case {
  const char* name;
  std::function<void(int)> work;
  Status status;
  std::string trouble{};
  std::size_t rows = 0;
};

const std::string kNoAnswer = " and without an answer", kNonsense = "answer makes no sense";

// For works that are to hang; for all others it is plenty, on a busy machine too.
constexpr int kSeconds = 5;
const std::string kTooLate = "no answer within " + std::to_string(kSeconds) + " s";

// Waits for the killed workers that the agent was too impatient to reap.
bool reapTheRest() {
  bool isAny = false;
  while (waitpid(-1, nullptr, 0) > 0) isAny = true;
  return isAny;
}

// Runs the works of all cases.
void expectEach(const std::vector<Case>& cases, int atATime, int room) {
  std::vector<std::function<void(int)>> works;
  for (const Case& each : cases) works.push_back(each.work);
  const auto results = run(works, kSeconds, atATime, {}, room);
  ASSERT_EQ(results.size(), cases.size());
  for (std::size_t i = 0; i < results.size(); ++i) {
    SCOPED_TRACE(std::string(cases[i].name) + ", at a time " + std::to_string(atATime));
    EXPECT_EQ(results[i].status, cases[i].status);
    // In a shared room one may also be found out by what its worker does next, or by its end.
    if (room == kOwnRoom || cases[i].trouble != kNonsense) {
      EXPECT_EQ(results[i].trouble, cases[i].trouble);
    }
    EXPECT_EQ(results[i].rows.size(), cases[i].rows);
    EXPECT_EQ(results[i].milliseconds >= 1000 * kSeconds, cases[i].status == Status::Timeout);
  }
  reapTheRest();
}

TEST(WorkerPoolTest, NoWorkerSpoilsAnother) {
  // As it may have been inherited; the ends of workers must be seen all the same.
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  expectEach(
      {
          {"rows", [](int answer) { sendRows(answer, 2); }, Status::Ok, "", 2},
          {"no table", [](int answer) { Outbox(answer).answer(encodePayload(nullptr, 0, {})); },
           Status::Absent},
          {"hangs", [](int) { hang(); }, Status::Timeout, kTooLate},
          {"answers, then hangs", [](int answer) { sendRows(answer, 1), hang(); }, Status::Ok, "",
           1},
          {"closes its pipe, then hangs", [](int answer) { close(answer), hang(); },
           Status::Timeout, kTooLate},
          {"throws", [](int) { throw std::runtime_error("thrown by a test"); }, Status::Crash,
           "killed by signal 6 (Aborted)"},
          {"leaves", [](int) { _exit(3); }, Status::Crash, "ended with status 3" + kNoAnswer},
          {"stops within the payload", [](int answer) { sendBytes(answer, word(99) + word(1)); },
           Status::Crash, "ended with status 0" + kNoAnswer},
          {"tells nonsense", [](int answer) { sendBytes(answer, word(8) + word(7)); },
           Status::Crash, kNonsense},
          {"goes on after the end",
           [](int answer) { sendBytes(answer, word(20) + word(0) + word(0) + word(0) + "more"); },
           Status::Crash, kNonsense},
          {"promises too much", [](int answer) { sendBytes(answer, word(~0ul >> 1)), hang(); },
           Status::Crash, "answer too large"},
          {"survives a command that does not read",
           [](int answer) { raise(SIGPIPE), sendRows(answer, 1); }, Status::Ok, "", 1},
      },
      4, kOwnRoom);
  EXPECT_EQ(std::signal(SIGCHLD, before), SIG_IGN);
}

// The agent waits only a second for those that it killed, so a busy machine gets another chance.
TEST(WorkerPoolTest, WorkersAreReaped) {
  bool areReaped = false;
  for (int i = 0; i < 10 && !areReaped; ++i) {
    run({[](int) { hang(); }, [](int answer) { sendRows(answer, 1), hang(); }}, 0.1, 2);
    areReaped = !reapTheRest();
  }
  EXPECT_TRUE(areReaped);
}

TEST(WorkerPoolTest, RunsAsManyWorkersAsAllowedAndReportsEach) {
  struct Shared {
    std::atomic<int> running;
    std::atomic<bool> isFull, isOverfull;
  };
  auto* const shared = &inSharedMemory<Shared>();
  constexpr int kJobs = 100;
  constexpr int kAtATime = 8;

  int lastDone = 0;
  ScannerOptions options;
  options.progress = [&](const kelGroupDef*, int done, int total) {
    EXPECT_TRUE(done >= lastDone && total == kJobs);
    lastDone = done;
  };
  std::vector<std::function<void(int)>> works;
  for (int i = 0; i < kJobs; ++i) {
    works.push_back([shared, i](int answer) {
      const int running = ++shared->running;
      if (running == kAtATime) shared->isFull = true;
      if (running > kAtATime) shared->isOverfull = true;
      // As long as they have not all been there at once, those that are wait for more; the first
      // ones also for one too many.
      for (int patience = 0; !shared->isFull && patience < 60'000; ++patience) usleep(1000);
      if (i < kAtATime) usleep(50'000);
      --shared->running;
      sendRows(answer, i);
    });
  }
  const auto results = run(works, 100, kAtATime, options);

  for (std::size_t i = 0; i < results.size(); ++i) EXPECT_EQ(results[i].rows.size(), i);
  EXPECT_TRUE(shared->isFull && !shared->isOverfull);
  EXPECT_EQ(lastDone, kJobs);
}

TEST(WorkerPoolTest, NothingThatAWorkerStartedLivesOn) {
  const std::function<void(int)> works[] = {
      [](int answer) { sendRows(answer, 1); },
      [](int) { raise(SIGSEGV); },
      [](int) { _exit(0); },
      [](int) { hang(); },
      // A fork of the worker, unlike a command, holds the answer's pipe open too.
      [](int) { fork() == 0 ? hang() : _exit(1); },
  };
  for (const auto& work : works) {
    Witness witness;
    run({[&](int answer) { startCommand(), work(answer); }}, 0.3, 1);
    EXPECT_TRUE(witness.areAllGone()) << "work " << &work - works;
  }
}

TEST(WorkerPoolTest, NothingOutlivesTheAgent) {
  for (const int signal : {SIGKILL, SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    SCOPED_TRACE(strsignal(signal));
    Witness witness;
    const pid_t agent = fork();
    if (agent == 0) {
      const rlimit noCore = {0, 0};
      setrlimit(RLIMIT_CORE, &noCore);
      const auto work = [&](int) { startCommand(), witness.isUp(), hang(); };
      try {
        run({work, work, [](int answer) { sendRows(answer, 1); }}, 100, 2);
      } catch (const Interruption& interruption) {
        dieBy(interruption.signal);
      }
      _exit(0);
    }
    EXPECT_TRUE(witness.sawUp() && witness.sawUp());
    kill(agent, signal);
    int status = 0;
    EXPECT_EQ(waitpid(agent, &status, 0), agent);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    EXPECT_TRUE(witness.areAllGone());
  }
}

TEST(WorkerPoolTest, IgnoredInterruptionsStayIgnored) {
  const auto before = std::signal(SIGHUP, SIG_IGN);
  const auto results =
      run({[](int answer) { kill(getppid(), SIGHUP), sendRows(answer, 1); }}, 30, 1);
  std::signal(SIGHUP, before);
  EXPECT_EQ(results[0].status, Status::Ok);
}

TEST(WorkerPoolTest, AWorkerThatCannotStartWaitsForThoseThatRun) {
  // Room for signals and guard, and the pipes of one worker, of which one end is closed; or less.
  for (const auto& [room, isEnough] : {std::pair(rlim_t{9}, true), {rlim_t{5}, false}}) {
    EXPECT_EQ(0, inFork([=] {
                closefrom(3);
                const rlimit few = {room, room};
                setrlimit(RLIMIT_NOFILE, &few);
                const auto work = [](int answer) { usleep(100'000), sendRows(answer, 1); };
                const auto results = run({work, work}, 30, 2);
                const auto& [status, trouble] = std::tie(results[1].status, results[1].trouble);
                return isEnough ? status != Status::Ok
                                : trouble != "cannot start a worker: Too many open files";
              }));
  }
}

// What a job may leave behind in its worker.
const int kSound = 0;
const int* spoilt = &kSound;

TEST(WorkerPoolTest, WhatSharesAWorkerLosesTheGroupInHandAndNoOther) {
  const auto good = [](int answer) { sendRows(answer, 1); };
  const auto careful = [](int answer) { sendRows(answer, *spoilt + 1); };
  for (const int atATime : {1, 3}) {
    expectEach(
        {
            {"first", good, Status::Ok, "", 1},
            {"crashes", [](int) { raise(SIGSEGV); }, Status::Crash,
             "killed by signal 11 (Segmentation fault)"},
            {"after a crash", good, Status::Ok, "", 1},
            {"hangs", [](int) { hang(); }, Status::Timeout, kTooLate},
            {"after a time-out", good, Status::Ok, "", 1},
            {"is killed", [](int) { kill(getpid(), SIGKILL); }, Status::Crash,
             "killed by signal 9 (Killed)"},
            {"tells nonsense", [](int answer) { sendBytes(answer, word(8) + word(7)), hang(); },
             Status::Crash, kNonsense},
            {"begins with what is none of its own",
             [](int answer) { Outbox(answer).begin(0), hang(); }, Status::Crash, kNonsense},
            {"answers twice", [](int answer) { sendRows(answer, 1), sendRows(answer, 1), hang(); },
             Status::Ok, "", 1},
            {"says nothing", [](int) {}, Status::Crash, kNonsense},
            {"dies behind its answer", [](int answer) { sendRows(answer, 1), _exit(3); },
             Status::Ok, "", 1},
            {"has more to say than a pipe holds",
             [](int answer) { sendRows(answer, 1, std::string(1'000'000, 'x')); }, Status::Ok, "",
             1},
            {"corrupts memory", [](int answer) { spoilt = nullptr, sendRows(answer, 1); },
             Status::Ok, "", 1},
            {"meets corrupted memory", careful, Status::Ok, "", 1},
            {"last", careful, Status::Ok, "", 1},
        },
        atATime, 7);
  }
}

TEST(WorkerPoolTest, AWorkerGoesOnWithRoomsThatWait) {
  auto& workers = inSharedMemory<std::array<std::atomic<pid_t>, 6>>();
  const auto answering = [&](std::size_t job) {
    return [&workers, job](Outbox& outbox) {
      workers[job] = getpid();
      if (job == 2) raise(SIGSEGV);
      outbox.answer(encodePayload(makeTable(1).get(), 0, {}));
    };
  };
  std::vector<Job> jobs;
  for (const int room : {7, 3, 3, 5, kOwnRoom, 6}) {
    jobs.push_back({&GROUPS_DEF[0], answering(jobs.size()), room});
  }
  ScannerOptions options;
  options.jobs = 1;
  const auto results = runJobs(jobs, options);
  for (std::size_t job = 0; job < jobs.size(); ++job) {
    EXPECT_EQ(results[job].status, job == 2 ? Status::Crash : Status::Ok) << job;
  }
  EXPECT_EQ(workers[3], workers[5]);
  EXPECT_EQ(workers[5], workers[0]);
  EXPECT_NE(workers[1], workers[3]) << "a job before had killed it";
  EXPECT_NE(workers[4], workers[0]) << "a job of its own may leave something behind";
  reapTheRest();
}

TEST(WorkerPoolTest, WhatAWorkerHadTakenBeforeItFailedIsNotLost) {
  auto& isSecondRunning = inSharedMemory<std::atomic<bool>>();
  const auto good = [](Outbox& outbox) { outbox.answer(encodePayload(makeTable(1).get(), 0, {})); };
  const std::vector<Job> jobs = {{&GROUPS_DEF[0],
                                  [&](Outbox& outbox) {
                                    while (!isSecondRunning) usleep(1000);
                                    sendBytes(outbox.descriptor(), word(8) + word(7));
                                  },
                                  1},
                                 {&GROUPS_DEF[0],
                                  [&](Outbox& outbox) {
                                    isSecondRunning = true;
                                    usleep(200'000);
                                    good(outbox);
                                  },
                                  1},
                                 {&GROUPS_DEF[0], good, 1}};
  ScannerOptions options;
  options.jobs = 2;
  options.timeoutSeconds = 100;
  const auto start = std::chrono::steady_clock::now();
  const auto results = runJobs(jobs, options);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(50));
  EXPECT_EQ(results[0].trouble, kNonsense);
  EXPECT_EQ(results[1].status, Status::Ok);
  EXPECT_EQ(results[2].status, Status::Ok);
  reapTheRest();
}

// A machine whose helper counts its runs, in all processes, before it answers or hangs.
class CountedHelper : public TestMachine {
 public:
  CountedHelper(std::string output, std::atomic<int>& runs, bool hangs)
      : TestMachine({}), output_(std::move(output)), runs_(runs), hangs_(hangs) {}

 private:
  HelperOutput doRunHelper(const std::string&, const char*, const char*) override {
    ++runs_;
    if (hangs_) hang();
    return {true, output_};
  }

  const std::string output_;
  std::atomic<int>& runs_;
  const bool hangs_;
};

const std::string kAnswer = "1.0 0 OK\n(ProcessorTable\n(Processor\nFamily:s=H\n)\n)\n";

Task familyTask(unsigned needs) {
  return {&GROUPS_DEF[0], needs,
          [] { return makeTable(getEnum("", 1, 1, "") == "Unknown" ? 1 : 2); }};
}

std::vector<std::string> helperAccesses(const GroupResult& result) {
  std::vector<std::string> outcomes;
  for (const Access& access : result.accesses) {
    if (access.source == "helper cpuid") outcomes.push_back(access.outcome);
  }
  return outcomes;
}

TEST(ScannerTest, AHelperAnswersOnceForAllThatNeedItAndOnlyThen) {
  auto& runs = inSharedMemory<std::atomic<int>>();
  const struct {
    const char* name;
    bool hangs;
    unsigned needs;
    int runs;
    std::size_t rows;
    Status status;
    const char* outcome;
  } cases[] = {
      {"answered", false, kNeedsCpuid, 1, 2, Status::Ok, "ok"},
      {"hangs", true, kNeedsCpuid, 1, 1, Status::Timeout, "gave no answer"},
      {"not needed", false, kNeedsPatience, 0, 0, Status::Ok, ""},
  };
  for (const auto& testCase : cases) {
    for (const int atATime : {1, 4}) {
      SCOPED_TRACE(std::string(testCase.name) + ", at a time " + std::to_string(atATime));
      runs = 0;
      const std::string longerThanAPipeHolds = kAnswer + std::string(200'000, '\n');
      setMachine(std::make_unique<CountedHelper>(longerThanAPipeHolds, runs, testCase.hangs));
      ScannerOptions options;
      options.jobs = atATime;
      options.timeoutSeconds = testCase.hangs ? kSeconds : 30;
      options.noteAccesses = true;
      Task other{&GROUPS_DEF[0], testCase.needs, [] { return makeTable(0); }};
      Scan scan;
      if (testCase.runs == 0) {
        runTasks({other, other}, options, scan);
      } else {
        runTasks({familyTask(testCase.needs), other, familyTask(testCase.needs)}, options, scan);
        ASSERT_EQ(scan.helpers.size(), 1u);
        EXPECT_EQ(scan.helpers[0].status, testCase.status) << scan.helpers[0].trouble;
        for (const GroupResult* result : {&scan.groups[0], &scan.groups[2]}) {
          EXPECT_EQ(result->rows.size(), testCase.rows) << result->trouble;
          EXPECT_EQ(helperAccesses(*result), std::vector<std::string>{testCase.outcome});
        }
        EXPECT_TRUE(helperAccesses(scan.groups[1]).empty()) << "it did not ask";
      }
      EXPECT_EQ(runs, testCase.runs);
    }
  }
  useLiveMachine();
}

TEST(WireTest, RecordsArriveByteForByte) {
  const unsigned char octets[] = {0, 255, 7};
  KelTable table(4, 1);
  auto* const row = new KelTableRow;
  for (auto* const attrib :
       {new KelTableAttrib(1, static_cast<unsigned char>(1)),
        new KelTableAttrib(2, static_cast<unsigned short>(2)), new KelTableAttrib(3, 3ul),
        new KelTableAttrib(4, _uquad{4, 5}), new KelTableAttrib(5, 5.0f),
        new KelTableAttrib(6, 6.0), new KelTableAttrib(7, std::string(5'000'000, 'x')),
        new KelTableAttrib(8, ""), new KelTableAttrib(9, octets, sizeof(octets)),
        new KelTableAttrib(10, octets, 0ul), new KelTableAttrib(11, 1'700'000'000l),
        new KelTableAttrib(12, 12ull), new KelTableAttrib(13, -13ll)}) {
    row->addAttrib(attrib);
  }
  row->addAttrib(nullptr);
  table.addRow(row);
  table.addRow(new KelTableRow);
  const std::vector<Access> accesses = {{"/proc/meminfo", "ok", 0.5}, {"uname", "", 0}};

  const auto results =
      run({[&](int answer) { Outbox(answer).answer(encodePayload(&table, 0, accesses)); }}, 30, 1);

  ASSERT_EQ(results[0].status, Status::Ok) << results[0].trouble;
  ASSERT_EQ(results[0].rows.size(), 2u);
  const Row& arrived = results[0].rows[0];
  ASSERT_EQ(arrived.size(), 13u);
  row->reset();
  for (const auto& got : arrived) {
    const kelAttribValue* const sent = row->getNext()->getAttribPtr();
    ASSERT_EQ(got->length, sent->length);
    EXPECT_EQ(std::memcmp(got.get(), sent, sent->length), 0) << "attribute " << sent->attribId;
  }
  EXPECT_TRUE(results[0].rows[1].empty());
  ASSERT_EQ(results[0].accesses.size(), 2u);
  EXPECT_EQ(results[0].accesses[0].source, "/proc/meminfo");
  EXPECT_EQ(results[0].accesses[0].outcome, "ok");
  EXPECT_EQ(results[0].accesses[0].milliseconds, 0.5);
}

std::string record(unsigned long kelType, const std::string& area, unsigned long claimed = 0) {
  return word(claimed ? claimed : sizeof(kelAttribValue) + area.size()) + word(1) + word(kelType) +
         area;
}

// A payload's status and a time of 0.
std::string head(unsigned long status) {
  return word(status) + word(0);
}

std::string oneRecord(const std::string& record) {
  return head(1) + word(1) + word(1) + record + word(0);
}

std::string wide(const std::wstring& text) {
  return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
}

TEST(WireTest, MalformedPayloadsAreRefused) {
  const std::string end = wide(std::wstring(1, L'\0'));
  const std::string number = record(KEL_ULONG, word(5));
  constexpr unsigned long kHuge = ~0ul;
  const struct {
    const char* name;
    std::string payload;
    bool isGood;
  } cases[] = {
      {"number", oneRecord(number), true},
      {"string with room behind", oneRecord(record(KEL_STRING, word(1) + end + "slack")), true},
      {"octets", oneRecord(record(KEL_OCTETSTRING, word(3) + "abc")), true},
      {"access", head(0) + word(1) + word(1) + "s" + word(0) + word(0), true},
      {"unknown status", head(2) + word(0), false},
      {"time that is no number", word(0) + word(~0ul) + word(0), false},
      {"time before the start", word(0) + word(1ul << 63 | 1) + word(0), false},
      {"cut in the last word", oneRecord(number).substr(0, oneRecord(number).size() - 1), false},
      {"one byte more", oneRecord(number) + "x", false},
      {"more rows than there are", head(1) + word(kHuge) + word(0), false},
      {"more records than there are", head(1) + word(1) + word(kHuge) + number + word(0), false},
      {"more accesses than there are", head(0) + word(kHuge), false},
      {"access with a source beyond the end", head(0) + word(1) + word(kHuge) + "s", false},
      {"record shorter than its head", oneRecord(record(KEL_ULONG, word(5), 23)), false},
      {"record without value", oneRecord(record(KEL_ULONG, "")), false},
      {"record of huge length", oneRecord(record(KEL_ULONG, word(5), kHuge)), false},
      {"type 0", oneRecord(record(0, word(5))), false},
      {"type 12", oneRecord(record(12, word(5))), false},
      {"type that is small in 32 bits", oneRecord(record((1ul << 32) + 3, word(5))), false},
      {"number too wide", oneRecord(record(KEL_ULONG, word(5) + "x")), false},
      {"date-time too short", oneRecord(record(KEL_DATETIME, std::string(25, '0'))), false},
      {"string of count 0", oneRecord(record(KEL_STRING, word(0) + end)), false},
      {"string without end", oneRecord(record(KEL_STRING, word(2) + wide(L"ab"))), false},
      {"string whose size overflows",
       oneRecord(record(KEL_STRING, word(1ul << 62) + wide(L"a") + end)), false},
      {"octets without count", oneRecord(record(KEL_OCTETSTRING, "abc")), false},
      {"octets beyond their area", oneRecord(record(KEL_OCTETSTRING, word(kHuge) + "abc")), false},
  };
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    GroupResult result;
    result.status = Status::Crash;
    EXPECT_EQ(decodePayload(testCase.payload, result), testCase.isGood);
    EXPECT_TRUE(testCase.isGood || (result.status == Status::Crash && result.rows.empty()));
  }
}

}  // namespace
}  // namespace invscan::agent
