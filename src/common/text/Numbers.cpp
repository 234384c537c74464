#include "common/text/Numbers.h"

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
  const std::string digits(text.substr(0, kLongestNumber));
  char* end = nullptr;
  const long number = strtol(digits.c_str(), &end, 10);
  if (end == digits.c_str()) return std::nullopt;
  return number;
}

long leadingInteger(std::string_view text) {
  return findInteger(text).value_or(0);
}

double leadingReal(std::string_view text) {
  return strtod_l(std::string(text.substr(0, kLongestNumber)).c_str(), nullptr, cLocale());
}

}  // namespace invscan
