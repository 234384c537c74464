// Scans that were kept as JSON: read, written, compared.
#include <sstream>

#include "FuzzTarget.h"
#include "agent/Failure.h"
#include "agent/Text.h"
#include "agent/compare/Comparison.h"
#include "agent/formats/Formats.h"
#include "agent/saved/SavedScan.h"

namespace {

using namespace invscan::agent;

Scan scanIn(std::string_view json) try { return parseSavedScan(json); } catch (const Failure&) {
  return {};
}

// No form obeys what stands in values, and those for people fit.
void checkForm(const Format& format, const Scan& scan) {
  constexpr std::size_t kColumns = 40;
  const std::string text = format.write(scan, {.columns = kColumns});
  invscan::require(text.find('\x1B') == text.npos);
  const std::string_view name = format.name;
  if (name != "text" && name != "summary") return;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) invscan::require(width(line) <= kColumns);
}

}  // namespace

// What can be read differs in nothing from itself, and not when it was written and read again.
void invscan::tryInput(std::string_view json) {
  const Scan scan = scanIn(json);
  if (!scan.isSaved) return;
  const Scan again = parseSavedScan(formatJson(scan));
  require(!compareScans(scan, scan, true).differs());
  require(!compareScans(scan, again, true).differs());
  for (const Format& format : kFormats) checkForm(format, scan);

  const Scan none = parseSavedScan(R"({"groups": {"Storage": {"status": "ok", "rows": []}}})");
  const Comparison comparison = compareScans(scan, none, true);
  const std::string text = comparisonText(comparison, {"a", "b"}, {.columns = 40, .isWhole = true});
  require(text.find('\x1B') == text.npos);
  require(!comparisonJson(comparison, {"a", "b"}).empty());
}
