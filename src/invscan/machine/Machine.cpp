#include "invscan/machine/Machine.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <clocale>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "base/ConfigurationFile.h"
#include "invscan/machine/LiveMachine.h"

namespace invscan {
namespace {

enum class Noting { Nothing, Obstacles, Everything };

// Never destroyed: a thread may still be asking while the process ends.
struct AccessNotes {
  std::atomic<Noting> noting = Noting::Nothing;
  std::atomic<bool> hasObstacles = false;
  std::mutex mutex;  // of all below
  std::vector<Access> accesses;
  unsigned long log = 0;  // the number of the one that was started last
  void (*told)(const Access& access) = nullptr;
};

AccessNotes& notes() {
  static auto* instance = new AccessNotes;
  return *instance;
}

void note(const Access& access) {
  AccessNotes& all = notes();
  const std::lock_guard lock(all.mutex);
  all.accesses.push_back(access);
  all.hasObstacles = true;
}

// What was refused in one place and told in another: other ranges of memory.
void withdrawObstacle(const std::string& source) {
  AccessNotes& all = notes();
  const std::lock_guard lock(all.mutex);
  std::erase_if(all.accesses, [&](const Access& access) { return access.source == source; });
}

void startLog(Noting noting) {
  AccessNotes& all = notes();
  const std::lock_guard lock(all.mutex);
  all.accesses.clear();
  all.hasObstacles = false;
  ++all.log;
  all.noting = noting;
}

// While one lives, this thread asks what was noted already: a recording asks another machine.
class Asking {
 public:
  Asking() { ++depth_; }
  ~Asking() { --depth_; }
  Asking(const Asking&) = delete;
  Asking& operator=(const Asking&) = delete;

  static bool isGoingOn() { return depth_ > 0; }

 private:
  static thread_local int depth_;
};

thread_local int Asking::depth_ = 0;

// Answers a question, and notes how that went and what it cost when somebody wants to know.
template <class Ask, class Judge>
auto noted(const std::string& source, Ask ask, Judge judge) {
  if (notes().noting != Noting::Everything || Asking::isGoingOn()) return ask();
  const NotedQuestion question(source);
  const Asking asking;
  auto answer = ask();
  question.answered(judge(answer));
  return answer;
}

int errorIn(int error) {
  return error;
}

template <class Answer>
int errorIn(const Answer& answer) {
  return answer.error;
}

constexpr char kNeverAsked[] = "never asked when it was recorded";

std::string judgeCommand(const CommandOutput& output) {
  if (!output.wasRecorded) return kNeverAsked;
  if (!output.started) return "could not be started";
  if (output.status == 127) return "no such command";
  if (output.status != 0) return "ended with status " + std::to_string(output.status);
  return output.text.empty() ? "printed nothing" : "ok";
}

// Not every file system tells the kind of an entry along with its name.
bool isDirectoryOrLink(int directory, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR || entry.d_type == DT_LNK;
  struct stat status;
  return fstatat(directory, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         (S_ISDIR(status.st_mode) || S_ISLNK(status.st_mode));
}

// Never destroyed either.
struct CurrentMachine {
  std::mutex mutex;
  std::shared_ptr<Machine> machine = std::make_shared<LiveMachine>();
  std::vector<void (*)()> forgetters;
  std::atomic<unsigned long> number = 1;  // another one at every change
};

CurrentMachine& current() {
  static auto* instance = new CurrentMachine;
  return *instance;
}

// The machine that this thread asks. It keeps that alive until it asks for another one, or ends.
struct AskedMachine {
  std::shared_ptr<Machine> machine;
  unsigned long number = 0;
};

AskedMachine& askedMachine() {
  thread_local AskedMachine asked;
  CurrentMachine& now = current();
  if (asked.number != now.number.load(std::memory_order_acquire)) {
    std::shared_ptr<Machine> before;  // ends when nothing is locked any more
    const std::lock_guard lock(now.mutex);
    before = std::exchange(asked.machine, now.machine);
    asked.number = now.number;
  }
  return asked;
}

// Locale and time zone are the whole process's: setting one frees the texts that another thread may
// just have been given by the C library.
std::recursive_mutex processSettings;  // a recording asks another machine

}  // namespace

FileText readFileText(const Descriptor& file, std::size_t limit) {
  FileText result;
  if (!file || !readAll(file.get(), result.text, limit)) result.error = errno;
  return result;
}

Listing directoriesIn(Descriptor directory) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(directory ? fdopendir(directory.get()) : nullptr,
                                                   closedir);
  if (!stream) return {errno};
  directory.release();
  Listing listing;
  errno = 0;
  while (const dirent* entry = readdir(stream.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != ".." && isDirectoryOrLink(dirfd(stream.get()), *entry)) {
      listing.names.push_back(name);
    }
    errno = 0;
  }
  // A directory that was removed while it was read has nothing in it.
  if (errno != 0 && errno != ENOENT) return {errno};
  std::sort(listing.names.begin(), listing.names.end());
  return listing;
}

FileText readRange(const Descriptor& file, unsigned long offset, unsigned long length) {
  if (!file) return {errno, {}};
  FileText result{0, std::string(length, '\0')};
  for (unsigned long done = 0; done < length;) {
    const ssize_t count = uninterrupted([&] {
      return pread(file.get(), result.text.data() + done, length - done,
                   static_cast<off_t>(offset + done));
    });
    if (count <= 0) return {count < 0 ? errno : kBeyondEnd, {}};
    done += static_cast<unsigned long>(count);
  }
  return result;
}

// The same for what has a path, of which obstacles are noted, too.
template <class Ask, class Judge>
auto Machine::notedPath(const std::string& path, Ask ask, Judge judge) {
  if (notes().noting == Noting::Everything) return noted(path, ask, judge);
  auto answer = ask();
  if (notes().noting != Noting::Obstacles) return answer;
  const int error = errorIn(answer);
  if (error == 0) {
    if (notes().hasObstacles) withdrawObstacle(path);
  } else if (isObstacle(path, error)) {
    note({path, judge(answer), 0});
  }
  return answer;
}

FileText Machine::readFile(const std::string& path, std::size_t limit) {
  return notedPath(
      path, [&] { return doReadFile(path, limit); },
      [&](const FileText& file) {
        if (file.error != 0) return explainError(path, file.error);
        return std::string(file.text.empty() ? "empty" : "ok");
      });
}

bool Machine::exists(const std::string& path) {
  return notedPath(
             path, [&] { return doExists(path); },
             [&](int error) { return error == 0 ? "ok" : explainError(path, error); }) == 0;
}

FileText Machine::readLink(const std::string& path) {
  return notedPath(
      path, [&] { return doReadLink(path); },
      [&](const FileText& link) {
        if (link.error == kNotALink) return std::string("not a link");
        return link.error == 0 ? "ok" : explainError(path, link.error);
      });
}

Listing Machine::listDirectory(const std::string& path) {
  return notedPath(
      path, [&] { return doListDirectory(path); },
      [&](const Listing& listing) {
        if (listing.error != 0) return explainError(path, listing.error);
        return std::string(listing.names.empty() ? "nothing in it" : "ok");
      });
}

std::optional<std::string> Machine::readMemory(unsigned long address, unsigned long length) {
  FileText memory = tryMemory(address, length);
  if (memory.error != 0) return std::nullopt;
  return std::move(memory.text);
}

FileText Machine::tryMemory(unsigned long address, unsigned long length) {
  return notedPath(
      kMemoryDevice,
      [&]() -> FileText {
        if (length > kMemoryLimit) return {EFBIG, {}};
        if (address > LONG_MAX - length) return {kBeyondEnd, {}};
        try {
          return doReadMemory(address, length);
        } catch (const std::bad_alloc&) {
          return {ENOMEM, {}};
        }
      },
      [&](const FileText& answer) {
        if (answer.error == kBeyondEnd) return std::string("beyond the end");
        return answer.error == 0 ? "ok" : explainError(kMemoryDevice, answer.error);
      });
}

CommandOutput Machine::runCommand(const std::string& line, const CommandLimits& limits) {
  CommandOutput output = noted(
      line, [&] { return doRunCommand(line, limits); }, judgeCommand);
  if (!output.wasRecorded && notes().noting == Noting::Obstacles) note({line, kNeverAsked, 0});
  return output;
}

HelperOutput Machine::runHelper(const std::string& command, const char* arguments,
                                const char* tracePath) {
  return noted(
      "helper " + command, [&] { return doRunHelper(command, arguments, tracePath); },
      [](const HelperOutput& output) {
        if (!output.started) return std::string("could not be started");
        return std::string(output.text.empty() ? "printed nothing" : "ok");
      });
}

void Machine::ask(Question& question) {
  const Noting noting = notes().noting;
  if (noting == Noting::Everything) {
    noted(
        question.logName(), [&] { return doAsk(question), wasRecorded(question); },
        [&](bool isTold) { return isTold ? question.outcome() : kNeverAsked; });
    return;
  }
  doAsk(question);
  if (noting != Noting::Obstacles) return;
  if (!wasRecorded(question)) {
    note({question.logName(), kNeverAsked});
  } else if (question.isRefused()) {
    note({question.logName(), question.outcome()});
  }
}

LocaleName Machine::setLocale(int category) {
  const std::string source = category == LC_MESSAGES ? "locale LC_MESSAGES" : "locale LC_CTYPE";
  const std::lock_guard lock(processSettings);
  return noted(
      source, [&] { return doSetLocale(category); },
      [](const LocaleName& locale) {
        return std::string(locale.known ? "ok" : "the environment names an unknown locale");
      });
}

TimeZone Machine::setTimeZone() {
  const std::lock_guard lock(processSettings);
  return noted(
      "time zone", [&] { return doSetTimeZone(); },
      [](const TimeZone&) { return std::string("ok"); });
}

std::string Machine::explainError(const std::string&, int error) const {
  const char* text = strerrordesc_np(error);
  std::string outcome = text ? text : "error " + std::to_string(error);
  if (outcome.front() >= 'A' && outcome.front() <= 'Z') outcome.front() += 'a' - 'A';
  return outcome;
}

bool Machine::isObstacle(const std::string& path, int error) const {
  // Drivers have that error for what a device does not tell.
  if (error == EIO) return !path.starts_with("/sys/");
  constexpr int kObstacles[] = {EACCES, EPERM, EMFILE, ENFILE, ENOMEM};
  return std::find(std::begin(kObstacles), std::end(kObstacles), error) != std::end(kObstacles);
}

Machine& machine() {
  return *askedMachine().machine;
}

unsigned long machineNumber() {
  return askedMachine().number;
}

void setMachine(std::shared_ptr<Machine> next) {
  CurrentMachine& now = current();
  std::vector<void (*)()> forgetters;
  {
    const std::lock_guard lock(now.mutex);
    now.machine.swap(next);
    ++now.number;
    forgetters = now.forgetters;
  }
  askedMachine();  // this thread lets go of the one before
  for (const auto forget : forgetters) forget();
}

void onMachineChange(void (*forget)()) {
  CurrentMachine& now = current();
  const std::lock_guard lock(now.mutex);
  if (std::find(now.forgetters.begin(), now.forgetters.end(), forget) == now.forgetters.end()) {
    now.forgetters.push_back(forget);
  }
}

void noteAccess(const std::string& source, const std::string& outcome, double milliseconds,
                bool isObstacle) {
  const Noting noting = notes().noting;
  const bool isNoted = noting == Noting::Everything || (isObstacle && noting == Noting::Obstacles);
  if (isNoted) note({source, outcome, milliseconds});
}

NotedQuestion::NotedQuestion(const std::string& source)
    : source_(source), begin_(std::chrono::steady_clock::now()) {
  AccessNotes& all = notes();
  if (all.noting != Noting::Everything) return;
  const std::lock_guard lock(all.mutex);
  place_ = all.accesses.size();
  log_ = all.log;
  all.accesses.push_back({source, kUnanswered});
  if (all.told) all.told(all.accesses.back());
}

// Of a log that was started meanwhile it is no part.
void NotedQuestion::answered(const std::string& outcome, bool isObstacle) const {
  const std::chrono::duration<double, std::milli> cost = std::chrono::steady_clock::now() - begin_;
  AccessNotes& all = notes();
  if (isObstacle && all.noting == Noting::Obstacles) note({source_, outcome, cost.count()});
  if (log_ == 0 || all.noting != Noting::Everything) return;
  const std::lock_guard lock(all.mutex);
  if (log_ != all.log) return;
  Access& access = all.accesses[place_];
  access.outcome = outcome;
  access.milliseconds = cost.count();
  if (all.told) all.told(access);
}

void stopAccessLog() {
  notes().noting = Noting::Nothing;
}

bool useNativeSources() {
  return storeHas("hwscanner.sources", L"native");
}

void startAccessLog() {
  startLog(Noting::Everything);
}

void startObstacleLog() {
  startLog(Noting::Obstacles);
}

std::vector<Access> accessLog() {
  const std::lock_guard lock(notes().mutex);
  return notes().accesses;
}

void watchAccesses(void (*told)(const Access& access)) {
  const std::lock_guard lock(notes().mutex);
  notes().told = told;
}

std::string hostName() {
  const auto kernel = machine().kernelIdentity();
  return kernel ? kernel->nodename : std::string();
}

}  // namespace invscan
