// The files of a capture, by what is sensitive in them.
#pragma once

#include <string>
#include <string_view>

#include "agent/redact/Replacements.h"

namespace invscan::agent {

// What a file holds, by its path on the machine, or by what it begins with.
struct FileRule {
  // What in the text is sensitive from now on; null: nothing by its place.
  void (*learn)(std::string_view text, Replacements& replacements);
  // The text to be kept; null: it cannot be checked.
  std::string (*redact)(const std::string& text, Replacements& replacements);
};

// Of a path that begins with "/".
const FileRule& ruleOf(std::string_view path, std::string_view text);

// What a command or driver printed.
void learnText(std::string_view text, Replacements& replacements);

// What a helper program printed.
void learnAnswer(std::string_view answer, Replacements& replacements);
std::string redactAnswer(std::string_view answer, Replacements& replacements);

}  // namespace invscan::agent
