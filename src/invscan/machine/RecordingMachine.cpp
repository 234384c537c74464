#include "invscan/machine/RecordingMachine.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>

namespace invscan {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNotes = "/.recording";
constexpr const char* kDraft = "draft.";
constexpr std::size_t kLargestNote = 1 << 30;

// An empty directory that only its owner can read: a capture holds serial numbers and addresses.
std::string makeDirectory(const std::string& directory) {
  if (mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST) {
    throw CaptureError(std::string(strerrordesc_np(errno)));
  }
  std::error_code error;
  if (!fs::is_empty(directory, error) || error) {
    throw CaptureError(error ? error.message() : "not empty; name a new directory");
  }
  for (const char* part : {"/root", kNotes}) {
    if (mkdir((directory + part).c_str(), 0700) != 0) throw CaptureError(strerrordesc_np(errno));
  }
  return directory;
}

std::string hexHash(const std::string& text) {
  unsigned long hash = 0xcbf29ce484222325;
  for (const char byte : text) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
  }
  char digits[17];
  snprintf(digits, sizeof digits, "%016lx", hash);
  return digits;
}

// Whether a path can stand below the capture's root as it is.
bool isPlainPath(const std::string& path) {
  return !path.empty() && path.front() == '/' && fs::path(path).lexically_normal() == path;
}

std::string dump(const Json& json, int indent = -1) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

// What a note holds; a null answer for one that is not there.
Json readNote(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return file ? Json::parse(readFileText(file, kLargestNote).text) : Json(nullptr);
}

template <class Answer>
Json orNull(const std::optional<Answer>& answer) {
  return answer ? toJson(*answer) : Json(nullptr);
}

// Makes or empties a file.
bool writeFile(const std::string& path, const std::string& contents) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  return file && writeAll(file.get(), contents) && file.close();
}

const char* errorName(int error) {
  switch (error) {
    case EPERM:
      return "EPERM";
    case ENXIO:
      return "ENXIO";
    case EACCES:
      return "EACCES";
    case EBUSY:
      return "EBUSY";
    case ENODEV:
      return "ENODEV";
    case EISDIR:
      return "EISDIR";
    case EINVAL:
      return "EINVAL";
    case EFAULT:
      return "EFAULT";
    default:
      return "EIO";
  }
}

}  // namespace

RecordingMachine::RecordingMachine(const std::string& directory, std::unique_ptr<Machine> source)
    : directory_(makeDirectory(directory)), source_(std::move(source)), files_(directory) {
  void* shared =
      mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw CaptureError(strerrordesc_np(errno));
  failure_ = static_cast<int*>(shared);
  const auto environment = capturedEnvironment();
  remember("environment", "", 0, [&] { return Json(environment); });
  const std::string zone = timeZoneFile(getenv("TZ"));
  if (isPlainPath(zone)) doReadFile(zone, kTextLimit);
}

RecordingMachine::~RecordingMachine() {
  munmap(failure_, sizeof(int));
}

FileText RecordingMachine::doReadFile(const std::string& path, std::size_t limit) {
  if (!isPlainPath(path)) return source_->readFile(path, limit);
  FileText recorded = files_.read(path, limit);
  if (recorded.error == 0) return recorded;
  const FileText file = source_->readFile(path, std::max(limit, kTextLimit));
  if (file.error != 0) {
    rememberError(path, file.error);
    return file;
  }
  keepFile(placeOf(path, true), file.text);
  return files_.read(path, limit);
}

int RecordingMachine::doExists(const std::string& path) {
  if (files_.exists(path) == 0) return 0;
  if (source_->exists(path)) {
    readFile(path);  // what is noted unreadable is there
    return 0;
  }
  rememberError(path, ENOENT);
  return ENOENT;
}

std::optional<std::string> RecordingMachine::doReadLink(const std::string& path) {
  if (!isPlainPath(path)) return source_->readLink(path);
  if (auto recorded = files_.readLink(path)) return recorded;
  auto target = source_->readLink(path);
  if (!target) {
    rememberError(path, ENOENT);
    return target;
  }
  keepLink(placeOf(path, false), *target);
  return target;
}

std::vector<std::string> RecordingMachine::doListDirectory(const std::string& path) {
  const auto names = source_->listDirectory(path);
  if (!isPlainPath(path)) return names;
  for (const std::string& name : names) {
    std::string entry = path;
    entry += "/" + name;
    const std::string place = placeOf(entry, false);
    if (const auto target = source_->readLink(entry)) {
      keepLink(place, *target);
    } else {
      keepDirectory(place);
    }
  }
  return names;
}

// Always asks: an image does not tell what was recorded from its holes, and what firmware leaves in
// memory does not change during a scan.
FileText RecordingMachine::doReadMemory(unsigned long address, unsigned long length) {
  FileText memory = source_->tryMemory(address, length);
  if (memory.error == 0) {
    keepMemory(address, memory.text);
  } else if (memory.error == ENOENT) {
    rememberError(kMemoryDevice, memory.error);
  } else {
    rememberError(memoryRangeName(address, length), memory.error);
  }
  return memory;
}

CommandOutput RecordingMachine::doRunCommand(const std::string& line, std::size_t limit) {
  const Json noted = remember("commands", line, timesAsked_["commands " + line]++,
                              [&] { return toJson(line, source_->runCommand(line, limit)); });
  CapturedCommand command = readCommand(noted, "commands");
  return {true, command.status, std::move(command.output)};
}

HelperOutput RecordingMachine::doRunHelper(const std::string& command, const char* arguments,
                                           const char* tracePath) {
  const Json noted = remember("helpers", command, timesAsked_["helpers " + command]++, [&] {
    const HelperOutput output = source_->runHelper(command, arguments, tracePath);
    return output.started ? toJson(command, output) : Json(nullptr);
  });
  if (noted.is_null()) return {};
  return {true, readHelper(noted, "helpers").output};
}

std::optional<CpuidRegisters> RecordingMachine::doCpuid(std::uint32_t leaf, std::uint32_t subleaf) {
  const Json noted = remember("cpuid", cpuidLeafName(leaf, subleaf), 0,
                              [&] { return orNull(source_->cpuid(leaf, subleaf)); });
  if (noted.is_null()) return std::nullopt;
  return readCpuid(noted, "cpuid");
}

std::optional<struct statvfs> RecordingMachine::doFileSystemStatistics(const std::string& path,
                                                                       StatisticsCall call) {
  const char* section = call == StatisticsCall::statvfs64 ? "statvfs64" : "statvfs";
  const Json noted =
      remember(section, path, 0, [&] { return toJson(source_->fileSystemStatistics(path, call)); });
  return readStatistics(noted, section).answer;
}

std::optional<KernelIdentity> RecordingMachine::doKernelIdentity() {
  const Json noted = remember("uname", "", 0, [&] { return orNull(source_->kernelIdentity()); });
  if (noted.is_null()) return std::nullopt;
  return readKernelIdentity(noted, "uname");
}

std::optional<MemoryFigures> RecordingMachine::doMemoryFigures() {
  const Json noted = remember("sysinfo", "", 0, [&] { return orNull(source_->memoryFigures()); });
  if (noted.is_null()) return std::nullopt;
  return readMemoryFigures(noted, "sysinfo");
}

unsigned long RecordingMachine::doPageSize() {
  return remember("page_size", "", 0, [&] { return Json(source_->pageSize()); });
}

std::optional<unsigned long> RecordingMachine::doWordSize() {
  const Json noted = remember("word_size", "", 0, [&] {
    const auto bits = source_->wordSize();
    return bits ? Json(*bits) : Json(nullptr);
  });
  if (noted.is_null()) return std::nullopt;
  return noted.get<unsigned long>();
}

long RecordingMachine::doCurrentTime() {
  return remember("time", "", 0, [&] { return Json(source_->currentTime()); });
}

std::optional<RunLevelRecord> RecordingMachine::doRunLevelRecord() {
  const Json noted =
      remember("run_level_record", "", 0, [&] { return orNull(source_->runLevelRecord()); });
  if (noted.is_null()) return std::nullopt;
  return readRunLevelRecord(noted, "run_level_record");
}

LocaleName RecordingMachine::doSetLocale(int category) {
  const LocaleName locale = source_->setLocale(category);
  const std::string name = category == LC_MESSAGES ? "LC_MESSAGES" : "LC_CTYPE";
  remember("locales", name, 0, [&] { return toJson(locale); });
  return locale;
}

void RecordingMachine::doSetTimeZone() {
  source_->setTimeZone();
}

Json RecordingMachine::remember(const std::string& section, const std::string& name,
                                std::size_t turn, const std::function<Json()>& ask) {
  const std::string question = section + " " + std::to_string(turn) + " " + name;
  const std::string path = directory_ + kNotes + "/" + hexHash(question);
  Json note = readNote(path);
  if (!note.is_null()) return note["answer"];
  const std::string ours =
      dump({{"section", section}, {"name", name}, {"turn", turn}, {"answer", ask()}});
  publish(AT_FDCWD, path, ours);
  note = readNote(path);
  return (note.is_null() ? Json::parse(ours) : note)["answer"];
}

void RecordingMachine::rememberError(const std::string& path, int error) {
  const bool isAbsent = error == ENOENT || error == ENOTDIR;
  remember(isAbsent ? "absent" : "unreadable", path, 0,
           [&] { return isAbsent ? Json(path) : Json(errorName(error)); });
}

void RecordingMachine::keepMemory(unsigned long address, const std::string& bytes) {
  const fs::path place = placeOf(kMemoryDevice, true);
  const Descriptor image(openat(makeParent(place).get(), place.filename().c_str(),
                                O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!image) return noteFailure();
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = pwrite(image.get(), bytes.data() + done, bytes.size() - done,
                                 static_cast<off_t>(address + done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return noteFailure();
    done += static_cast<std::size_t>(count);
  }
}

std::string RecordingMachine::placeOf(const std::string& path, bool followsLast) {
  return followLinks(path, followsLast, [this](const std::string& place) {
    auto target = files_.readLink(place);
    // This link differs from process to process, though what is behind it tells the same.
    if (target || place == "/proc/self") return target;
    target = source_->readLink(place);
    if (target) keepLink(place, *target);
    return target;
  });
}

// A place has no links on its way. One that is there all the same was put there in this moment, by
// a worker that found the machine changed; it is not followed, so that nothing is ever written
// outside the capture.
Descriptor RecordingMachine::makeParent(const std::string& place) const {
  constexpr int kFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  const fs::path directory = fs::path(place).parent_path();
  if (!directory.has_relative_path())
    return Descriptor(open((directory_ + "/root").c_str(), kFlags));
  const Descriptor parent = makeParent(directory);
  mkdirat(parent.get(), directory.filename().c_str(), S_IRWXU);
  return Descriptor(openat(parent.get(), directory.filename().c_str(), kFlags));
}

void RecordingMachine::keepFile(const std::string& place, const std::string& contents) {
  publish(makeParent(place).get(), fs::path(place).filename(), contents);
}

void RecordingMachine::keepLink(const std::string& place, const std::string& target) {
  const std::string name = fs::path(place).filename();
  const int result = symlinkat(target.c_str(), makeParent(place).get(), name.c_str());
  if (result != 0 && errno != EEXIST) noteFailure();
}

void RecordingMachine::keepDirectory(const std::string& place) {
  const std::string name = fs::path(place).filename();
  if (mkdirat(makeParent(place).get(), name.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    noteFailure();
  }
}

void RecordingMachine::publish(int directory, const std::string& name,
                               const std::string& contents) {
  const std::string draft = directory_ + kNotes + "/" + kDraft + std::to_string(getpid());
  const bool isNew = writeFile(draft, contents) &&
                     linkat(AT_FDCWD, draft.c_str(), directory, name.c_str(), 0) == 0;
  if (!isNew && errno != EEXIST) noteFailure();
  unlink(draft.c_str());
}

void RecordingMachine::noteFailure() {
  if (*failure_ == 0) *failure_ = errno != 0 ? errno : EIO;
}

Json RecordingMachine::mergeNotes() const {
  Json merged = {{"capture", 1}, {"absent", Json::array()}};
  std::map<std::string, std::map<std::size_t, Json>> programs;  // by section and name
  for (const auto& entry : fs::directory_iterator(directory_ + kNotes)) {
    // Of a child that was killed while it was writing.
    if (entry.path().filename().string().starts_with(kDraft)) continue;
    const Json note = readNote(entry.path());
    const std::string section = note["section"], name = note["name"];
    const bool isTelling = !note["answer"].is_null() || (!name.empty() && section == "locales");
    if (!isTelling) continue;
    if (section == "commands" || section == "helpers") {
      programs[section + " " + name][note["turn"]] = note["answer"];
    } else if (section == "absent") {
      merged[section].push_back(note["answer"]);
    } else if (name.empty()) {
      merged[section] = note["answer"];
    } else {
      merged[section][name] = note["answer"];
    }
  }
  for (const auto& [name, turns] : programs) {
    const std::string section = name.substr(0, name.find(' '));
    for (const auto& [turn, program] : turns) merged[section].push_back(program);
  }
  std::sort(merged["absent"].begin(), merged["absent"].end());
  return merged;
}

void RecordingMachine::finish() {
  try {
    if (*failure_ != 0) throw CaptureError(strerrordesc_np(*failure_));
    const std::string draft = directory_ + "/machine.json.new";
    if (!writeFile(draft, dump(mergeNotes(), 1) + "\n")) {
      throw CaptureError("machine.json: " + std::string(strerrordesc_np(errno)));
    }
    fs::rename(draft, directory_ + "/machine.json");
    fs::remove_all(directory_ + kNotes);
  } catch (const fs::filesystem_error& error) {
    throw CaptureError(error.code().message());
  } catch (const Json::exception&) {
    throw CaptureError("machine.json: a note of the recording is damaged");
  }
}

}  // namespace invscan
