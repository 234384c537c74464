// The forms in which a scan is written.
#pragma once

#include <string>
#include <string_view>

#include "agent/scan/Scan.h"

namespace invscan::agent {

// Colour is for terminals; only the text form has any.
std::string formatText(const Scan& scan, bool inColour);
// docs/json.md describes these.
std::string formatJson(const Scan& scan, bool inColour);
std::string formatJsonLines(const Scan& scan, bool inColour);
std::string formatCsv(const Scan& scan, bool inColour);
std::string formatPrometheus(const Scan& scan, bool inColour);

// Makes room for a group's rows when the first of them has been written behind a place: growing
// step by step would touch twice the memory.
void reserveRows(std::string& text, std::size_t begin, std::size_t rows);

struct Format {
  const char* name;
  std::string (*write)(const Scan& scan, bool inColour);
};

// The first is the default.
inline constexpr Format kFormats[] = {{"text", formatText},
                                      {"json", formatJson},
                                      {"jsonl", formatJsonLines},
                                      {"csv", formatCsv},
                                      {"prometheus", formatPrometheus}};

// The name must be one of the table's or empty.
const Format& findFormat(std::string_view name);

}  // namespace invscan::agent
