// The question what a device answers to a command of its own.
#pragma once

#include <optional>
#include <string>

#include "invscan/machine/Question.h"

namespace invscan {

enum class DeviceProtocol {
  Scsi,    // a command block, through the generic driver
  Ata,     // the command IDENTIFY DEVICE (0xEC), which the IDE driver answers
  Floppy,  // the request for the kind of drive (0x0F), which the driver answers: its name
};

struct DeviceCommand {
  DeviceProtocol protocol = DeviceProtocol::Scsi;
  std::string device;      // its path in /dev
  std::string command;     // in bytes
  std::size_t length = 0;  // of the longest answer
};

// The bytes of the answer, which may be shorter than asked for; none when the command failed. No
// command that writes, starts or stops anything is passed on.
struct DeviceQuestion : PlainQuestion<std::optional<std::string>, DeviceCommand> {
  static constexpr const char* kSections[] = {"devices"};
  static std::string keyName(const DeviceCommand& command);  // "/dev/sg0 scsi 120000006000"
  static std::string logName(const DeviceCommand& command) { return "device " + keyName(command); }
  static Answer live(const DeviceCommand& command);
  static void write(Json& json, const Answer& answer);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
