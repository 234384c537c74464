#include "invscan/machine/RecordingMachine.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "base/ChildPipe.h"
#include "invscan/machine/CaptureDocument.h"

namespace invscan {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRoot = "root";
constexpr const char* kNotes = ".recording";
constexpr const char* kDraft = "draft.";
constexpr std::size_t kLargestNote = 1 << 30;
constexpr int kDirectory = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

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

// The path leads to nothing, which is no more than a capture says by not having it.
bool isAbsence(int error) {
  return error == ENOENT || error == ENOTDIR;
}

bool isDevice(std::string_view path) {
  return path.starts_with("/dev/");
}

Descriptor directoryIn(const Descriptor& parent, const char* name) {
  return Descriptor(openat(parent.get(), name, kDirectory));
}

// A capture holds serial numbers and addresses: nobody but its owner can read it.
std::unique_ptr<NewDirectory> makeCapture(const std::string& path) {
  auto made = std::make_unique<NewDirectory>(path);
  for (const char* const name : {kRoot, kNotes}) {
    if (mkdirat(made->descriptor().get(), name, S_IRWXU) != 0) throw WriteError(errno);
  }
  return made;
}

Descriptor openJoined(const std::string& path) {
  Descriptor directory = openOwnDirectory(path);
  if (!directoryIn(directory, kNotes)) throw CaptureError("no recording is going on there");
  return directory;
}

}  // namespace

RecordingMachine::RecordingMachine(const std::string& directory, std::unique_ptr<Machine> source,
                                   Part part)
    : name_(directory),
      made_(part == Part::Begins ? makeCapture(directory) : nullptr),
      joined_(part == Part::Joins ? openJoined(directory) : Descriptor()),
      root_(directoryIn(this->directory(), kRoot)),
      notes_(aboveStandardStreams(directoryIn(this->directory(), kNotes))),
      source_(std::move(source)),
      files_(this->directory()) {
  void* shared =
      mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw CaptureError(strerrordesc_np(errno));
  failure_ = static_cast<int*>(shared);
  const auto environment = capturedEnvironment();
  remember("environment", nullptr, 0, [&] { return Json(environment); });
  const std::string zone = timeZoneFile(getenv("TZ"));
  if (isPlainPath(zone)) doReadFile(zone, kTextLimit);
  if (made_) made_->keep();
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
  const int recorded = files_.exists(path);
  if (recorded == 0) return 0;
  if (source_->exists(path)) {
    // What is noted unreadable is there. To read a device could start it, or copy its medium.
    if (isDevice(path)) {
      rememberError(path, EINVAL);
    } else {
      readFile(path);
    }
    return 0;
  }
  rememberError(path, ENOENT);
  return recorded == ELOOP ? recorded : ENOENT;
}

FileText RecordingMachine::doReadLink(const std::string& path) {
  if (!isPlainPath(path)) return source_->readLink(path);
  FileText recorded = files_.readLink(path);
  if (recorded.error == 0) return recorded;
  FileText link = source_->readLink(path);
  if (link.error == 0) {
    keepLink(placeOf(path, false), link.text);
  } else {
    rememberError(isAbsence(link.error) ? path : linkName(path), link.error);
  }
  return link;
}

Listing RecordingMachine::doListDirectory(const std::string& path) {
  Listing listing = source_->listDirectory(path);
  if (!isPlainPath(path)) return listing;
  if (listing.error != 0) {
    rememberError(path, listing.error);
    return listing;
  }
  keepDirectory(placeOf(path, true));
  for (const std::string& name : listing) {
    std::string entry = path;
    entry += "/" + name;
    const std::string place = placeOf(entry, false);
    const FileText link = source_->readLink(entry);
    if (link.error == 0) {
      keepLink(place, link.text);
    } else {
      keepDirectory(place);
    }
  }
  return listing;
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

CommandOutput RecordingMachine::doRunCommand(const std::string& line, const CommandLimits& limits) {
  CapturedProgram command = *rememberProgram<CommandForm>(line, [&] {
    CommandOutput output = source_->runCommand(line, limits);
    const int status = output.started ? std::min(output.status, 255) : 127;
    return std::optional<CapturedProgram>({std::move(output.text), status});
  });
  return {true, command.status, std::move(command.output)};
}

HelperOutput RecordingMachine::doRunHelper(const std::string& command, const char* arguments,
                                           const char* tracePath) {
  auto helper = rememberProgram<HelperForm>(command, [&]() -> std::optional<CapturedProgram> {
    HelperOutput output = source_->runHelper(command, arguments, tracePath);
    if (!output.started) return std::nullopt;
    return CapturedProgram{std::move(output.text)};
  });
  if (!helper) return {};
  return {true, std::move(helper->output)};
}

// Nothing is noted of an answer that the machine does not give.
void RecordingMachine::doAsk(Question& question) {
  const QuestionKind& kind = question.kind();
  const std::string section = kind.sections[question.section()];
  const Json name = kind.isKeyed ? Json(question.key()) : Json(nullptr);
  const Json noted = remember(section, name, 0, [&] {
    Json answer;
    source_->ask(question);
    question.write(answer);
    return answer;
  });
  if (!noted.is_null()) question.read(CaptureDocument(dump(noted)).value(section));
}

LocaleName RecordingMachine::doSetLocale(int category) {
  const LocaleName locale = source_->setLocale(category);
  const std::string name = category == LC_MESSAGES ? "LC_MESSAGES" : "LC_CTYPE";
  remember("locales", name, 0, [&] { return writeLocale(locale); });
  return locale;
}

TimeZone RecordingMachine::doSetTimeZone() {
  return source_->setTimeZone();
}

void RecordingMachine::doLetTimePass(std::chrono::microseconds time) {
  source_->letTimePass(time);
}

template <class Form, class Ask>
std::optional<CapturedProgram> RecordingMachine::rememberProgram(const std::string& name, Ask ask) {
  const std::string section = Form::kSection;
  const Json noted = remember(section, name, countTurn(section + " " + name), [&] {
    const std::optional<CapturedProgram> program = ask();
    return program ? writeProgram(Form::kName, name, *program) : Json(nullptr);
  });
  if (noted.is_null()) return std::nullopt;
  return readProgram(Form::kName, CaptureDocument(dump(noted)).value(section));
}

std::size_t RecordingMachine::countTurn(const std::string& program) {
  const std::lock_guard lock(turnsMutex_);
  return timesAsked_[program]++;
}

Json RecordingMachine::remember(const std::string& section, const Json& name, std::size_t turn,
                                const std::function<Json()>& ask) {
  const std::string question = section + " " + std::to_string(turn) + " " + dump(name);
  const std::string file = hexHash(question);
  Json note = readNote(file);
  if (!note.is_null()) return note["answer"];
  const std::string ours =
      dump({{"section", section}, {"name", name}, {"turn", turn}, {"answer", ask()}});
  publish(notes_, file, ours);
  note = readNote(file);
  return (note.is_null() ? Json::parse(ours) : note)["answer"];
}

void RecordingMachine::rememberError(const std::string& name, int error) {
  const bool isAbsent = isAbsence(error);
  remember(isAbsent ? "absent" : "unreadable", name, 0,
           [&] { return Json(isAbsent ? name : errorName(error)); });
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
    FileText link = files_.readLink(place);
    // This link differs from process to process, though what is behind it tells the same.
    if (link.error != 0 && place != "/proc/self") {
      link = source_->readLink(place);
      if (link.error == 0) keepLink(place, link.text);
    }
    return link.error == 0 ? std::optional(std::move(link.text)) : std::nullopt;
  });
}

// A place has no links on its way. One that is there all the same was put there in this moment, by
// a worker that found the machine changed; it is not followed, so that nothing is ever written
// outside the capture.
Descriptor RecordingMachine::makeParent(const std::string& place) const {
  const fs::path directory = fs::path(place).parent_path();
  if (!directory.has_relative_path()) return directoryIn(root_, ".");
  const Descriptor parent = makeParent(directory);
  mkdirat(parent.get(), directory.filename().c_str(), S_IRWXU);
  return directoryIn(parent, directory.filename().c_str());
}

void RecordingMachine::keepFile(const std::string& place, const std::string& contents) {
  publish(makeParent(place), fs::path(place).filename(), contents);
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

void RecordingMachine::publish(const Descriptor& directory, const std::string& name,
                               const std::string& contents) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const std::string draft = kDraft + std::to_string(gettid());
  unlinkat(notes_.get(), draft.c_str(), 0);  // that a killed child of the same number left
  Descriptor file(openat(notes_.get(), draft.c_str(), kFlags, S_IRUSR | S_IWUSR));
  const bool isNew = file && writeAll(file.get(), contents) && file.close() &&
                     linkat(notes_.get(), draft.c_str(), directory.get(), name.c_str(), 0) == 0;
  if (!isNew && errno != EEXIST) noteFailure();
  unlinkat(notes_.get(), draft.c_str(), 0);
}

// A null answer for a note that is not there.
Json RecordingMachine::readNote(const std::string& name) const {
  const Descriptor file(openat(notes_.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  return file ? Json::parse(readFileText(file, kLargestNote).text) : Json(nullptr);
}

void RecordingMachine::noteFailure() {
  if (*failure_ == 0) *failure_ = errno != 0 ? errno : EIO;
}

Json RecordingMachine::mergeNotes() const {
  Json merged = {{"capture", 1}, {"absent", Json::array()}};
  std::map<std::pair<std::string, std::string>, std::map<std::size_t, Json>> programs;
  for (const std::string& file : namesIn(notes_)) {
    // Of a child that was killed while it was writing.
    if (file.starts_with(kDraft)) continue;
    const Json note = readNote(file);
    const std::string section = note["section"];
    const Json& name = note["name"];
    if (note["answer"].is_null() && section != "locales") continue;
    if (section == CommandForm::kSection || section == HelperForm::kSection) {
      programs[{section, name}][note["turn"]] = note["answer"];
    } else if (section == "absent") {
      merged[section].push_back(note["answer"]);
    } else if (name.is_null()) {
      merged[section] = note["answer"];
    } else {
      merged[section][name.get<std::string>()] = note["answer"];
    }
  }
  for (const auto& [place, turns] : programs) {
    for (const auto& [turn, program] : turns) merged[place.first].push_back(program);
  }
  std::sort(merged["absent"].begin(), merged["absent"].end());
  return merged;
}

void RecordingMachine::finish() {
  try {
    if (*failure_ != 0) throw CaptureError(strerrordesc_np(*failure_));
    const Place place{directoryIn(directory(), "."), "machine.json"};
    NewFile facts(place, S_IRUSR | S_IWUSR);
    facts.write(dump(mergeNotes(), 1) + "\n");
    facts.putInFreePlace();
    removeContents(notes_);
    unlinkat(directory().get(), kNotes, AT_REMOVEDIR);
  } catch (const WriteError& error) {
    throw CaptureError("machine.json: " + std::string(error.what()));
  } catch (const Json::exception&) {
    throw CaptureError("machine.json: a note of the recording is damaged");
  }
}

}  // namespace invscan
