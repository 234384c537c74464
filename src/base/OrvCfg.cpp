#include <invscan/base/OrvCfg.h>

#include <stdlib.h>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "base/ConfigurationFile.h"
#include "base/IniText.h"
#include "base/RegularFile.h"

namespace invscan {
namespace {

constexpr const char* kDefaultPath = "/etc/invscan/invscan.conf";
constexpr std::size_t kLargestFile = 1 << 20;

struct Store {
  ConfigurationFile file;
  std::map<std::string, String, std::less<>> keys;
  int error = 0;
  std::string errorText;
};

// Empty until a file was read. Never destroyed: an abandoned thread may still ask while the process
// ends.
std::optional<Store>& store() {
  static auto& instance = *new std::optional<Store>;
  return instance;
}

std::string unreadableText(const std::string& path, int error) {
  return path + ": " + regularFileError(error) + "; expected a readable text file of at most 1 MiB";
}

std::optional<IniError> wrongValue(const IniEntries& entries) {
  const auto sources = entries.find("hwscanner.sources");
  if (sources == entries.end()) return std::nullopt;
  const auto& [value, line] = sources->second;
  if (value.empty() || value == "classic" || value == "native") return std::nullopt;
  return IniError{line, "hwscanner.sources must be `classic` or `native`"};
}

Store storeOf(const std::string& path, const std::string& text, int error) {
  if (error != 0) return {{}, {}, error, unreadableText(path, error)};
  IniEntries entries;
  std::optional<IniError> wrong = parseIni(text, entries);
  if (!wrong) wrong = wrongValue(entries);
  if (wrong) {
    return {{}, {}, EINVAL, path + ":" + std::to_string(wrong->line) + ": " + wrong->message};
  }
  Store loaded;
  for (const auto& [key, entry] : entries) loaded.keys.emplace(key, entry.value);
  loaded.file = {path, std::move(entries)};
  return loaded;
}

Store readStore(const std::string& path) {
  std::string text;
  const int error = readRegularFile(path, kLargestFile, text);
  return storeOf(path, text, error);
}

Store readConfiguredStore() {
  const char* path = secure_getenv("INVSCAN_CONFIG");
  if (path && *path) return readStore(path);
  std::string text;
  const int error = readRegularFile(kDefaultPath, kLargestFile, text);
  return error == ENOENT ? Store{} : storeOf(kDefaultPath, text, error);
}

Store& loadedStore() {
  if (!store()) store() = readConfiguredStore();
  return *store();
}

}  // namespace

const ConfigurationFile& configurationFile() {
  return loadedStore().file;
}

bool storeHas(std::string_view key, std::wstring_view value) {
  const auto& keys = loadedStore().keys;
  const auto found = keys.find(key);
  if (found == keys.end()) return false;
  return std::wstring_view(found->second.toWide(), found->second.length()) == value;
}

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
