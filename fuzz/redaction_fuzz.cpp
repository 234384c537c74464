// Hostile files of a capture, by all rules: what is redacted holds no secret, and a firmware table
// keeps its size.
#include <invscan/base/OrvCfg.h>

#include "FuzzTarget.h"
#include "agent/redact/CaptureFile.h"
#include "agent/redact/FirmwareRedaction.h"
#include "agent/redact/FirmwareSecrets.h"
#include "agent/redact/MachineFacts.h"

namespace {

using namespace invscan;
using namespace invscan::agent;

constexpr std::string_view kSecret = "5ecret-Serial";
constexpr std::string_view kPaths[] = {
    "/proc/text",         "/etc/hosts",      "/etc/resolv.conf",       "/proc/self/mountinfo",
    "/proc/cmdline",      "/proc/swaps",     "/run/udev/data/b8:0",    "/sys/a/uevent",
    "/sys/a/vpd_pg80",    "/sys/a/vpd_pg83", "/proc/ide/hda/identify", "/sys/a/serial",
    "/proc/net/if_inet6", "/sys/a/dm/name",  "/etc/hostname",          "/sys/a/address",
};

std::string lowerCase(std::string text) {
  for (char& c : text) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return text;
}

void checkTable(const std::string& table, Replacements& replacements) {
  learnTable(table, replacements);
  const std::string redacted = redactTable(table, replacements);
  require(redacted.size() == table.size());
  std::size_t end = 0;
  for (const FirmwareSecret& secret : secretsOfTable(table)) {
    require(secret.begin >= end);
    end = secret.begin + secret.length;
    require(end <= table.size());
  }
}

// What no machine.json has is refused before it is redacted.
void checkFacts(std::string_view text, Replacements& replacements) try {
  const Json sections = Json::parse(text, nullptr, false);
  if (!sections.is_object()) return;
  learnFacts(sections, replacements);
  std::vector<std::string> leftOut;
  redactFacts(sections, replacements, leftOut);
} catch (const Json::exception&) {
}

}  // namespace

void invscan::tryInput(std::string_view input) {
  static const Redactor redactor = [] {
    OrvCfg::setKey("agent.redact_key", "k");
    return Redactor();
  }();
  if (input.empty()) return;
  Replacements replacements(redactor);
  replacements.add(kSecret);
  const auto place = static_cast<unsigned char>(input.front());
  const std::string text(input.substr(1));
  if (place == 't') return checkTable(text, replacements);
  if (place == '{') return checkFacts(input, replacements);
  const std::string_view path = kPaths[place % std::size(kPaths)];
  const FileRule& rule = ruleOf(path, text);
  rule.learn(text, replacements);
  if (!rule.redact) return;
  const std::string redacted = lowerCase(rule.redact(text, replacements));
  require(redacted.find(lowerCase(std::string(kSecret))) == redacted.npos);
}
