#include "agent/redact/Redactor.h"

#include <fcntl.h>
#include <sha2.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <map>

#include <invscan/base/OrvCfg.h>
#include <invscan/traits.h>

#include "agent/Failure.h"
#include "agent/Text.h"
#include "agent/formats/Value.h"
#include "agent/redact/MountNames.h"
#include "agent/redact/Placeholders.h"
#include "agent/redact/Replacements.h"
#include "base/Descriptor.h"
#include "base/Hex.h"
#include "base/WrittenFile.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kKeySize = 32;
constexpr char kTokenHead[] = "redacted-";
constexpr std::size_t kTokenBytes = 8;

using Digest = std::array<unsigned char, SHA256_DIGEST_LENGTH>;

Digest hash(const std::string& first, const std::string& second) {
  SHA2_CTX context;
  Digest digest;
  SHA256Init(&context);
  SHA256Update(&context, reinterpret_cast<const uint8_t*>(first.data()), first.size());
  SHA256Update(&context, reinterpret_cast<const uint8_t*>(second.data()), second.size());
  SHA256Final(digest.data(), &context);
  return digest;
}

std::string bytesOf(const Digest& digest) {
  return std::string(digest.begin(), digest.end());
}

// HMAC, RFC 2104.
Digest keyedHash(std::string key, const std::string& text) {
  if (key.size() > SHA256_BLOCK_LENGTH) key = bytesOf(hash(key, ""));
  key.resize(SHA256_BLOCK_LENGTH, '\0');
  std::string inner = key, outer = key;
  for (char& c : inner) c = static_cast<char>(c ^ 0x36);
  for (char& c : outer) c = static_cast<char>(c ^ 0x5C);
  return hash(outer, bytesOf(hash(inner, text)));
}

std::filesystem::path keyFile() {
  if (geteuid() == 0) return "/var/lib/invscan/redact.key";
  const char* state = getenv("XDG_STATE_HOME");
  if (state && *state == '/') return std::filesystem::path(state) / "invscan/redact.key";
  const char* home = getenv("HOME");
  if (home && *home == '/') return std::filesystem::path(home) / ".local/state/invscan/redact.key";
  throw Failure(
      "--redact: no place for the key file; set HOME, or agent.redact_key in the "
      "configuration");
}

[[noreturn]] void failKey(const std::string& path, const std::string& problem) {
  throw Failure("--redact: " + path + ": " + problem +
                "; remove the file, or set agent.redact_key in the configuration");
}

// None when there is no such file.
std::optional<std::string> readKey(const std::string& path) {
  Descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (!file && errno == ENOENT) return std::nullopt;
  if (!file) failKey(path, errorText(errno));
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    failKey(path, "not a regular file");
  }
  if (status.st_uid != geteuid() || (status.st_mode & 077) != 0) {
    failKey(path, "others have access to it");
  }
  std::string key;
  if (!readAll(file.get(), key, kKeySize + 1)) failKey(path, errorText(errno));
  if (key.size() != kKeySize) failKey(path, "not a key of 32 bytes");
  return key;
}

// Appears whole; when another process was first, its key stands.
void makeKeyFile(const std::filesystem::path& path) try {
  std::error_code ignored;  // making a file there tells
  std::filesystem::create_directories(path.parent_path(), ignored);
  std::string key(kKeySize, '\0');
  if (getrandom(key.data(), key.size(), 0) != static_cast<ssize_t>(key.size())) {
    failKey(path, errorText(errno));
  }
  const Place place = placeOf(path, false);
  NewFile file(place, 0600);
  file.write(key);
  file.putInFreePlace();
} catch (const WriteError& error) {
  if (error.error != EEXIST) failKey(path, error.what());
}

struct Longer {
  bool operator()(const std::string& a, const std::string& b) const {
    return a.size() != b.size() ? a.size() > b.size() : a < b;
  }
};

std::string loadKey() {
  const std::string configured = OrvCfg::getKey("agent.redact_key").toNarrow();
  if (!configured.empty()) return configured;
  const std::filesystem::path path = keyFile();
  if (const auto key = readKey(path)) return *key;
  makeKeyFile(path);
  const auto key = readKey(path);
  if (!key) failKey(path, "gone again");
  return *key;
}

// What stood in the way, with what stands for the paths of the file systems that it names.
std::string troubleWithout(const std::map<std::string, std::string, Longer>& paths,
                           std::string_view trouble) {
  constexpr std::string_view kCall = "statvfs ";
  std::string text;
  for (;;) {
    const std::size_t call = trouble.find(kCall);
    if (call == trouble.npos) return text.append(trouble);
    text.append(trouble.substr(0, call + kCall.size()));
    trouble.remove_prefix(call + kCall.size());
    const auto path = std::find_if(paths.begin(), paths.end(), [trouble](const auto& each) {
      const std::size_t end = each.first.size();
      return trouble.starts_with(each.first) &&
             (trouble.substr(end).starts_with(": ") || trouble.substr(end).starts_with(", "));
    });
    if (path == paths.end()) return "what it was is not told with --redact";
    text += path->second;
    trouble.remove_prefix(path->first.size());
  }
}

}  // namespace

Redactor::Redactor() : key_(loadKey()) {
}

std::string Redactor::token(const std::string& value) const {
  if (isToken(value)) return value;
  std::string lower = value;
  for (char& c : lower) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return kTokenHead + hex(keyedHash(key_, lower).data(), kTokenBytes, kLowerHex);
}

std::string Redactor::replacement(const kelGroupDef& group, const kelAttribValue& record) const {
  const std::string value = plainText(record);
  return isPath(group, record) ? redactPath(value, *this) : token(value);
}

std::string Redactor::noise(const std::string& text) const {
  return bytesOf(keyedHash(key_, text));
}

void Redactor::redact(Scan& scan) const {
  Replacements replacements(scan, *this);
  if (!isCommonHostName(scan.hostName)) scan.hostName = token(scan.hostName);
  for (GroupResult& result : scan.groups) {
    std::map<std::string, std::string, Longer> paths;
    for (Row& row : result.rows) {
      for (Record& record : row) {
        const bool isWhole = isSecret(*result.group, *record);
        if (!isWhole && record->kelType != KEL_STRING) continue;
        const std::string value = plainText(*record);
        const std::string redacted =
            isWhole ? replacement(*result.group, *record) : replacements.inText(value);
        if (!result.trouble.empty() && isPath(*result.group, *record)) paths[value] = redacted;
        if (redacted != value) record = makeTextRecord(record->attribId, redacted);
      }
    }
    result.trouble = replacements.inText(troubleWithout(paths, result.trouble));
  }
}

bool isToken(std::string_view text) {
  if (!text.starts_with(kTokenHead)) return false;
  const std::string_view digits = text.substr(sizeof kTokenHead - 1);
  return digits.size() == 2 * kTokenBytes && digits.find_first_not_of(kLowerHex) == digits.npos;
}

std::optional<Redactor> makeRedactor(const Options& options) {
  return options.redact ? std::optional<Redactor>(std::in_place) : std::nullopt;
}

bool isPath(const kelGroupDef& group, const kelAttribValue& record) {
  const AttributeTraits* traits = attributeTraits(group.id, record.attribId);
  return traits && traits->isPath;
}

bool isSecret(const kelGroupDef& group, const kelAttribValue& record) {
  const AttributeTraits* traits = attributeTraits(group.id, record.attribId);
  const kelAttribDef* attribute = getAttribDefinitionFromId(&group, record.attribId);
  // What nothing is known about may be anything.
  if (!traits || !attribute) return true;
  if (!traits->sensitive || isDefault(group.id, *attribute, &record)) return false;
  if (traits->isPath || !isText(record)) return true;
  const std::string value = plainText(record);
  return !isPlaceholder(value) && !isCommonHostName(value);
}

}  // namespace invscan::agent
