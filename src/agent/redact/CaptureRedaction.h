// Makes a capture without sensitive values of one that has them.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "agent/redact/Redactor.h"
#include "agent/scan/Scan.h"
#include "base/Descriptor.h"

namespace invscan::agent {

struct CaptureRedaction {
  std::string facts;  // the text of machine.json
  std::size_t replaced = 0;
  std::size_t files = 0;               // that held any
  std::vector<std::string> leftOut{};  // what could not be checked, by path or question
};

// Writes a redacted copy of a finished capture into another directory, where nothing of a capture
// stands yet, but for its machine.json: when that is there, the copy is a capture. What is
// sensitive is known by where it stands (CaptureFile.h, MachineFacts.h, FirmwareSecrets.h),
// whatever was scanned, by its form, and by the scan; then it is replaced wherever it stands
// (Replacements.h), in names of files, too. Addresses become others of their kind, the same
// everywhere, so that what a replay finds still belongs together. The source is hostile: nothing
// but regular files below it is read. Calls heed() between two files. Throws Failure.
CaptureRedaction redactCapture(const Descriptor& source, const Descriptor& target, const Scan& scan,
                               const Redactor& redactor, const std::function<void()>& heed);

}  // namespace invscan::agent
