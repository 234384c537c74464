#include "invscan/linux/utils/NameLookups.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

using Clock = std::chrono::steady_clock;

// Long enough for all groups of a scan.
constexpr Clock::duration kSilence = std::chrono::seconds(30);

// Name services that did not answer are left alone for a while, whoever asked it.
class Silence {
 public:
  Silence() {
    onMachineChange([] { silence().end_ = 0; });
  }

  static Silence& silence() {
    static Silence instance;
    return instance;
  }

  void begin() { end_ = (Clock::now() + kSilence).time_since_epoch().count(); }
  bool lasts() const { return Clock::now().time_since_epoch().count() < end_; }

 private:
  std::atomic<Clock::rep> end_ = 0;
};

}  // namespace

std::optional<std::string> NameLookups::find(const std::string& address) {
  const auto [entry, isNew] = names_.try_emplace(address);
  if (isNew) entry->second = ask(address);
  return entry->second;
}

std::optional<std::string> NameLookups::ask(const std::string& address) {
  using std::chrono::milliseconds;
  Silence& silence = Silence::silence();
  const bool isSilent = rest_.count() <= 0 || silence.lasts();
  const auto limit = std::chrono::ceil<milliseconds>(std::min(rest_, kLimit));
  const auto begin = Clock::now();
  HostLookup answer = machine().lookUpHost(address, isSilent ? milliseconds(0) : limit);
  rest_ -= Clock::now() - begin;
  const bool isDead = answer.outcome == HostLookupOutcome::TimedOut ||
                      answer.outcome == HostLookupOutcome::Unreachable;
  if (isDead && !isSilent) silence.begin();
  if (answer.outcome != HostLookupOutcome::Found) return std::nullopt;
  return std::move(answer.name);
}

}  // namespace invscan
