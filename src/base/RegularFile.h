// Reading the host's own files: regular ones only, and never waiting for one.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "base/Descriptor.h"

namespace invscan {

// Opens a regular file for reading by a function that opens it with the flags that it is given, and
// returns its descriptor: at first to look only, as opening a device may set that going. Without
// one the error is set: EISDIR, EINVAL for what else is no regular file, or why the system does not
// open it.
Descriptor openIfRegular(const std::function<int(int flags)>& open, int& error);

// Opens a regular file for reading. Without one the error is set: EISDIR, EINVAL for what else is
// no regular file, or why the system does not open it.
Descriptor openRegularFile(const std::string& path, int& error);

// Reads a regular file. Returns 0, or an error as above, or EFBIG when it is larger than the limit.
int readRegularFile(const std::string& path, std::size_t limit, std::string& text);

// Such an error in words.
std::string regularFileError(int error);

}  // namespace invscan
