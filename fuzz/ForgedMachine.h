// Machines forged for fuzzing: the input is lines of a letter, a path and what is there. "l" is a
// link, "f" a file, which may be given line by line, and "d" a name in a directory. "q" is a device
// with a command and its answer in hexadecimal digits, "c" a line that a command prints, which the
// length of the path chooses.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

#include "../tests/TestMachine.h"
#include "common/text/Lines.h"

namespace invscan {

inline constexpr const char* kCommands[] = {"/sbin/fdisk -l 2>/dev/null", "/bin/mount 2>/dev/null",
                                            "/sbin/fdisk -l /dev/cciss/c0d0 2>/dev/null",
                                            "/bin/ps -ef"};

inline std::string bytesOfHex(std::string_view digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::max(hexValue(digits[i]), 0) * 16 +
                               std::max(hexValue(digits[i + 1]), 0));
  }
  return bytes;
}

inline std::shared_ptr<const Question> deviceAnswer(const std::string& device,
                                                    std::string_view line) {
  const std::string command = bytesOfHex(nextField(line, " "));
  const auto protocol = command.size() > 1  ? DeviceProtocol::Scsi
                        : command == "\x0F" ? DeviceProtocol::Floppy
                                            : DeviceProtocol::Ata;
  return answered<DeviceQuestion>(bytesOfHex(line), {protocol, device, command, 0});
}

inline Answers forgedMachine(std::string_view input) {
  Answers answers;
  answers.directories["/sys/class/block"] = {};
  TextLines lines(input, input.size());
  for (std::string_view line; lines.next(line);) {
    line = withoutTrailing(line, "\n");
    const std::string_view kind = nextField(line, " ");
    const std::string path(nextField(line, " "));
    const std::size_t slash = std::min(path.rfind('/'), path.size());
    if (kind == "c")
      answers.commands[kCommands[path.size() % std::size(kCommands)]].output +=
          std::string(line) + "\n";
    if (kind == "q") answers.plain.add(deviceAnswer(path, line));
    if (kind == "f") answers.files[path].text += std::string(line) + "\n";
    if (kind == "d") answers.directories[path].emplace_back(line);
    if (kind == "l" && answers.links.emplace(path, line).second && slash < path.size()) {
      answers.directories[path.substr(0, slash)].push_back(path.substr(slash + 1));
    }
  }
  return answers;
}

}  // namespace invscan
