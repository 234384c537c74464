// Questions whose answer is one number.
#pragma once

#include "invscan/machine/Question.h"

namespace invscan {

// Bytes of a page of memory; 0 when the machine does not tell.
struct PageSizeQuestion : PlainQuestion<unsigned long> {
  static constexpr const char* kSections[] = {"page_size"};
  static constexpr const char* kLogName = "page size";
  static Answer live(NoKey);
  static void write(Json& json, Answer bytes);
  static Answer read(const CaptureValue& value);
};

// Bits of a long in the C library that programs get.
struct WordSizeQuestion : PlainQuestion<std::optional<unsigned long>> {
  static constexpr const char* kSections[] = {"word_size"};
  static constexpr const char* kLogName = "word size";
  static Answer live(NoKey);
  static void write(Json& json, Answer bits);
  static Answer read(const CaptureValue& value);
};

// Seconds since the epoch.
struct ClockQuestion : PlainQuestion<long> {
  static constexpr const char* kSections[] = {"time"};
  static constexpr const char* kLogName = "clock";
  static Answer live(NoKey);
  static void write(Json& json, Answer seconds);
  static Answer read(const CaptureValue& value);
  static std::string outcome(Answer) { return "ok"; }
};

}  // namespace invscan
