#include <invscan/base/CcLogWrapper.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "log/Trace.h"

struct CcLogHandle {
  const char* name;
};

CcLogHandle* getCcLogHw() {
  static CcLogHandle handle{"hw"};
  return &handle;
}

CcLogHandle* getCcLogCom() {
  static CcLogHandle handle{"com"};
  return &handle;
}

namespace invscan {
namespace {

std::atomic<int> sinkDescriptor{-1};
std::atomic<int> sinkLevel{CcLogWrapper::kOff};

// One line under construction. What does not fit is cut.
class LineBuffer {
 public:
  void append(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    va_list arguments;
    va_start(arguments, format);
    appendList(format, arguments);
    va_end(arguments);
  }

  void appendList(const char* format, va_list arguments) __attribute__((format(printf, 2, 0))) {
    const std::size_t room = sizeof text_ - length_;
    const int count = std::vsnprintf(text_ + length_, room, format, arguments);
    // A wide text that the locale cannot spell fails as a whole; the bare format still tells what
    // was meant.
    const std::size_t wanted = count >= 0 ? static_cast<std::size_t>(count) : copy(format, room);
    isCut_ = isCut_ || wanted >= room;
    length_ += std::min(wanted, room - 1);
  }

  void write(int descriptor) {
    blankControls();
    if (isCut_) markCut();
    text_[length_++] = '\n';
    while (::write(descriptor, text_, length_) < 0 && errno == EINTR) {
    }
  }

 private:
  static bool isControl(char c) { return (c >= 0 && c < ' ') || c == '\x7F'; }
  // In UTF-8 the controls from 0x80 on are two bytes.
  void blankControls() {
    std::replace_if(text_, text_ + length_, isControl, ' ');
    for (std::size_t at = 0; at + 1 < length_; ++at) {
      if (text_[at] == '\xC2' && (static_cast<unsigned char>(text_[at + 1]) & 0xE0) == 0x80) {
        text_[at] = text_[at + 1] = ' ';
      }
    }
  }

  static bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

  std::size_t copy(const char* text, std::size_t room) {
    const std::size_t length = std::strlen(text);
    std::memcpy(text_ + length_, text, std::min(length, room - 1));
    return length;
  }

  void markCut() {
    length_ -= 3;
    for (int i = 0; i < 3 && isContinuation(text_[length_]); ++i) --length_;
    std::memcpy(text_ + length_, "...", 3);
    length_ += 3;
  }

  char text_[2048];
  std::size_t length_ = 0;
  bool isCut_ = false;
};

// Coordinated universal time, by arithmetic alone: localtime takes a lock, which a forked child may
// find held for ever.
void appendTime(LineBuffer& line) {
  namespace chrono = std::chrono;
  const auto now = chrono::floor<chrono::microseconds>(chrono::system_clock::now());
  const auto today = chrono::floor<chrono::days>(now);
  const chrono::year_month_day date(today);
  const chrono::hh_mm_ss time(now - today);
  line.append("%04d-%02u-%02u %02d:%02d:%02d.%06d", static_cast<int>(date.year()),
              static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
              static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
              static_cast<int>(time.seconds().count()),
              static_cast<int>(time.subseconds().count()));
}

}  // namespace

TraceSink traceSink() {
  return {sinkDescriptor, static_cast<CcLogWrapper::Level>(sinkLevel.load())};
}

void writeTrace(CcLogWrapper::Level level, const char* mark, const TraceSite& site,
                const char* format, va_list arguments) {
  if (!CcLogWrapper::isEnabled(level)) return;
  const int callersErrno = errno;
  LineBuffer line;
  appendTime(line);
  line.append(" [%d] %s %s %s (%d) %s: ", static_cast<int>(getpid()), mark, site.log->name,
              site.path, site.line, site.function);
  line.appendList(format, arguments);
  line.write(sinkDescriptor);
  errno = callersErrno;
}

void Trace::Detail::min(const char* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  writeTrace(CcLogWrapper::kMin, "MIN", site_, format, arguments);
  va_end(arguments);
}

void Trace::Detail::mid(const char* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  writeTrace(CcLogWrapper::kMid, "MID", site_, format, arguments);
  va_end(arguments);
}

void Trace::Detail::max(const char* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  writeTrace(CcLogWrapper::kMax, "MAX", site_, format, arguments);
  va_end(arguments);
}

}  // namespace invscan

void CcLogWrapper::setSink(int descriptor, Level level) {
  invscan::sinkLevel = kOff;
  invscan::sinkDescriptor = descriptor;
  invscan::sinkLevel = descriptor < 0 ? kOff : level;
}

bool CcLogWrapper::isEnabled(Level level) {
  return level <= invscan::sinkLevel.load(std::memory_order_relaxed);
}

void CcLogWrapper::traceMIN(CcLogHandle* log, int line, const char* path, const char* function,
                            const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  invscan::writeTrace(kMin, "MIN", {log, line, path, function}, format, arguments);
  va_end(arguments);
}

void CcLogWrapper::traceMID(CcLogHandle* log, int line, const char* path, const char* function,
                            const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  invscan::writeTrace(kMid, "MID", {log, line, path, function}, format, arguments);
  va_end(arguments);
}

void CcLogWrapper::traceMAX(CcLogHandle* log, int line, const char* path, const char* function,
                            const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  invscan::writeTrace(kMax, "MAX", {log, line, path, function}, format, arguments);
  va_end(arguments);
}

void CcLogWrapper::traceMidEntry(CcLogHandle* log, int line, const char* path, const char* function,
                                 const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  invscan::writeTrace(kMid, "-->", {log, line, path, function}, format, arguments);
  va_end(arguments);
}

void CcLogWrapper::traceMidExit(CcLogHandle* log, int line, const char* path, const char* function,
                                const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  invscan::writeTrace(kMid, "<--", {log, line, path, function}, format, arguments);
  va_end(arguments);
}
