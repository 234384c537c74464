// Replaces sensitive values by tokens: a keyed hash, so that the same value has the same token in
// every scan with that key and nobody without the key can try values out.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "agent/Options.h"
#include "agent/scan/Scan.h"

namespace invscan::agent {

class Redactor {
 public:
  // The key is the store's agent.redact_key, else 32 random bytes from a file that the first use
  // makes: /var/lib/invscan/redact.key for root, else redact.key in the user's state directory.
  // Throws Failure when it cannot be had.
  Redactor();

  // "redacted-" and 16 hexadecimal digits, the same for a text in either case; of a token, itself.
  std::string token(const std::string& value) const;

  // What stands for a sensitive value of that group: its token, or the path with tokens for parts.
  std::string replacement(const kelGroupDef& group, const kelAttribValue& record) const;

  // 32 bytes that nobody without the key can tell.
  std::string noise(const std::string& text) const;

  // Replaces sensitive values and the host name, also where they stand inside other values. Values
  // that no source told stay as they are, and so do placeholders (Placeholders.h) and tokens.
  void redact(Scan& scan) const;

 private:
  std::string key_;
};

// Whether a text is a token, as a whole.
bool isToken(std::string_view text);

// None unless the options ask for one.
std::optional<Redactor> makeRedactor(const Options& options);

// Whether the record holds a path or the name of something mounted.
bool isPath(const kelGroupDef& group, const kelAttribValue& record);

// Whether the record holds a sensitive value that a source told, and no placeholder.
bool isSecret(const kelGroupDef& group, const kelAttribValue& record);

}  // namespace invscan::agent
