// What a helper printed, as its answer.
#pragma once

#include <string_view>

#include <invscan/helper.h>

namespace invscan {

// An answer that is none.
VtExecInfo* noResponse();

// The answer in a program's output. Output of more than 4 Mi lines, or for whose tree there is no
// memory, is no response.
VtExecInfo* readAnswer(std::string_view output);

}  // namespace invscan
