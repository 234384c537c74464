// The forms in which a scan is written.
#pragma once

#include <string>
#include <string_view>

#include "agent/scan/Scan.h"

namespace invscan::agent {

// How people want it; the forms for programs have no use for that.
struct Style {
  std::size_t columns = 0;  // of the terminal that shows it; 0: no terminal, nothing is abbreviated
  bool isColourful = false;
  bool inBytes = false;  // exact sizes rather than short ones
  bool isWhole = false;  // also what says nothing
};

std::string formatText(const Scan& scan, const Style& style = {});
// What the machine is, on one screen (screen/Summary.h).
std::string formatSummary(const Scan& scan, const Style& style = {});
// docs/json.md describes these.
std::string formatJson(const Scan& scan, const Style& style = {});
std::string formatJsonLines(const Scan& scan, const Style& style = {});
std::string formatCsv(const Scan& scan, const Style& style = {});
std::string formatPrometheus(const Scan& scan, const Style& style = {});

// Makes room for a group's rows when the first of them has been written behind a place: growing
// step by step would touch twice the memory.
void reserveRows(std::string& text, std::size_t begin, std::size_t rows);

struct Format {
  const char* name;
  std::string (*write)(const Scan& scan, const Style& style);
};

// The first is the default.
inline constexpr Format kFormats[] = {{"text", formatText},
                                      {"json", formatJson},
                                      {"jsonl", formatJsonLines},
                                      {"csv", formatCsv},
                                      {"prometheus", formatPrometheus},
                                      {"summary", formatSummary}};

// The name must be one of the table's or empty.
const Format& findFormat(std::string_view name);

}  // namespace invscan::agent
