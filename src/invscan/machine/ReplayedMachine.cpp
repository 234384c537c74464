#include "invscan/machine/ReplayedMachine.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "base/RegularFile.h"

namespace invscan {
namespace {

constexpr std::size_t kFactsLimit = 64 << 20;
constexpr std::size_t kTimeZoneLimit = 1 << 16;

CaptureFacts loadFacts(const Descriptor& capture) {
  int error = capture ? 0 : errno;
  const Descriptor file =
      error ? Descriptor()
            : openIfRegular([&](int flags) { return openat(capture.get(), "machine.json", flags); },
                            error);
  FileText facts = error ? FileText{error, {}} : readFileText(file, kFactsLimit);
  if (facts.error != 0) {
    throw CaptureError("machine.json: " + regularFileError(facts.error) +
                       " (is this a finished capture?)");
  }
  if (facts.text.size() == kFactsLimit) throw CaptureError("machine.json: longer than 64 MiB");
  return readFacts(std::move(facts.text));
}

const char* categoryName(int category) {
  return category == LC_MESSAGES ? "LC_MESSAGES" : "LC_CTYPE";
}

// What setlocale() would be asked to find for a category.
std::string localeFromEnvironment(const std::map<std::string, std::string>& environment,
                                  const std::string& category) {
  for (const std::string& variable : {std::string("LC_ALL"), category, std::string("LANG")}) {
    const auto found = environment.find(variable);
    if (found == environment.end() || found->second.empty()) continue;
    return found->second == "POSIX" ? "C" : found->second;  // the name that the C library gives it
  }
  return "C";
}

bool isUtf8(std::string locale) {
  std::transform(locale.begin(), locale.end(), locale.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return locale.find("utf-8") != std::string::npos || locale.find("utf8") != std::string::npos;
}

// Makes the C library read a zone from bytes: they go into a file without a name, because it must
// not follow the capture's links or wait on its FIFOs.
bool setTimeZoneFromFile(const std::string& zone) {
  const Descriptor file(memfd_create("time zone", MFD_CLOEXEC));
  if (!file || write(file.get(), zone.data(), zone.size()) != static_cast<ssize_t>(zone.size())) {
    return false;
  }
  setenv("TZ", (":/proc/self/fd/" + std::to_string(file.get())).c_str(), 1);
  setTimeZone();
  return true;
}

// A time zone that is named by its path.
bool isFileOfThisMachine(std::string_view timeZone) {
  if (timeZone.starts_with(':')) timeZone.remove_prefix(1);
  return timeZone.starts_with('/');
}

}  // namespace

ReplayedMachine::ReplayedMachine(const std::string& directory)
    : ReplayedMachine(openExisting(directory, O_PATH | O_DIRECTORY)) {
}

ReplayedMachine::ReplayedMachine(const Descriptor& capture)
    : facts_(loadFacts(capture)), files_(capture) {
}

ReplayedMachine::ReplayedMachine(CaptureFacts facts) : facts_(std::move(facts)) {
}

void ReplayedMachine::takeEffect() {
  for (const auto& [name, value] : capturedEnvironment()) unsetenv(name.c_str());
  for (const auto& [name, value] : facts_.environment) setenv(name.c_str(), value.c_str(), 1);

  const auto zone = facts_.environment.find("TZ");
  const bool hasZone = zone != facts_.environment.end();
  const std::string file = timeZoneFile(hasZone ? zone->second.c_str() : nullptr);
  // Keeps the C library from looking for the zone among this machine's own, and from taking a zone
  // of the same name for one that it has already. A lone colon is UTC, for which it reads no file.
  setenv("TZDIR", "/dev/null", 1);
  setenv("TZ", ":", 1);
  invscan::setTimeZone();
  const FileText bytes = file.empty() ? FileText{ENOENT, {}} : files_.read(file, kTimeZoneLimit);
  if (bytes.text.rfind("TZif", 0) == 0 && setTimeZoneFromFile(bytes.text)) return;
  // A rule rather than a name, or unknown and so UTC.
  if (hasZone && !isFileOfThisMachine(zone->second)) setenv("TZ", zone->second.c_str(), 1);
  invscan::setTimeZone();
}

FileText ReplayedMachine::doReadFile(const std::string& path, std::size_t limit) {
  if (const int error = errorOf({path})) return {error, {}};
  return files_.read(path, limit);
}

int ReplayedMachine::doExists(const std::string& path) {
  const int error = errorOf({path});
  if (error == ELOOP) return error;  // nothing is reached by it
  const bool isThere = error != 0 || errorOf({linkName(path)}) == kNotALink;
  return isThere ? 0 : files_.exists(path);
}

FileText ReplayedMachine::doReadLink(const std::string& path) {
  if (const int error = errorOf({linkName(path)})) return {error, {}};
  return files_.readLink(path);
}

Listing ReplayedMachine::doListDirectory(const std::string& path) {
  const int error = errorOf({path});
  // That error is of reading a directory as a file.
  if (error != 0 && error != EISDIR) return {error};
  return files_.listDirectory(path);
}

FileText ReplayedMachine::doReadMemory(unsigned long address, unsigned long length) {
  if (const int error = errorOf({memoryRangeName(address, length), kMemoryDevice})) {
    return {error, {}};
  }
  return files_.readRange(kMemoryDevice, address, length);
}

CommandOutput ReplayedMachine::doRunCommand(const std::string& line, const CommandLimits& limits) {
  const CapturedProgram* command = takeTurn(facts_.commands, commandTurns_, line);
  if (!command) return {true, 127, {}, !facts_.absent};
  if (command->hangs && limits.isTimed()) {
    std::this_thread::sleep_for(limits.time);
    return {true, 128 + SIGKILL, {}};
  }
  while (command->hangs) pause();
  return {true, command->status, command->output.substr(0, limits.bytes)};
}

HelperOutput ReplayedMachine::doRunHelper(const std::string& command, const char*, const char*) {
  const CapturedProgram* helper = takeTurn(facts_.helpers, helperTurns_, command);
  while (helper && helper->hangs) pause();
  return {true, helper ? helper->output : std::string()};
}

ReplayedMachine::Turns ReplayedMachine::turnsOf(const CaptureFacts::Programs& programs) {
  Turns turns;
  for (const auto& [name, program] : programs) turns.try_emplace(name, 0);
  return turns;
}

const CapturedProgram* ReplayedMachine::takeTurn(const CaptureFacts::Programs& programs,
                                                 Turns& turns, const std::string& name) {
  const auto found = programs.find(name);
  if (found == programs.end()) return nullptr;
  const std::size_t turn = std::min(turns.at(name)++, found->second.size() - 1);
  const CapturedProgram& program = found->second[turn];
  return &program;
}

int ReplayedMachine::errorOf(std::initializer_list<std::string> names) const {
  for (const std::string& name : names) {
    const auto noted = facts_.unreadable.find(name);
    if (noted != facts_.unreadable.end()) return noted->second;
  }
  return 0;
}

void ReplayedMachine::doAsk(Question& question) {
  const PlainFacts::Fact* fact = facts_.plain.find(question);
  if (!fact) return;
  while (fact->hangs) pause();
  question.take(*fact->answer);
}

LocaleName ReplayedMachine::doSetLocale(int category) {
  const std::string name = categoryName(category);
  const auto recorded = facts_.locales.find(name);
  const LocaleName locale = recorded != facts_.locales.end()
                                ? recorded->second
                                : LocaleName{true, localeFromEnvironment(facts_.environment, name)};
  // This machine may not have that locale, and is not asked: one of the two that every process
  // carries stands in for it.
  setlocale(category, isUtf8(locale.name) ? "C.UTF-8" : "C");
  return locale;
}

TimeZone ReplayedMachine::doSetTimeZone() {
  return currentTimeZone();  // in force since the replay began
}

bool ReplayedMachine::wasAsked(const std::string& path, int error) const {
  const auto& absent = facts_.absent;
  return !absent || error != ENOENT || errorOf({path, linkName(path)}) != 0 ||
         std::binary_search(absent->begin(), absent->end(), path);
}

bool ReplayedMachine::isObstacle(const std::string& path, int error) const {
  return Machine::isObstacle(path, error) || !wasAsked(path, error);
}

bool ReplayedMachine::wasRecorded(const Question& question) const {
  return !facts_.absent || !question.kind().isAlwaysAnswered || facts_.plain.find(question);
}

std::string ReplayedMachine::explainError(const std::string& path, int error) const {
  if (!wasAsked(path, error)) return "never asked when it was recorded";
  const bool isNoted = errorOf({path, linkName(path)}) != 0;
  const bool wasForbidden =
      (isNoted || path == kMemoryDevice) && (error == EACCES || error == EPERM);
  return Machine::explainError(path, error) + (wasForbidden ? " when it was recorded" : "");
}

}  // namespace invscan
