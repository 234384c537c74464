// Pieces of JSON text.
#pragma once

#include <string>
#include <string_view>

#include <invscan/table.h>

namespace invscan::agent {

// A JSON string of UTF-8, which is only escaped where JSON demands it.
std::string jsonString(std::string_view utf8);

// Numbers stay numbers, two words become a list, what is no number (infinite, undefined) null.
std::string jsonValue(const kelAttribValue& record);

}  // namespace invscan::agent
