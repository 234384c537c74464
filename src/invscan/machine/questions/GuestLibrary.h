// The question what the guest library of VMware Tools tells.
#pragma once

#include <functional>
#include <optional>

#include <invscan/vmware.h>

#include "invscan/machine/Question.h"

namespace invscan {

// Its handle stays open between questions, so whoever asks brings what reads it. That is called on
// a live machine only.
struct GuestLibraryReader : NoKey {
  std::function<std::optional<VMwareGuestInfo>()> read;
};

struct GuestLibraryQuestion : PlainQuestion<std::optional<VMwareGuestInfo>, GuestLibraryReader> {
  static constexpr const char* kSections[] = {"guest_library"};
  static constexpr const char* kLogName = "guest library";
  static Answer live(const GuestLibraryReader& reader) { return reader.read(); }
  static void write(Json& json, const Answer& info);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
