#include "common/text/Numbers.h"

#include <charconv>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <string>

namespace invscan {
namespace {

// No source pads its numbers with more blanks or digits than this, and the longest double has 316.
constexpr std::size_t kLongestNumber = 400;

locale_t cLocale() {
  static const locale_t instance = newlocale(LC_NUMERIC_MASK, "C", nullptr);
  return instance;
}

}  // namespace

std::optional<long> findInteger(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  const bool isNegative = text.starts_with('-');
  const bool isSigned = isNegative || text.starts_with('+');
  const char* digits = text.data() + (isSigned ? 1 : 0);
  // from_chars knows "-", but not "+", and neither may stand twice.
  if (digits == text.data() + text.size() || *digits < '0' || *digits > '9') return std::nullopt;
  long number = isNegative ? LONG_MIN : LONG_MAX;  // stays when the digits are too many
  std::from_chars(isNegative ? text.data() : digits, text.data() + text.size(), number);
  return number;
}

long leadingInteger(std::string_view text) {
  return findInteger(text).value_or(0);
}

double leadingReal(std::string_view text) {
  return strtod_l(std::string(text.substr(0, kLongestNumber)).c_str(), nullptr, cLocale());
}

}  // namespace invscan
