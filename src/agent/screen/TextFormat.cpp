// The groups as text for people.
#include <algorithm>
#include <iterator>
#include <map>

#include "agent/Text.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Value.h"
#include "agent/reasons/Completeness.h"
#include "agent/reasons/Reasons.h"
#include "agent/screen/Figures.h"
#include "agent/screen/Grid.h"

namespace invscan::agent {
namespace {

constexpr std::string_view kBlanks = "  ";

constexpr struct {
  const char* group;
  const char* words;
} kIntroductions[] = {{"Scan Info", "(of this scanner, not of the machine)"}};

// What tells a person nothing that another attribute does not tell better.
constexpr struct {
  const char* group;
  const char* attribute;
} kLeftToAll[] = {{"Memory", "Total Page"}, {"Memory", "Free Page"}};

bool isLeftToAll(const kelGroupDef& group, const std::string& attribute) {
  return std::any_of(std::begin(kLeftToAll), std::end(kLeftToAll), [&](const auto& each) {
    return group.name == std::string_view(each.group) && attribute == each.attribute;
  });
}

std::size_t lineColumns(const Style& style) {
  return style.columns > 0 ? style.columns : kLineWidth;
}

std::string note(const std::string& words, const Style& style) {
  return paragraph(words, kBlanks, kBlanks, lineColumns(style));
}

// The attributes of all rows in columns; of several rows, each begins with its number.
std::string rowBlock(const GroupResult& result, const Style& style) {
  Columns columns;
  std::map<unsigned long, AttributeFigures> attributes;
  for (std::size_t i = 0; i < result.rows.size(); ++i) {
    std::string number = std::to_string(i + 1);
    for (const Record& record : result.rows[i]) {
      const unsigned long id = record->attribId;
      const auto& figures = attributes.try_emplace(id, *result.group, id).first->second;
      const std::string& name = figures.name();
      const std::string value = figures.of(*record, style).withUnit();
      if (result.rows.size() == 1) {
        columns.add({name, value});
      } else {
        columns.add({number, name, value});
        number.clear();
      }
    }
  }
  return style.columns > 0 ? columns.wrappedText(kBlanks, style.columns) : columns.text(kBlanks);
}

// An attribute of all rows.
struct Attribute {
  unsigned long id;
  AttributeFigures figures;
  GridColumn column = {};
  std::string unit = {};
  bool isTelling = false;

  bool isUniform() const {
    const auto& cells = column.cells;
    return std::all_of(cells.begin(), cells.end(),
                       [&cells](const std::string& cell) { return cell == cells.front(); });
  }
};

bool isKey(const kelGroupDef& group, unsigned long attribId) {
  return std::find(group.keys, group.keys + group.keyCount, attribId) !=
         group.keys + group.keyCount;
}

// Whether it is a number that stands for itself.
bool isAmount(const kelGroupDef& group, const kelAttribValue& record) {
  const kelAttribDef* const attribute = getAttribDefinitionFromId(&group, record.attribId);
  return !isText(record) && !(attribute && enumeratedText(*attribute, record));
}

// In the order in which the rows have them.
std::vector<Attribute> attributesIn(const GroupResult& result, const Style& style) {
  std::vector<Attribute> attributes;
  for (std::size_t i = 0; i < result.rows.size(); ++i) {
    std::size_t place = 0;  // most rows have the same attributes in the same order
    for (const Record& record : result.rows[i]) {
      const auto isMeant = [&record](const Attribute& each) { return each.id == record->attribId; };
      if (place >= attributes.size() || !isMeant(attributes[place])) {
        place = static_cast<std::size_t>(
            std::find_if(attributes.begin(), attributes.end(), isMeant) - attributes.begin());
      }
      if (place == attributes.size()) {
        attributes.push_back({record->attribId, {*result.group, record->attribId}});
        attributes[place].column.heading = attributes[place].figures.name();
        attributes[place].column.isKey = isKey(*result.group, record->attribId);
      }
      Attribute& attribute = attributes[place++];
      Figure figure = attribute.figures.of(*record, style);
      attribute.column.cells.resize(i);  // empty where rows before lack it
      attribute.column.cells.push_back(std::move(figure.text));
      if (isAmount(*result.group, *record)) attribute.column.align = Align::Right;
      if (!figure.unit.empty()) attribute.unit = std::move(figure.unit);
      attribute.isTelling |= attribute.figures.isTelling(*record);
    }
  }
  for (Attribute& attribute : attributes) attribute.column.cells.resize(result.rows.size());
  return attributes;
}

// What a terminal shows of the rows: what they have in common once, the rest as a table.
std::string tableOf(const std::vector<Attribute>& attributes, std::size_t rows,
                    const Style& style) {
  Columns common;
  std::vector<GridColumn> columns;
  for (const Attribute& attribute : attributes) {
    GridColumn column = attribute.column;
    if (rows == 1 || (!column.isKey && attribute.isUniform())) {
      common.add({column.heading, Figure{column.cells.front(), attribute.unit}.withUnit()});
    } else {
      if (!attribute.unit.empty()) column.heading += ", " + attribute.unit;
      columns.push_back(std::move(column));
    }
  }
  std::string text = common.wrappedText(kBlanks, style.columns);
  if (columns.empty()) return text;
  if (!text.empty()) text = note("In all rows:", style) + text + "\n";
  const std::string grid = gridText(columns, kBlanks.size(), style.columns);
  return grid.empty() ? "" : text + grid;
}

std::string terminalRows(const GroupResult& result, const Style& style) {
  std::vector<Attribute> shown;
  std::vector<std::string> empty, left;
  for (Attribute& attribute : attributesIn(result, style)) {
    const std::string& name = attribute.column.heading;
    if (!style.isWhole && !attribute.isTelling) {
      empty.push_back(name);
    } else if (!style.isWhole && isLeftToAll(*result.group, name)) {
      left.push_back(name);
    } else {
      shown.push_back(std::move(attribute));
    }
  }
  std::string text = tableOf(shown, result.rows.size(), style);
  if (text.empty() && !shown.empty()) return rowBlock(result, style);
  if (!empty.empty()) text += note("(no value: " + joined(empty, ", ") + ")", style);
  if (!left.empty()) text += note("(left to --all: " + joined(left, ", ") + ")", style);
  return text;
}

std::string heading(const GroupResult& result, const Style& style) {
  const std::string name = result.group->name;
  const std::string rows =
      result.rows.size() > 1 ? " (" + counted(result.rows.size(), "row") + ")" : "";
  const std::size_t room = style.columns > 0 ? style.columns - width(rows) : name.size();
  std::string text = emphasised(shortened(name, room), style) + rows + "\n";
  for (const auto& [group, words] : kIntroductions) {
    if (name == group) text += note(words, style);
  }
  if (!result.origin.empty()) {
    text += note("(what is not yours to read: " + printable(result.origin) + ")", style);
  }
  return text;
}

std::string body(const GroupResult& result, bool tellsReasons, const Style& style) {
  if (result.rows.empty()) return std::string(kBlanks) + "no rows\n";
  const std::string rows =
      style.columns > 0 ? terminalRows(result, style) : rowBlock(result, style);
  return tellsReasons ? rows + remarkBlock("without a value", reasonsOf(result)) : rows;
}

}  // namespace

std::string formatText(const Scan& scan, const Style& style) {
  std::string text;
  for (const GroupResult& result : scan.groups) {
    const bool isLost = result.status == Status::Timeout || result.status == Status::Crash;
    const bool isTold = result.status == Status::Ok || (scan.tellsReasons && !isLost);
    if (!isTold) continue;
    text.append(heading(result, style)).append(body(result, scan.tellsReasons, style)).append("\n");
  }
  const auto lines = shortfalls(scan, Kinds::All);
  for (const std::string& line : lines) {
    text += paragraph(printable(line), "", kBlanks, lineColumns(style));
  }
  if (lines.empty() && !text.empty()) text.pop_back();
  return text;
}

}  // namespace invscan::agent
