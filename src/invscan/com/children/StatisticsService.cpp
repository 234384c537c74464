#include "invscan/com/children/StatisticsService.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

#include "base/ChildStart.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

// Closes all from the first to the last number, also where the kernel does not know how.
void closeRange(int first, int last) {
  if (first > last) return;
  if (close_range(static_cast<unsigned>(first), static_cast<unsigned>(last), 0) == 0) return;
  for (const std::string& name :
       directoriesIn(Descriptor(open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC)))) {
    const int number = std::atoi(name.c_str());
    if (number >= first && number <= last) close(number);
  }
}

// Files and connections that the host closes must be closed. The trace goes on into the host's
// sink, which may be one of the standard streams, and a recording into its directory. Nothing else
// is needed: statistics are asked for by path, also of a capture that is replayed, whose figures
// are in memory.
void keepOnly(int requests, int answers) {
  const TraceSink sink = traceSink();
  const bool isTraced = sink.level != CcLogWrapper::kOff;
  const int trace = isTraced ? fcntl(sink.descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : -1;
  CcLogWrapper::setSink(trace, sink.level);
  emptyStandardStreams(STDERR_FILENO);
  std::vector<int> kept = machine().descriptorsForQuestions();
  kept.insert(kept.end(),
              {STDERR_FILENO, requests, answers, std::max(trace, STDERR_FILENO), INT_MAX});
  std::sort(kept.begin(), kept.end());
  for (std::size_t i = 1; i < kept.size(); ++i) {
    if (kept[i] > kept[i - 1]) closeRange(kept[i - 1] + 1, kept[i] - 1);
  }
}

// Moves a whole record through a pipe, by read or write; false at the pipe's end.
template <class Record, class Move>
bool moveWhole(int pipe, Record& record, Move move) {
  auto* bytes = reinterpret_cast<char*>(&record);
  for (std::size_t done = 0; done < sizeof record;) {
    const ssize_t count = move(pipe, bytes + done, sizeof record - done);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

orv_statvfs_info_t answerTo(const StatisticsRequest& request) {
  const Trace trace(getCcLogHw(), "answerTo()");
  const bool use64 = request.use64 != 0;
  trace.at().max("hardware Calling %s for %s ...", use64 ? "statvfs64" : "statvfs", request.path);
  const auto statistics = machine().fileSystemStatistics(
      request.path, use64 ? StatisticsCall::statvfs64 : StatisticsCall::statvfs);
  orv_statvfs_info_t answer{};
  answer.result = statistics ? 0 : -1;
  if (statistics && use64) answer.answer64 = std::bit_cast<struct statvfs64>(*statistics);
  if (statistics && !use64) answer.answer = *statistics;
  trace.at().max("hardware statvfs result=%d\n", answer.result);
  return answer;
}

}  // namespace

void serveStatistics(int requests, int answers, pid_t parent) noexcept {
  resetSignals(SIG_IGN);  // a pipe whose reader is gone shows when writing fails
  if (parent > 0) dieWith(parent);
  keepOnly(requests, answers);
  stopAccessLog();
  const Trace trace(getCcLogHw(), "serveStatistics()");
  StatisticsRequest request;
  while (moveWhole(requests, request, read)) {
    orv_statvfs_info_t answer = answerTo(request);
    if (!moveWhole(answers, answer, write)) trace.at().min("hardware Failed to send result");
  }
  trace.at().max("hardware Helper child has no more requests, exiting");
  _exit(0);
}

}  // namespace invscan
