// Numbers at the front of texts, whatever the locale and however strange the text.
#pragma once

#include <optional>
#include <string_view>

namespace invscan {

// White space as the C locale has it.
inline bool isSpace(char letter) {
  return letter == ' ' || (letter >= '\t' && letter <= '\r');
}

// The decimal number at the front of a text, behind white space, or the nearest that fits; none
// when there is no digit, for which the second form has 0.
std::optional<long> findInteger(std::string_view text);
long leadingInteger(std::string_view text);

// The floating-point number at the front of a text, with "." as decimal point; 0 when there is
// none.
double leadingReal(std::string_view text);

}  // namespace invscan
