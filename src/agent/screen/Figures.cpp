#include "agent/screen/Figures.h"

#include <optional>
#include <string_view>
#include <vector>

#include <invscan/print.h>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/formats/Value.h"
#include "agent/reasons/Reasons.h"
#include "agent/redact/Placeholders.h"

namespace invscan::agent {
namespace {

// With that many digits behind the point, but no zeros that say nothing.
std::string rounded(double value, int digits) {
  std::string text = decimal(value, digits);
  if (digits == 0) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

// By the largest of the steps that leaves a number to read.
std::string scaled(double value, double step, int digits,
                   std::initializer_list<const char*> names) {
  const auto* name = names.begin();
  while (name + 1 != names.end() && value + 0.5 >= step) {
    value /= step;
    ++name;
  }
  constexpr double kManyDigits = 100;
  const bool isWhole = name == names.begin() || value >= kManyDigits;
  return rounded(value, isWhole ? 0 : digits) + " " + *name;
}

// The two largest units of it.
std::string span(double exactSeconds) {
  constexpr struct {
    unsigned long seconds;
    const char* name;
  } kUnits[] = {{86400, "d"}, {3600, "h"}, {60, "min"}, {1, "s"}};
  auto seconds = static_cast<unsigned long>(exactSeconds);
  std::vector<std::string> parts;
  for (const auto& [size, name] : kUnits) {
    const unsigned long count = seconds / size;
    seconds %= size;
    if (count > 0) parts.push_back(std::to_string(count) + " " + name);
    if (parts.size() == 2 || (!parts.empty() && count == 0)) break;
  }
  return parts.empty() ? "0 s" : joined(parts, " ");
}

std::string shortFigure(std::string_view base, double value) {
  if (base == "bytes") {
    return scaled(value, 1024, 1, {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB", "ZiB"});
  }
  if (base == "hertz") return scaled(value, 1000, 2, {"Hz", "kHz", "MHz", "GHz", "THz"});
  if (base == "seconds") return span(value);
  return "";
}

// Of "2026-11-22-00.31.24.000000" the day and the minute.
std::string shortTime(const std::string& text) {
  constexpr std::string_view kForm = "0000-00-00-00.00.";
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    const bool isDigit = i < text.size() && text[i] >= '0' && text[i] <= '9';
    if (i >= text.size() || (kForm[i] == '0' ? !isDigit : kForm[i] != text[i])) return text;
  }
  return text.substr(0, 10) + " " + text.substr(11, 2) + ":" + text.substr(14, 2);
}

// "yes" or "no" for the letters of the catalogue.
std::string inWords(std::string text) {
  if (text == "T") return "yes";
  if (text == "F") return "no";
  return text;
}

// What a text says that can only say yes or no, and does.
std::optional<std::string> answerIn(const kelAttribDef& attribute, const std::string& text) {
  if (attribute.type != KEL_STRING || attribute.maxLength != 1) return std::nullopt;
  if (text == "1") return "yes";
  if (text == "0") return "no";
  return inWords(text);
}

std::string multiplied(unsigned long number, unsigned long factor) {
  unsigned long product = 0;
  return __builtin_mul_overflow(number, factor, &product) ? "" : std::to_string(product);
}

}  // namespace

AttributeFigures::AttributeFigures(const kelGroupDef& group, unsigned long attribId)
    : groupId_(group.id),
      definition_(getAttribDefinitionFromId(&group, attribId)),
      traits_(attributeTraits(group.id, attribId)),
      unit_(unitOf(group.id, attribId)),
      name_(attributeName(group, attribId)),
      isFirmwareText_(definition_ && definition_->type == KEL_STRING && traits_ &&
                      isSource(*traits_, "/sys/firmware/dmi/tables/DMI")) {
}

bool AttributeFigures::isUnknown(const kelAttribValue& record) const {
  return definition_ && traits_ && traits_->isNeverZero &&
         agent::isUnknown(groupId_, *definition_, record);
}

Figure AttributeFigures::of(const kelAttribValue& record, const Style& style) const {
  std::string text = printable(printedValue(record));
  if (!definition_ || text.empty()) return {std::move(text)};
  if (isUnknown(record)) return {kUnknownText};
  if (auto answer = answerIn(*definition_, text)) return {std::move(*answer)};
  if (const char* const meaning = enumeratedText(*definition_, record)) {
    return {inWords(meaning) + " (" + text + ")"};
  }
  const bool isShort = style.columns > 0 && !style.inBytes;
  if (isShort && record.kelType == KEL_DATETIME) return {shortTime(text)};
  if (isFirmwareText_ && isPlaceholder(text)) return {text + " (placeholder)", "", true};
  if (const auto number = wholeNumber(record)) {
    const double value = static_cast<double>(*number) * unit_.factor / unit_.divisor;
    if (std::string brief = isShort ? shortFigure(unit_.base, value) : ""; !brief.empty()) {
      return {std::move(brief)};
    }
    const std::string bytes = style.inBytes && unit_.base == "bytes"
                                  ? multiplied(*number, static_cast<unsigned long>(unit_.factor))
                                  : "";
    if (!bytes.empty()) return {bytes, "bytes"};
  }
  return {std::move(text), traits_ ? traits_->unit : ""};
}

bool AttributeFigures::isTelling(const kelAttribValue& record) const {
  return !isUnknown(record) && printedValue(record).find_first_not_of(' ') != std::string::npos;
}

Figure figureOf(const kelGroupDef& group, const kelAttribValue& record, const Style& style) {
  return AttributeFigures(group, record.attribId).of(record, style);
}

std::string emphasised(const std::string& text, const Style& style) {
  return style.isColourful ? "\x1B[1m" + text + "\x1B[0m" : text;
}

}  // namespace invscan::agent
