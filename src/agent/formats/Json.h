// Pieces of JSON text.
#pragma once

#include <string>
#include <string_view>

#include <invscan/table.h>

namespace invscan::agent {

// Appends UTF-8 as it stands inside a JSON string, where it is only escaped where JSON demands it
// or it is unseen.
void appendEscaped(std::string& json, std::string_view utf8);

// Appends a JSON string of UTF-8.
void appendJsonString(std::string& json, std::string_view utf8);

// Appends a time as JSON has it, YYYY-MM-DDTHH:MM:SSZ; null for one that the calendar does not
// reach.
void appendUtcTime(std::string& json, long time);

// Appends a value: numbers stay numbers, two words become a list, what is no number (infinite,
// undefined) null.
void appendJsonValue(std::string& json, const kelAttribValue& record);

}  // namespace invscan::agent
