#include <invscan/base/OrvCfg.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <map>
#include <optional>
#include <system_error>

#include "base/IniText.h"

namespace invscan {
namespace {

constexpr const char* kDefaultPath = "/etc/invscan/invscan.conf";
constexpr std::size_t kLargestFile = 1 << 20;

struct Store {
  std::map<std::string, String> keys;
  int error = 0;
  std::string errorText;
};

// Empty until a file was read. Never destroyed: an abandoned thread may still ask while the process
// ends.
std::optional<Store>& store() {
  static auto& instance = *new std::optional<Store>;
  return instance;
}

int readOpenFile(int descriptor, std::string& text) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (!S_ISREG(status.st_mode)) return EINVAL;

  text.resize(kLargestFile + 1);
  std::size_t length = 0;
  while (length < text.size()) {
    const ssize_t count = read(descriptor, text.data() + length, text.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  text.resize(length);
  return length > kLargestFile ? EFBIG : 0;
}

int readFile(const std::string& path, std::string& text) {
  // Non-blocking, so that a pipe without a writer is refused rather than waited for.
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) return errno;
  const int error = readOpenFile(descriptor, text);
  close(descriptor);
  return error;
}

std::string unreadableText(const std::string& path, int error) {
  const std::string reason =
      error == EINVAL ? "Not a regular file" : std::generic_category().message(error);
  return path + ": " + reason + "; expected a readable text file of at most 1 MiB";
}

std::optional<IniError> wrongValue(const IniEntries& entries) {
  const auto sources = entries.find("hwscanner.sources");
  if (sources == entries.end()) return std::nullopt;
  const auto& [value, line] = sources->second;
  if (value.empty() || value == "classic" || value == "native") return std::nullopt;
  return IniError{line, "hwscanner.sources must be `classic` or `native`"};
}

Store readStore(const std::string& path) {
  std::string text;
  if (const int error = readFile(path, text)) return {{}, error, unreadableText(path, error)};
  IniEntries entries;
  std::optional<IniError> wrong = parseIni(text, entries);
  if (!wrong) wrong = wrongValue(entries);
  if (wrong) {
    return {{}, EINVAL, path + ":" + std::to_string(wrong->line) + ": " + wrong->message};
  }
  Store loaded;
  for (const auto& [key, entry] : entries) loaded.keys.emplace(key, entry.value);
  return loaded;
}

Store readConfiguredStore() {
  const char* path = secure_getenv("INVSCAN_CONFIG");
  if (path && *path) return readStore(path);
  Store loaded = readStore(kDefaultPath);
  return loaded.error == ENOENT ? Store{} : loaded;
}

Store& loadedStore() {
  if (!store()) store() = readConfiguredStore();
  return *store();
}

}  // namespace
}  // namespace invscan

int OrvCfg::load(const std::string& path) {
  invscan::store() = invscan::readStore(path);
  return getError();
}

void OrvCfg::setKey(const std::string& key, const String& value) {
  invscan::loadedStore().keys.insert_or_assign(key, value);
}

String OrvCfg::getKey(const std::string& key) {
  const auto& keys = invscan::loadedStore().keys;
  const auto found = keys.find(key);
  return found == keys.end() ? String() : found->second;
}

int OrvCfg::getError() {
  return invscan::loadedStore().error;
}

std::string OrvCfg::getErrorText() {
  return invscan::loadedStore().errorText;
}
