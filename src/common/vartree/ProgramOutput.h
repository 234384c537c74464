// Runs a helper program and takes in what it prints.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace invscan {

// A helper program's whole output; more of it is refused.
inline constexpr std::size_t kProgramOutputLimit = 64 << 20;

// The whole standard output of a program; arguments, separated by blanks, and the file for its
// trace may be null. None when no process could be made; empty when there is no such program, or
// when it printed more than the limit or than there is memory for. Returns when the program has
// ended or has closed its output, and does not leave it running. Hosts expect that it is not waited
// for and that the ends of its pipes stay open; kept, as helpers are run a few times in a process.
std::optional<std::string> readProgramOutput(const char* path, const char* arguments,
                                             const char* tracePath, std::size_t limit);

}  // namespace invscan
