#include "invscan/machine/questions/HostLookup.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <resolv.h>
#include <signal.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

namespace invscan {
namespace {

constexpr char kTimedOut[] = "timed_out";

struct NetworkAddress {
  int family = AF_UNSPEC;
  in6_addr bytes{};  // an IPv4 address in its first four
  socklen_t size = 0;
};

NetworkAddress parseAddress(const std::string& text) {
  NetworkAddress address;
  if (inet_pton(AF_INET, text.c_str(), &address.bytes) == 1) {
    address.family = AF_INET;
    address.size = sizeof(in_addr);
  } else if (inet_pton(AF_INET6, text.c_str(), &address.bytes) == 1) {
    address.family = AF_INET6;
    address.size = sizeof(in6_addr);
  }
  return address;
}

constexpr std::chrono::milliseconds kServerPatience{900};  // just below the second that follows

// The thread's own resolver asks each name server once and for a second. A host's RES_OPTIONS and
// resolv.conf may ask for minutes, during which the thread would stay.
void makeImpatient() {
  if (res_init() != 0) return;
  _res.retrans = 1;
  _res.retry = 1;
}

// Waits as long as the name services like to.
HostLookup findHost(const NetworkAddress& address) {
  constexpr std::size_t kMostRoom = 1 << 16;
  makeImpatient();
  const auto begin = std::chrono::steady_clock::now();
  std::vector<char> room(1024);
  for (;;) {
    hostent host;
    hostent* found = nullptr;
    int failure = 0;
    const int error = gethostbyaddr_r(&address.bytes, address.size, address.family, &host,
                                      room.data(), room.size(), &found, &failure);
    if (error == ERANGE && room.size() < kMostRoom) {
      room.resize(2 * room.size());
      continue;
    }
    if (error == 0 && found && found->h_name) return {HostLookupOutcome::Found, found->h_name};
    // The same failure at once is that of a server which cannot answer for this address.
    const bool isTimeOut =
        failure == TRY_AGAIN && std::chrono::steady_clock::now() - begin >= kServerPatience;
    return {isTimeOut ? HostLookupOutcome::TimedOut : HostLookupOutcome::NotFound, {}};
  }
}

// What the two threads of a look-up share; the one that ends last frees it.
struct Shared {
  std::mutex mutex;
  std::condition_variable isThere;
  std::optional<HostLookup> lookup;
};

// The host's handlers are not to run in a thread that it does not know of.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace

// Neither the resolver's own time-outs nor signals bound what other name services than DNS do, so a
// thread asks them, and is left behind when it takes too long.
HostLookup HostLookupQuestion::live(const Key& asked) {
  const NetworkAddress address = parseAddress(asked.text);
  if (address.family == AF_UNSPEC) return {};
  const auto answer = std::make_shared<Shared>();
  try {
    const SignalsBlocked quiet;
    std::thread([answer, address] {
      HostLookup found = findHost(address);
      const std::lock_guard lock(answer->mutex);
      answer->lookup = std::move(found);
      answer->isThere.notify_one();
    }).detach();
  } catch (const std::system_error&) {
    return {HostLookupOutcome::TimedOut, {}};  // no thread to be had: nor for the next address
  }
  std::unique_lock lock(answer->mutex);
  answer->isThere.wait_for(lock, asked.limit, [&] { return answer->lookup.has_value(); });
  return answer->lookup.value_or(HostLookup{HostLookupOutcome::TimedOut, {}});
}

std::string HostLookupQuestion::outcome(const HostLookup& lookup) {
  switch (lookup.outcome) {
    case HostLookupOutcome::Found:
      return "ok";
    case HostLookupOutcome::NotFound:
      return "the name services know no name for it";
    case HostLookupOutcome::TimedOut:
      return "no name service answered in time";
  }
  return "";
}

void HostLookupQuestion::write(Json& json, const HostLookup& lookup) {
  if (lookup.outcome == HostLookupOutcome::Found) json = lookup.name;
  if (lookup.outcome == HostLookupOutcome::TimedOut) json = {{kTimedOut, true}};
}

HostLookup HostLookupQuestion::read(const CaptureValue& value) {
  if (!value.isObject()) return {HostLookupOutcome::Found, value.text()};
  value.checkNames({kTimedOut});
  const bool isTimedOut = value[kTimedOut].flag();
  return {isTimedOut ? HostLookupOutcome::TimedOut : HostLookupOutcome::NotFound, {}};
}

}  // namespace invscan
