// Where the helper programs of a live machine are.
#pragma once

#include <string>

namespace invscan {

// The path of a helper program, as vtExecCommand() in helper.h tells; empty when there is none to
// be trusted.
std::string helperProgram(const std::string& command);

}  // namespace invscan
