// Scans that were kept as JSON: read, written, compared.
#include "FuzzTarget.h"
#include "agent/Failure.h"
#include "agent/compare/Comparison.h"
#include "agent/formats/Formats.h"
#include "agent/saved/SavedScan.h"

namespace {

using namespace invscan::agent;

Scan scanIn(std::string_view json) try { return parseSavedScan(json); } catch (const Failure&) {
  return {};
}

}  // namespace

// What can be read differs in nothing from itself, and not when it was written and read again.
void invscan::tryInput(std::string_view json) {
  const Scan scan = scanIn(json);
  if (!scan.isSaved) return;
  const Scan again = parseSavedScan(formatJson(scan));
  require(!compareScans(scan, scan, true).differs());
  require(!compareScans(scan, again, true).differs());
  for (const Format& format : kFormats) format.write(scan, {.columns = 40});

  const Scan none = parseSavedScan(R"({"groups": {"Storage": {"status": "ok", "rows": []}}})");
  const Comparison comparison = compareScans(scan, none, true);
  const std::string text = comparisonText(comparison, {"a", "b"}, {.columns = 40, .isWhole = true});
  require(text.find('\x1B') == text.npos);
  require(!comparisonJson(comparison, {"a", "b"}).empty());
}
