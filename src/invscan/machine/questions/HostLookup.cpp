#include "invscan/machine/questions/HostLookup.h"

#include <arpa/nameser.h>
#include <netdb.h>
#include <resolv.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
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
#include "common/net/NetlinkMessages.h"
#include "invscan/machine/questions/HostTable.h"

namespace invscan {
namespace {

constexpr struct {
  const char* name;  // in a capture
  HostLookupOutcome outcome;
} kFailures[] = {{"timed_out", HostLookupOutcome::TimedOut},
                 {"unreachable", HostLookupOutcome::Unreachable}};

constexpr std::chrono::milliseconds kServerPatience{900};  // just below the second that follows

// The thread's own resolver asks each name server once and for a second. A host's RES_OPTIONS and
// resolv.conf may ask for minutes, during which the thread would stay.
void makeImpatient() {
  if (res_init() != 0) return;
  _res.retrans = 1;
  _res.retry = 1;
}

// Whether every name server refuses to listen, or has no route to it: look-ups do not tell that
// from one that cannot answer for an address. So the thread's resolver asks for what all servers
// know.
bool isNobodyThere() {
  unsigned char answer[NS_PACKETSZ];
  errno = 0;
  return res_nquery(&_res, ".", ns_c_in, ns_t_ns, answer, sizeof answer) < 0 &&
         errno == ECONNREFUSED;
}

HostLookupOutcome outcomeOf(int failure, std::chrono::steady_clock::duration time) {
  if (failure != TRY_AGAIN) return HostLookupOutcome::NotFound;
  if (time >= kServerPatience) return HostLookupOutcome::TimedOut;
  thread_local bool isHopeless = asksTableAndServersOnly();
  isHopeless = isHopeless && isNobodyThere();  // never again once somebody was there
  return isHopeless ? HostLookupOutcome::Unreachable : HostLookupOutcome::NotFound;
}

// Waits as long as the name services like to.
HostLookup findHost(const std::string& address) {
  constexpr std::size_t kMostRoom = 1 << 16;
  const int family = address.size() == sizeof(in_addr) ? AF_INET : AF_INET6;
  const auto begin = std::chrono::steady_clock::now();
  std::vector<char> room(1024);
  for (;;) {
    hostent host;
    hostent* found = nullptr;
    int failure = 0;
    const int error = gethostbyaddr_r(address.data(), static_cast<socklen_t>(address.size()),
                                      family, &host, room.data(), room.size(), &found, &failure);
    if (error == ERANGE && room.size() < kMostRoom) {
      room.resize(2 * room.size());
      continue;
    }
    if (error == 0 && found && found->h_name) return {HostLookupOutcome::Found, found->h_name};
    return {outcomeOf(failure, std::chrono::steady_clock::now() - begin), {}};
  }
}

// Where one thread puts its questions and another its answers; the one that ends last frees it. A
// thread for each look-up would cost more than most name services do.
struct Desk {
  const pid_t process = getpid();  // the other thread is not in a fork
  std::mutex mutex;
  std::condition_variable hasChanged;
  std::optional<std::string> question;  // the bytes of an address
  std::optional<HostLookup> answer;
  bool isAttended = true;
};

// Answers questions until none comes for a while: a host is not left with an idle thread.
void attend(Desk& desk) {
  constexpr auto kIdle = std::chrono::milliseconds(100);
  makeImpatient();
  std::unique_lock lock(desk.mutex);
  while (desk.hasChanged.wait_for(lock, kIdle, [&] { return desk.question.has_value(); })) {
    const std::string address = *std::exchange(desk.question, std::nullopt);
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
bool putQuestion(Desk& desk, const std::string& address) {
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
  const auto address = addressBytes(asked.text);
  if (!address) return {};
  if (asked.limit.count() == 0) {
    thread_local HostTable table;
    std::string name = table.nameOf(*address);
    if (name.empty()) return unanswered(asked.limit);
    return {HostLookupOutcome::Found, std::move(name)};
  }
  thread_local std::shared_ptr<Desk> desk;
  const bool isUsable = desk && desk->process == getpid() && putQuestion(*desk, *address);
  if (!isUsable) {
    desk = openDesk();
    if (desk) putQuestion(*desk, *address);
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
    case HostLookupOutcome::Unreachable:
      return "no name server can be reached";
    case HostLookupOutcome::NotAsked:
      return "not asked: the name services took too long, or none was there";
  }
  return "";
}

void HostLookupQuestion::write(Json& json, const HostLookup& lookup) {
  if (lookup.outcome == HostLookupOutcome::Found) json = lookup.name;
  for (const auto& [name, outcome] : kFailures) {
    if (lookup.outcome == outcome) json = {{name, true}};
  }
}

HostLookup HostLookupQuestion::read(const CaptureValue& value) {
  if (!value.isObject()) return {HostLookupOutcome::Found, value.text()};
  value.checkNames({kFailures[0].name, kFailures[1].name});
  HostLookup lookup;
  for (const auto& [name, outcome] : kFailures) {
    const auto told = value.find(name);
    if (told && told->flag()) lookup.outcome = outcome;
  }
  return lookup;
}

}  // namespace invscan
