// The file that a helper writes its trace to: the host's own, wherever the machine under scan is.
#pragma once

#include <string>

#include "base/Descriptor.h"

namespace invscan {

// Makes or empties the file and writes its first line, which tells the time. None when it cannot be
// had, or when it is anything but a regular file of the user's own.
Descriptor openTraceFile(const char* path);

bool canListDirectory(const std::string& path);

}  // namespace invscan
