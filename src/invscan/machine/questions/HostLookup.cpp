#include "invscan/machine/questions/HostLookup.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <resolv.h>
#include <unistd.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/SignalsBlocked.h"

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

// Where one thread puts its questions and another its answers; the one that ends last frees it. A
// thread for each look-up would cost more than most name services do.
struct Desk {
  const pid_t process = getpid();  // the other thread is not in a fork
  std::mutex mutex;
  std::condition_variable hasChanged;
  std::optional<NetworkAddress> question;
  std::optional<HostLookup> answer;
  bool isAttended = true;
};

// Answers questions until none comes for a while: a host is not left with an idle thread.
void attend(Desk& desk) {
  constexpr auto kIdle = std::chrono::milliseconds(100);
  makeImpatient();
  std::unique_lock lock(desk.mutex);
  while (desk.hasChanged.wait_for(lock, kIdle, [&] { return desk.question.has_value(); })) {
    const NetworkAddress address = *std::exchange(desk.question, std::nullopt);
    lock.unlock();
    HostLookup found = findHost(address);
    lock.lock();
    desk.answer = std::move(found);
    lock.unlock();  // whoever wakes up is not to wait for it
    desk.hasChanged.notify_one();
    lock.lock();
  }
  desk.isAttended = false;
}

// Null when there is no thread to be had.
std::shared_ptr<Desk> openDesk() {
  auto desk = std::make_shared<Desk>();
  try {
    const SignalsBlocked quiet;
    std::thread([desk] { attend(*desk); }).detach();
  } catch (const std::system_error&) {
    return nullptr;
  }
  return desk;
}

// False when there is nobody to answer it.
bool putQuestion(Desk& desk, const NetworkAddress& address) {
  {
    const std::lock_guard lock(desk.mutex);
    if (!desk.isAttended) return false;
    desk.question = address;
  }
  desk.hasChanged.notify_one();
  return true;
}

}  // namespace

// Neither the resolver's own time-outs nor signals bound what other name services than DNS do, so
// another thread asks them, and is left behind when it takes too long.
HostLookup HostLookupQuestion::live(const Key& asked) {
  const NetworkAddress address = parseAddress(asked.text);
  if (address.family == AF_UNSPEC) return {};
  thread_local std::shared_ptr<Desk> desk;
  const bool isUsable = desk && desk->process == getpid() && putQuestion(*desk, address);
  if (!isUsable) {
    desk = openDesk();
    if (desk) putQuestion(*desk, address);
  }
  if (!desk) return {HostLookupOutcome::TimedOut, {}};  // nor for the next address
  std::unique_lock lock(desk->mutex);
  if (desk->hasChanged.wait_for(lock, asked.limit, [&] { return desk->answer.has_value(); })) {
    return *std::exchange(desk->answer, std::nullopt);
  }
  lock.unlock();
  desk.reset();
  return {HostLookupOutcome::TimedOut, {}};
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
