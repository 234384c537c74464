#include "agent/redact/CaptureRedaction.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <optional>
#include <string_view>
#include <utility>

#include "agent/Failure.h"
#include "agent/Text.h"
#include "agent/redact/CaptureFile.h"
#include "agent/redact/FirmwareRedaction.h"
#include "agent/redact/MachineFacts.h"
#include "agent/redact/Replacements.h"
#include "base/RegularFile.h"
#include "base/WrittenFile.h"

namespace invscan::agent {
namespace {

constexpr char kMachine[] = "machine.json";
constexpr char kRoot[] = "root";
constexpr char kMemory[] = "/dev/mem";
constexpr std::size_t kLargestFile = 64 << 20;
constexpr std::size_t kLargestFacts = 1 << 30;

[[noreturn]] void fail(const std::string& name, const std::string& problem) {
  throw Failure(name + ": " + problem + "; the capture could not be redacted");
}

Descriptor openBelow(const Descriptor& directory, const std::string& path, int flags) {
  open_how how{};
  how.flags = static_cast<unsigned>(flags | O_NOFOLLOW | O_CLOEXEC);
  how.mode = (flags & O_CREAT) != 0 ? S_IRUSR | S_IWUSR : 0;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  return Descriptor(
      static_cast<int>(syscall(SYS_openat2, directory.get(), path.c_str(), &how, sizeof how)));
}

struct Entry {
  std::string path;    // of the machine: "/etc/os-release"
  std::string target;  // of a link
  mode_t kind = 0;

  std::string below() const { return path.substr(1); }
};

std::string linkTarget(const Descriptor& directory, const std::string& name) {
  char target[PATH_MAX];
  const ssize_t length = readlinkat(directory.get(), name.c_str(), target, sizeof target);
  return std::string(target, length > 0 ? static_cast<std::size_t>(length) : 0);
}

class Copy {
 public:
  Copy(const Descriptor& source, const Descriptor& target, const Scan& scan,
       const Redactor& redactor, const std::function<void()>& heed)
      : source_(source), target_(target), heed_(heed), replacements_(scan, redactor) {}

  CaptureRedaction run() try {
    const Json machine = readFacts();
    list();
    learn(machine);
    if (mkdirat(target_.get(), kRoot, S_IRWXU) != 0) fail(kRoot, errorText(errno));
    root_ = openBelow(target_, kRoot, O_PATH | O_DIRECTORY);
    for (const Entry& entry : entries_) counted([&] { write(entry); });
    counted([&] {
      const Json facts = redactFacts(machine, replacements_, done_.leftOut);
      done_.facts = facts.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
    });
    done_.replaced = replacements_.count();
    return std::move(done_);
  } catch (const WriteError& error) {
    fail(kRoot, error.what());
  }

 private:
  Json readFacts() const {
    const Descriptor file = openSource(source_, kMachine);
    std::string text;
    if (!file || !readAll(file.get(), text, kLargestFacts)) fail(kMachine, errorText(errno));
    Json machine = Json::parse(text, nullptr, false);
    if (!machine.is_object()) fail(kMachine, "not of a capture");
    return machine;
  }

  // A regular file.
  static Descriptor openSource(const Descriptor& directory, const std::string& path) {
    int error = 0;
    Descriptor file = openIfRegular(
        [&](int flags) { return openBelow(directory, path, flags).release(); }, error);
    if (error) errno = error;
    return file;
  }

  Descriptor openSource(const Entry& entry) const { return openSource(files_, entry.below()); }

  void list() {
    constexpr int kDeepest = 200;
    files_ = openBelow(source_, kRoot, O_RDONLY | O_DIRECTORY);
    if (files_) list(files_, "/", kDeepest);
  }

  void list(const Descriptor& directory, const std::string& path, int depth) {
    std::vector<std::string> names = namesIn(directory);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
      heed_();
      struct stat status {};
      if (fstatat(directory.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
      const mode_t kind = status.st_mode & S_IFMT;
      entries_.push_back({path + name, kind == S_IFLNK ? linkTarget(directory, name) : "", kind});
      if (kind != S_IFDIR) continue;
      const Descriptor inner = openBelow(directory, name, O_RDONLY | O_DIRECTORY);
      inner&& depth > 0 ? list(inner, path + name + "/", depth - 1) : leaveOut(path + name);
    }
  }

  void leaveOut(const std::string& what) { done_.leftOut.push_back(what); }

  template <class Work>
  void counted(Work work) {
    heed_();
    const std::size_t before = replacements_.count();
    work();
    if (replacements_.count() > before) ++done_.files;
  }

  // The whole file; none for one that is not to be read, or too large.
  std::optional<std::string> contentsOf(const Entry& entry) const {
    const Descriptor file = openSource(entry);
    std::string text;
    if (!file || !readAll(file.get(), text, kLargestFile) || text.size() == kLargestFile) {
      return std::nullopt;
    }
    return text;
  }

  // A small file that was changed on its way here may have NULs behind its text.
  static std::string_view textOf(std::string_view contents) {
    return contents.substr(0, contents.find_last_not_of('\0') + 1);
  }

  void learn(const Json& machine) {
    learnFacts(machine, replacements_);
    for (const Entry& entry : entries_) {
      heed_();
      if (entry.kind != S_IFREG) continue;
      if (entry.path == kMemory) {
        learnImage(openSource(entry).get(), replacements_);
      } else if (const auto contents = contentsOf(entry)) {
        const std::string_view text = textOf(*contents);
        ruleOf(entry.path, text).learn(text, replacements_);
      }
    }
  }

  std::optional<std::string> redacted(const Entry& entry) {
    const auto contents = contentsOf(entry);
    if (!contents) return std::nullopt;
    const std::string text(textOf(*contents));
    const FileRule& rule = ruleOf(entry.path, text);
    if (!rule.redact) return std::nullopt;
    std::string result = rule.redact(text, replacements_);
    return result + contents->substr(text.size());
  }

  void write(const Entry& entry) {
    const std::string path = replacements_.inPath(entry.below());
    if (entry.kind == S_IFDIR) {
      if (mkdirat(root_.get(), path.c_str(), S_IRWXU) != 0) fail(path, errorText(errno));
    } else if (entry.kind == S_IFLNK) {
      const std::string target = replacements_.inPath(entry.target);
      if (symlinkat(target.c_str(), root_.get(), path.c_str()) != 0) fail(path, errorText(errno));
    } else if (entry.kind != S_IFREG) {
      leaveOut(entry.path);
    } else if (entry.path == kMemory) {
      writeMemory(entry, path);
    } else {
      writeFile(entry, path);
    }
  }

  Descriptor make(const std::string& path) const {
    Descriptor file = openBelow(root_, path, O_RDWR | O_CREAT | O_EXCL);
    if (!file) fail(path, errorText(errno));
    return file;
  }

  void writeFile(const Entry& entry, const std::string& path) {
    const auto contents = redacted(entry);
    if (!contents) return leaveOut(entry.path);
    if (!writeAll(make(path).get(), *contents)) fail(path, errorText(errno));
  }

  void writeMemory(const Entry& entry, const std::string& path) {
    const Descriptor image = openSource(entry);
    const Descriptor target = make(path);
    const int error = image ? redactImage(image.get(), target.get(), replacements_) : errno;
    if (!error) return;
    leaveOut(entry.path);
    unlinkat(root_.get(), path.c_str(), 0);
  }

  const Descriptor& source_;
  const Descriptor& target_;
  const std::function<void()>& heed_;
  Replacements replacements_;
  Descriptor files_, root_;
  std::vector<Entry> entries_;
  CaptureRedaction done_;
};

}  // namespace

CaptureRedaction redactCapture(const Descriptor& source, const Descriptor& target, const Scan& scan,
                               const Redactor& redactor, const std::function<void()>& heed) {
  return Copy(source, target, scan, redactor, heed).run();
}

}  // namespace invscan::agent
