// Runs a helper program and takes in what it prints.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace invscan {

// The whole standard output of a program; arguments, separated by blanks, and the file for its
// trace may be null. None when no process could be made; empty when there is no such program, or
// when it printed more than the limit. Returns when the program has ended or has closed its output,
// and does not leave it running.
std::optional<std::string> readProgramOutput(const char* path, const char* arguments,
                                             const char* tracePath, std::size_t limit);

}  // namespace invscan
