#include "common/vartree/ProgramOutput.h"

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cwchar>
#include <memory>
#include <new>
#include <vector>

#include <invscan/base/OrvCfg.h>
#include <invscan/helper.h>

#include "base/Descriptor.h"

namespace invscan {
namespace {

constexpr std::size_t kBlock = 1 << 16;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
constexpr milliseconds kAskAgain{50};  // where the kernel does not announce a child's end
constexpr milliseconds kLong{60'000};

// A child that nobody has waited for.
class Child {
 public:
  explicit Child(pid_t pid)
      : pid_(pid), handle_(static_cast<int>(syscall(SYS_pidfd_open, pid, 0))) {}

  // To poll for the end; -1 where the kernel has none.
  int handle() const { return handle_.get(); }

  // Also when the host has its children reaped for it.
  bool hasEnded() const {
    siginfo_t end{};
    const int result = uninterrupted(
        [&] { return waitid(P_PID, static_cast<id_t>(pid_), &end, WEXITED | WNOHANG | WNOWAIT); });
    return result != 0 || end.si_pid != 0;
  }

  // Never hits another process that has got the number meanwhile.
  void kill() const {
    if (handle_) {
      syscall(SYS_pidfd_send_signal, handle_.get(), SIGKILL, nullptr, 0);
    } else if (!hasEnded()) {
      ::kill(pid_, SIGKILL);
    }
  }

 private:
  pid_t pid_;
  Descriptor handle_;
};

// False at the end of the stream.
bool readBlock(VtIStream& stream, std::vector<char>& block, std::string* text) {
  const long count = stream.read(block.data(), block.size());
  if (count > 0 && text) text->append(block.data(), static_cast<std::size_t>(count));
  return count > 0 || (count < 0 && errno == EINTR);
}

// When the host has no more use for an answer; by default it waits for as long as it takes.
Clock::time_point endOfPatience() {
  constexpr long kYear = 365L * 24 * 60 * 60 * 1000;
  const long limit = std::wcstol(OrvCfg::getKey("hwscanner.helper_timeout").toWide(), nullptr, 10);
  if (limit <= 0) return Clock::time_point::max();
  return Clock::now() + milliseconds(std::min(limit, kYear));
}

// Standard output to its end, or to what there is when the program has ended: what it left running
// may hold the pipe. Standard error is drained, lest the program wait for a reader.
std::string takeOutput(VtProcess& process, const Child& child, std::size_t limit) {
  std::vector<char> block(kBlock);
  std::string text;
  pollfd polled[] = {{process.outputPipe[0], POLLIN, 0},
                     {process.errorPipe[0], POLLIN, 0},
                     {child.handle(), POLLIN, 0}};
  const auto end = endOfPatience();
  while (text.size() <= limit) {
    const bool ended = child.hasEnded();
    const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
    if (!ended && left.count() <= 0) return "";
    const auto patience =
        ended ? milliseconds(0) : std::min(left, child.handle() < 0 ? kAskAgain : kLong);
    const int found = poll(polled, std::size(polled), static_cast<int>(patience.count()));
    if (found == 0 && !ended) continue;
    if (found < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (polled[1].revents && !readBlock(*process.error, block, nullptr)) polled[1].fd = -1;
    const bool more = polled[0].revents ? readBlock(*process.output, block, &text) : !ended;
    if (!more) break;
  }
  if (text.size() > limit) text.clear();
  return text;
}

}  // namespace

std::optional<std::string> readProgramOutput(const char* path, const char* arguments,
                                             const char* tracePath, std::size_t limit) {
  const std::unique_ptr<VtProcess> process(VtProcess::create(path, arguments, tracePath));
  if (!process) return std::nullopt;
  const Child child(process->pid);
  std::string text;
  try {
    text = takeOutput(*process, child, limit);
  } catch (const std::bad_alloc&) {
    // As if it had printed nothing.
  }
  child.kill();
  return text;
}

}  // namespace invscan
