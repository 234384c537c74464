// The question which host an address belongs to.
#pragma once

#include <chrono>
#include <string>

#include "invscan/machine/Question.h"

namespace invscan {

// Unreachable: no name server is within reach, and there is nobody else to ask for any address but
// the machine's own host table. NotAsked: neither has that table the address, nor was there time to
// ask anybody else.
enum class HostLookupOutcome { Found, NotFound, TimedOut, Unreachable, NotAsked };

struct HostLookup {
  HostLookupOutcome outcome = HostLookupOutcome::NotFound;
  std::string name;  // the official name, when it was found
};

// An IPv4 or IPv6 address, and how long to wait for the name services. In no time at all only the
// machine's own host table is looked at (/etc/hosts).
struct HostAddress {
  std::string text;
  std::chrono::milliseconds limit{};
};

struct HostLookupQuestion : PlainQuestion<HostLookup, HostAddress> {
  static constexpr const char* kSections[] = {"hosts"};
  static std::string keyName(const Key& asked) { return asked.text; }
  static std::string logName(const Key& asked) { return "host name of " + asked.text; }
  static std::string outcome(const HostLookup& lookup);
  // The answer of a machine that does not tell.
  static Answer unanswered(std::chrono::milliseconds limit) {
    return {limit.count() > 0 ? HostLookupOutcome::NotFound : HostLookupOutcome::NotAsked, {}};
  }
  static Answer live(const Key& asked);
  static void write(Json& json, const HostLookup& lookup);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
