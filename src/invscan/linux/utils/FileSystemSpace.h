// What space file systems offer, without waiting for ever for those that do not answer.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <unordered_set>

#include "common/text/MountTables.h"

namespace invscan {

struct Space {
  unsigned long long total = 0, free = 0;  // KiB
};

// The questions of one collection. When the store says how long that may take (hwscanner.deadline,
// milliseconds), half of it is for all questions together, and each waits for at most half of what
// is left: however many file systems do not answer, the others are asked in time.
class SpaceQuestions {
 public:
  explicit SpaceQuestions(bool isNative);

  // Zeros when it cannot be told, or makes no sense for a file system of that code.
  Space ask(const MountEntry& entry, unsigned long code);

 private:
  using Clock = std::chrono::steady_clock;
  struct Figures {
    unsigned long long unit = 0, blocks = 0, available = 0;
  };

  std::optional<std::chrono::microseconds> patience() const;
  std::optional<Figures> find(const MountEntry& entry);

  bool isNative_;
  std::optional<Clock::time_point> end_;
  std::unordered_set<std::string> silent_;  // numbers of file systems that did not answer
};

}  // namespace invscan
