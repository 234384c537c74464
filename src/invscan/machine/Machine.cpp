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

// Never destroyed: a thread may still be asking while the process ends.
struct AccessNotes {
  bool wanted = false;
  std::vector<Access> accesses;
};

AccessNotes& notes() {
  static auto* instance = new AccessNotes;
  return *instance;
}

// Answers a question, and notes how that went and what it cost when somebody wants to know.
template <class Ask, class Judge>
auto noted(const std::string& source, Ask ask, Judge judge) {
  if (!notes().wanted) return ask();
  const auto begin = std::chrono::steady_clock::now();
  auto answer = ask();
  const std::chrono::duration<double, std::milli> cost = std::chrono::steady_clock::now() - begin;
  notes().accesses.push_back({source, judge(answer), cost.count()});
  return answer;
}

std::string judgeCommand(const CommandOutput& output) {
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
    const ssize_t count = pread(file.get(), result.text.data() + done, length - done,
                                static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return {count < 0 ? errno : kBeyondEnd, {}};
    done += static_cast<unsigned long>(count);
  }
  return result;
}

FileText Machine::readFile(const std::string& path, std::size_t limit) {
  return noted(
      path, [&] { return doReadFile(path, limit); },
      [&](const FileText& file) {
        if (file.error != 0) return explainError(path, file.error);
        return std::string(file.text.empty() ? "empty" : "ok");
      });
}

bool Machine::exists(const std::string& path) {
  return noted(
             path, [&] { return doExists(path); },
             [&](int error) { return error == 0 ? "ok" : explainError(path, error); }) == 0;
}

FileText Machine::readLink(const std::string& path) {
  return noted(
      path, [&] { return doReadLink(path); },
      [&](const FileText& link) {
        if (link.error == kNotALink) return std::string("not a link");
        return link.error == 0 ? "ok" : explainError(path, link.error);
      });
}

Listing Machine::listDirectory(const std::string& path) {
  return noted(
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
  return noted(
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
  return noted(
      line, [&] { return doRunCommand(line, limits); }, judgeCommand);
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
  if (!notes().wanted) return doAsk(question);
  noted(
      question.logName(), [&] { return doAsk(question), true; },
      [&](bool) { return question.outcome(); });
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

void noteAccess(const std::string& source, const std::string& outcome, double milliseconds) {
  if (notes().wanted) notes().accesses.push_back({source, outcome, milliseconds});
}

void stopAccessLog() {
  notes() = {};
}

bool useNativeSources() {
  return storeHas("hwscanner.sources", L"native");
}

void startAccessLog() {
  notes().wanted = true;
  notes().accesses.clear();
}

std::vector<Access> accessLog() {
  return notes().accesses;
}

std::string hostName() {
  const auto kernel = machine().kernelIdentity();
  return kernel ? kernel->nodename : std::string();
}

}  // namespace invscan
