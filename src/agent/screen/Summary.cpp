#include "agent/screen/Summary.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Units.h"
#include "agent/formats/Value.h"
#include "agent/reasons/Completeness.h"
#include "agent/redact/Placeholders.h"
#include "agent/screen/Figures.h"
#include "agent/screen/Grid.h"

namespace invscan::agent {
namespace {

enum class Rows {
  Counted,  // "2 × " before what two rows say
  Once,     // what several rows say is said once
  Each,     // a line each, with columns where the wording has a bar
};

// "{Name}" stands for an attribute's value, and "(s)" for an s unless that value is 1. What is in
// brackets is left out where one in it has no value; where one outside of them has none, the phrase
// is left out.
struct Phrase {
  const char* label;  // of the line; phrases of the same label make one
  const char* group;
  const char* wording;
  Rows rows = Rows::Counted;
  bool isInstead = false;  // said only where the one before it says nothing
  // Rows are left out whose attribute has this value.
  const char* attribute = nullptr;
  const char* unwanted = nullptr;
};

constexpr Phrase kPhrases[] = {
    {"Machine", "ComponentID", "[{Manufacturer} ]{Product}[ {Version}]"},
    {"Machine", "SMBIOS", "{Enclosure Type}"},
    {"Machine", "ComponentID", "runs under {Hypervisor Type}"},
    {"Host", "HostComponentID", "[{Manufacturer} ]{Product}[ {Version}]"},
    {"Host", "ComponentID", "[{Host Manufacturer} ]{Host Product}[ {Host Version}]", Rows::Counted,
     true},
    {"Firmware", "SMBIOS", "[{BIOS Vendor} ]{BIOS Version}[, {BIOS Date}]"},
    {"Processor", "PhysicalProcessor", "{BrandName}[, {ClockMHz}]"},
    {"Processor", "Processor", "{Model}[, {Speed}]", Rows::Once, true},
    {"Processor", "PhysicalProcessor", "{Manufacturer}[, {ClockMHz}]", Rows::Counted, true},
    {"Processor", "Lpar", "{ActiveCores} core(s), {ActiveProcessors} thread(s)"},
    {"Memory", "Memory", "{Total Physical}[, {Free Physical} free]"},
    {"Memory", "Memory Modules", "{Module Size MB}[ {Memory Type}]"},
    {"Memory", "Memory", "{Num Slots Supported} slot(s)"},
    {"Disks", "Storage", "{Device}|{Total Size}|{Type}|[{Manufacturer}][ {Model}]|{fill}",
     Rows::Each},
    {"SAN", "SAN Adapter", "[{Manufacturer} ]{Model}"},
    {"Adapters", "Network Adapter", "{Model}|{Manufacturer}|{Driver Name}|{Current Address}",
     Rows::Each, false, "Manufacturer", ""},
    {"Addresses", "IP Address", "{Address}[ ({Hostname})]", Rows::Once},
    {"Addresses", "IPv6 Address", "{Address}", Rows::Once, false, "Scope", "link"},
    {"Gateway", "IP Address", "{Gateway}", Rows::Once},
    {"Gateway", "IPv6 Address", "{Gateway}", Rows::Once},
    {"System", "Operating System", "{Name}"},
    {"System", "Operating System", "Linux {Major Version}.{Minor Version}.{Sub Version}"},
    {"System", "Operating System", "{OS Arch}"},
    {"Up", "Scan Info", "{Uptime}"},
    {"Up", "UNIX System Params", "since {Boot Time}"},
};

// What makes one line of the screen.
using Line = std::span<const Phrase>;

std::vector<Line> lines() {
  std::vector<Line> lines;
  for (const auto* first = std::begin(kPhrases); first != std::end(kPhrases);) {
    const auto* const end = std::find_if(first, std::end(kPhrases), [first](const Phrase& each) {
      return std::string_view(each.label) != first->label;
    });
    lines.emplace_back(first, end);
    first = end;
  }
  return lines;
}

constexpr std::size_t kLabelColumns = 11;
constexpr std::size_t kMostTexts = 8, kMostLines = 12;  // before "and 17 more"
constexpr std::size_t kMostColumns = 160;               // of a text

const kelGroupDef& groupNamed(const char* name) {
  return *getGroupDefinitionFromId(getGroupIdFromName(name));
}

// Brands without their marks and without the speed that is told beside them; no word twice in
// succession, as makers put their name before a product that has it.
std::string tidied(std::string text) {
  for (const std::string_view mark : {"(R)", "(r)", "(TM)", "(tm)"}) {
    for (std::size_t at; (at = text.find(mark)) != text.npos;) text.erase(at, mark.size());
  }
  text.resize(std::min(text.find(" @ "), text.size()));
  std::string words, last;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string word(rest.substr(0, rest.find(' ')));
    rest.remove_prefix(std::min(word.size() + 1, rest.size()));
    if (word.empty() || sameIgnoringCase(word, last)) continue;
    words.append(words.empty() ? "" : " ").append(word);
    last = word;
  }
  return shortened(words, kMostColumns);
}

const kelAttribValue* findNamed(const kelGroupDef& group, const Row& row, std::string_view name) {
  for (const Record& record : row) {
    const char* const each = getAttribNameFromId(&group, record->attribId);
    if (each && each == name) return record.get();
  }
  return nullptr;
}

std::string plainNamed(const kelGroupDef& group, const Row& row, std::string_view name) {
  const kelAttribValue* const record = findNamed(group, row, name);
  return record ? plainText(*record) : "";
}

double numberNamed(const kelGroupDef& group, const Row& row, std::string_view name) {
  const kelAttribValue* const record = findNamed(group, row, name);
  const auto number = record ? wholeNumber(*record) : std::nullopt;
  return static_cast<double>(number.value_or(0));
}

// What a scan tells, as the wordings ask for it.
class Facts {
 public:
  Facts(const Scan& scan, const Style& style) : scan_(scan), style_(style) { findSpace(); }

  const std::vector<Row>& rows(const kelGroupDef& group) const {
    static const std::vector<Row> kNone;
    const auto found =
        std::find_if(scan_.groups.begin(), scan_.groups.end(),
                     [&group](const GroupResult& each) { return each.group->id == group.id; });
    return found == scan_.groups.end() ? kNone : found->rows;
  }

  // Empty where there is none, or none that tells anything.
  std::string value(const kelGroupDef& group, const Row& row, std::string_view name) const {
    if (name == "fill") return fill(plainNamed(group, row, "Device"));
    const kelAttribValue* const record = findNamed(group, row, name);
    if (!record) return "";
    const AttributeFigures figures(group, record->attribId);
    if (!figures.isTelling(*record)) return "";
    const bool isSize = unitOf(group.id, record->attribId).base == "bytes";
    if (isSize && wholeNumber(*record) == 0UL) return "";
    const kelAttribDef* const attribute = getAttribDefinitionFromId(&group, record->attribId);
    if (const char* const meaning = enumeratedText(*attribute, *record)) {
      return isPlaceholder(meaning) || meaning == std::string_view("Other") ? "" : meaning;
    }
    const Figure figure = figures.of(*record, style_);
    return figure.isPlaceholder ? "" : tidied(figure.withUnit());
  }

 private:
  struct Space {
    double total = 0, free = 0;
  };

  // By device, of each file system once, however often it is mounted.
  void findSpace() {
    const kelGroupDef& pairs = groupNamed("PartitionToStorage");
    std::map<std::string, std::string> devices;
    for (const Row& row : rows(pairs)) {
      devices.emplace(plainNamed(pairs, row, "PartitionAccessPoint"),
                      plainNamed(pairs, row, "StorageDevice"));
    }
    const kelGroupDef& partitions = groupNamed("Partition");
    for (const Row& row : rows(partitions)) {
      const auto found = devices.find(plainNamed(partitions, row, "FS Access Point"));
      if (found == devices.end()) continue;
      Space& space = space_[found->second];
      space.total += numberNamed(partitions, row, "FS Total Size");
      space.free += numberNamed(partitions, row, "FS Free Size");
      devices.erase(found);
    }
  }

  std::string fill(const std::string& device) const {
    const auto found = space_.find(device);
    if (found == space_.end() || found->second.total <= 0) return "";
    const auto [total, free] = found->second;
    return decimal(100 * (total - std::min(free, total)) / total, 0) + " % full";
  }

  const Scan& scan_;
  const Style& style_;
  std::map<std::string, Space> space_;
};

// The text of a wording up to its end or a closing bracket, which are left; nothing where a value
// is missing.
template <class ValueOf>
std::optional<std::string> worded(std::string_view& wording, const ValueOf& valueOf) {
  constexpr std::string_view kPlural = "(s)";
  std::string text, value;
  bool isWhole = true;
  while (!wording.empty() && wording.front() != ']') {
    if (wording.starts_with(kPlural)) {
      text += value == "1" ? "" : "s";
      wording.remove_prefix(kPlural.size());
      continue;
    }
    const char c = wording.front();
    wording.remove_prefix(1);
    if (c == '[') {
      text += worded(wording, valueOf).value_or("");
      wording.remove_prefix(1);
    } else if (c == '{') {
      const std::string_view name = wording.substr(0, wording.find('}'));
      value = valueOf(name);
      isWhole = isWhole && !value.empty();
      text += value;
      wording.remove_prefix(name.size() + 1);
    } else {
      text += c;
    }
  }
  return isWhole ? std::optional(text) : std::nullopt;
}

// What a phrase says of a row, by column; all empty where it says nothing.
std::vector<std::string> cellsOf(const Facts& facts, const Phrase& phrase, const Row& row) {
  const kelGroupDef& group = groupNamed(phrase.group);
  const auto valueOf = [&](std::string_view name) { return facts.value(group, row, name); };
  std::vector<std::string> cells;
  const bool isUnwanted =
      phrase.attribute && plainNamed(group, row, phrase.attribute) == phrase.unwanted;
  for (std::string_view rest = phrase.wording; !rest.empty();) {
    std::string_view wording = rest.substr(0, rest.find('|'));
    rest.remove_prefix(std::min(wording.size() + 1, rest.size()));
    cells.push_back(isUnwanted ? "" : tidied(worded(wording, valueOf).value_or("")));
  }
  return cells;
}

// Each text once, in the order of the rows, with how many of these say it.
std::vector<std::pair<std::string, std::size_t>> textsOf(const Facts& facts, const Phrase& phrase) {
  std::vector<std::pair<std::string, std::size_t>> texts;
  std::map<std::string, std::size_t> places;
  for (const Row& row : facts.rows(groupNamed(phrase.group))) {
    std::string text = cellsOf(facts, phrase, row).front();
    if (text.empty()) continue;
    const auto [found, isNew] = places.emplace(text, texts.size());
    if (isNew) texts.emplace_back(std::move(text), 0);
    ++texts[found->second].second;
  }
  return texts;
}

std::string paragraphOf(const Facts& facts, const Line& line) {
  std::vector<std::string> parts;
  bool isSaid = false;
  for (const Phrase& phrase : line) {
    if (phrase.isInstead && isSaid) continue;
    const auto texts = textsOf(facts, phrase);
    isSaid = !texts.empty();
    for (std::size_t i = 0; i < std::min(texts.size(), kMostTexts); ++i) {
      const auto& [text, count] = texts[i];
      const bool isCounted = phrase.rows == Rows::Counted && count > 1;
      parts.push_back(isCounted ? std::to_string(count) + " \u00D7 " + text : text);
    }
    if (texts.size() > kMostTexts) {
      parts.push_back("and " + std::to_string(texts.size() - kMostTexts) + " more");
    }
  }
  return joined(parts, ", ");
}

// Rows with a cell that says something, but no more than there is room for.
struct Cells {
  std::vector<std::vector<std::string>> rows;
  std::size_t more = 0;
};

Cells cellsOf(const Facts& facts, const Phrase& phrase) {
  Cells cells;
  for (const Row& row : facts.rows(groupNamed(phrase.group))) {
    std::vector<std::string> each = cellsOf(facts, phrase, row);
    if (joined(each, "").empty()) continue;
    if (cells.rows.size() == kMostLines) {
      ++cells.more;
    } else {
      cells.rows.push_back(std::move(each));
    }
  }
  return cells;
}

// A line each in columns, where these fit.
std::string linesOf(const Facts& facts, const Phrase& phrase, std::size_t lineColumns) {
  const std::string blanks(kLabelColumns, ' ');
  const auto [rows, more] = cellsOf(facts, phrase);
  std::vector<GridColumn> columns;
  std::string text;
  for (const auto& row : rows) {
    columns.resize(row.size());
    std::vector<std::string> told;
    for (std::size_t i = 0; i < row.size(); ++i) {
      columns[i].cells.push_back(row[i]);
      if (!row[i].empty()) told.push_back(row[i]);
    }
    text += paragraph(joined(told, ", "), blanks, blanks, lineColumns);
  }
  std::erase_if(columns, [](const GridColumn& column) { return joined(column.cells, "").empty(); });
  const std::string grid = gridText(columns, kLabelColumns, lineColumns, 1);
  if (!grid.empty()) text = grid;
  return more == 0 ? text : text + blanks + "and " + std::to_string(more) + " more\n";
}

// Behind its label; empty where nothing is known.
std::string lineText(const Facts& facts, const Line& line, const Style& style) {
  const std::string blanks(kLabelColumns, ' ');
  std::string text;
  if (line.front().rows == Rows::Each) {
    text = linesOf(facts, line.front(), style.columns);
  } else if (const std::string words = paragraphOf(facts, line); !words.empty()) {
    text = paragraph(words, blanks, blanks, style.columns);
  }
  const std::string label = padded(line.front().label, kLabelColumns);
  if (!text.empty()) text.replace(0, kLabelColumns, emphasised(label, style));
  return text;
}

// Which groups have values that this user may not read; empty where none has.
std::string originOf(const Scan& scan) {
  std::string origin;
  std::vector<std::string> names;
  for (const GroupResult& result : scan.groups) {
    if (result.origin.empty()) continue;
    origin = result.origin;
    names.emplace_back(result.group->name);
  }
  return names.empty() ? "" : "In part " + printable(origin) + ": " + joined(names, ", ");
}

}  // namespace

std::vector<const kelGroupDef*> summaryGroups() {
  std::vector<std::string> names = {"Partition", "PartitionToStorage"};
  for (const Phrase& phrase : kPhrases) names.emplace_back(phrase.group);
  return findGroups(names);
}

std::string formatSummary(const Scan& scan, const Style& style) {
  Style screen = style;
  if (screen.columns == 0) screen.columns = kLineWidth;
  const Facts facts(scan, screen);
  const std::string name = shortened(printable(scan.hostName), screen.columns);
  std::string text = emphasised(name, style) + "\n";
  for (const Line& line : lines()) text += lineText(facts, line, screen);
  if (const std::string origin = originOf(scan); !origin.empty()) {
    text += paragraph(origin, "", "  ", screen.columns);
  }
  for (const std::string& lack : shortfalls(scan, Kinds::Lacks)) {
    text += paragraph(printable(lack), "", "  ", screen.columns);
  }
  return text;
}

}  // namespace invscan::agent
