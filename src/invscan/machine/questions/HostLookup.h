// The question which host an address belongs to.
#pragma once

#include <chrono>
#include <string>

#include "invscan/machine/Question.h"

namespace invscan {

enum class HostLookupOutcome { Found, NotFound, TimedOut };

struct HostLookup {
  HostLookupOutcome outcome = HostLookupOutcome::NotFound;
  std::string name;  // the official name, when it was found
};

// An IPv4 or IPv6 address, and how long to wait for the name services.
struct HostAddress {
  std::string text;
  std::chrono::milliseconds limit{};
};

struct HostLookupQuestion : PlainQuestion<HostLookup, HostAddress> {
  static constexpr const char* kSections[] = {"hosts"};
  static std::string keyName(const Key& asked) { return asked.text; }
  static std::string logName(const Key& asked) { return "host name of " + asked.text; }
  static std::string outcome(const HostLookup& lookup);
  static Answer live(const Key& asked);
  static void write(Json& json, const HostLookup& lookup);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
