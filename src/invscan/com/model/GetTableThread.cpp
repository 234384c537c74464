#include <invscan/group.h>

#include <algorithm>
#include <climits>
#include <cwchar>

#include <invscan/base/OrvCfg.h>

namespace {

int configuredTimeout(int fallback) {
  if (OrvCfg::getError() != 0) return fallback;
  const String text = OrvCfg::getKey("hwscanner.timeout");
  if (text.isEmpty()) return fallback;
  const long value = std::wcstol(text.toWide(), nullptr, 10);
  return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

}  // namespace

GetTableThread::GetTableThread(KelGroup* group, Event* done) : group_(group), done_(done) {
  set_Time();
}

void GetTableThread::set_Time() {
  limit_ = configuredTimeout(200000);
}

int GetTableThread::get_Time() const {
  return limit_;
}

KelTable* GetTableThread::get_table() const {
  return table_;
}

void GetTableThread::run() {
  try {
    table_ = group_->generateTable();
  } catch (...) {
    // The group has no table then; the waiter is told all the same.
  }
  done_->signal();
}

int GetORVMaxTimeout() {
  return configuredTimeout(5000000);
}
