#include "agent/screen/Grid.h"

#include <algorithm>

#include "agent/Text.h"

namespace invscan::agent {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kReadable = 20;

struct Placed {
  const GridColumn* column;
  std::size_t columns;  // of the terminal
};

std::size_t naturalWidth(const GridColumn& column) {
  std::size_t widest = width(column.heading);
  for (const std::string& cell : column.cells) widest = std::max(widest, width(cell));
  return widest;
}

std::size_t capped(const Placed& placed, std::size_t cap) {
  return placed.column->isKey ? placed.columns : std::min(placed.columns, cap);
}

// What the columns take when none but keys is wider than the cap.
std::size_t totalWidth(const std::vector<Placed>& table, std::size_t cap) {
  std::size_t total = 0;
  for (const Placed& placed : table) total += capped(placed, cap) + kGap;
  return total - std::min(total, kGap);
}

void shrink(std::vector<Placed>& table, std::size_t room) {
  std::size_t cap = room;
  while (cap > 1 && totalWidth(table, cap) > room) --cap;
  for (Placed& placed : table) placed.columns = capped(placed, cap);
}

// Empty when not even the first column of a table fits beside those that have to be there.
std::vector<std::vector<Placed>> tablesOf(const std::vector<GridColumn>& columns,
                                          std::size_t room) {
  std::vector<std::vector<Placed>> tables(1);
  for (const GridColumn& column : columns) {
    const Placed placed{&column, naturalWidth(column)};
    tables.back().push_back(placed);
    if (totalWidth(tables.back(), kReadable) <= room) continue;
    tables.back().pop_back();
    if (tables.back().empty()) return {};
    const Placed first = tables.front().front();
    tables.push_back({first, placed});
    if (totalWidth(tables.back(), kReadable) > room) return {};
  }
  for (auto& table : tables) shrink(table, room);
  return tables;
}

void appendLine(std::string& text, const std::vector<Placed>& table, std::size_t indent,
                auto&& cellOf) {
  std::string line(indent, ' ');
  std::size_t end = indent;
  for (const Placed& placed : table) {
    const std::string cell = shortened(cellOf(*placed.column), placed.columns);
    const std::size_t blanks = placed.columns - std::min(width(cell), placed.columns);
    line.append(end - indent ? kGap : 0, ' ');
    if (placed.column->align == Align::Right) line.append(blanks, ' ');
    line += cell;
    if (placed.column->align == Align::Left) line.append(blanks, ' ');
    end += placed.columns + kGap;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  text += line + "\n";
}

}  // namespace

std::string gridText(const std::vector<GridColumn>& columns, std::size_t indent,
                     std::size_t lineColumns, std::size_t mostTables) {
  if (columns.empty() || lineColumns <= indent) return "";
  const bool hasHeadings =
      std::any_of(columns.begin(), columns.end(),
                  [](const GridColumn& column) { return !column.heading.empty(); });
  const auto tables = tablesOf(columns, lineColumns - indent);
  if (tables.size() > mostTables) return "";
  std::string text;
  for (const auto& table : tables) {
    if (hasHeadings) {
      if (!text.empty()) text += "\n";
      appendLine(text, table, indent, [](const GridColumn& column) { return column.heading; });
    }
    for (std::size_t row = 0; row < columns.front().cells.size(); ++row) {
      appendLine(text, table, indent,
                 [row](const GridColumn& column) { return column.cells[row]; });
    }
  }
  return text;
}

}  // namespace invscan::agent
