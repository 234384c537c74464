#include <map>
#include <utility>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/compare/Comparison.h"
#include "agent/compare/RowNames.h"
#include "agent/formats/Json.h"
#include "agent/formats/Value.h"
#include "agent/screen/Figures.h"

namespace invscan::agent {
namespace {

std::string sideLine(const char* side, const Scan& scan, const std::string& name) {
  std::string time;
  appendUtcTime(time, scan.time);
  std::erase(time, '"');
  const std::string line = name + ": " + (scan.hostName.empty() ? "no name" : scan.hostName) +
                           ", " + (time == "null" ? "at a time that is not known" : time);
  return paragraph(printable(line), std::string(side) + "  ", "   ");
}

std::string shownSide(const GroupResult& side, const kelAttribValue* record, const Style& style) {
  const std::string text = record ? figureOf(*side.group, *record, style).withUnit() : "";
  return text.empty() ? "(none)" : text;
}

std::string exactSide(const kelAttribValue* record) {
  return record ? printable(plainText(*record)) : "(none)";
}

// What is short, or in words, may be the same of values that differ.
std::string shownChange(const GroupComparison& group, const Change& change, const Style& style) {
  const std::string a = shownSide(*group.a, change.a, style);
  const std::string b = shownSide(*group.b, change.b, style);
  if (a != b) return a + " -> " + b;
  if (style.columns > 0) return shownChange(group, change, {});
  return exactSide(change.a) + " -> " + exactSide(change.b);
}

// Rows with what there is to say of them: those of which the same is said come together.
class RowBlocks {
 public:
  void add(std::string label, const std::string& said) {
    const auto [place, isNew] = places_.try_emplace(said, blocks_.size());
    // What says nothing but its label has a line of its own.
    if (isNew || said.empty()) {
      blocks_.push_back({{std::move(label)}, said});
    } else {
      blocks_[place->second].labels.push_back(std::move(label));
    }
  }

  std::string text(const std::string& what) const {
    std::string text;
    for (const auto& [labels, said] : blocks_) {
      std::string label = joined(labels, ", ");
      if (labels.size() > 1) label += " (" + counted(labels.size(), "row") + ")";
      text += paragraph(label, "  " + what + (label.empty() ? "" : ": "), "    ") + said;
    }
    return text;
  }

 private:
  struct Block {
    std::vector<std::string> labels;
    std::string said;
  };

  std::vector<Block> blocks_;
  std::map<std::string, std::size_t> places_;  // by what is said
};

std::string changesOf(const GroupComparison& group, const ChangedRow& row, const Style& style) {
  Columns columns;
  for (const Change& change : row.changes) {
    columns.add({change.attribute, shownChange(group, change, style)});
  }
  return columns.wrappedText("    ");
}

// Of a row that the other side does not have, the values that say something.
std::string valuesOf(const kelGroupDef& group, const Row& row, const Style& style) {
  Columns columns;
  for (const Record& record : row) {
    const kelAttribDef* const attribute = getAttribDefinitionFromId(&group, record->attribId);
    const bool isSaid =
        !attribute || isRunningIndex(attribute->name) || isDigest(attribute->name) ||
        isDefault(group.id, *attribute, record.get()) ||
        (!style.isWhole && isVolatile(group, *attribute)) || isInLabel(group, *record);
    if (!isSaid) columns.add({attribute->name, figureOf(group, *record, style).withUnit()});
  }
  return columns.wrappedText("    ");
}

std::string rowsText(const GroupComparison& group, const Style& style) {
  RowBlocks changed, removed, added;
  for (const ChangedRow& row : group.changed) {
    changed.add(labelOf(*group.a->group, *row.a), changesOf(group, row, style));
  }
  for (const Row* row : group.removed) {
    removed.add(labelOf(*group.a->group, *row), valuesOf(*group.a->group, *row, style));
  }
  for (const Row* row : group.added) {
    added.add(labelOf(*group.b->group, *row), valuesOf(*group.b->group, *row, style));
  }
  return changed.text("changed") + removed.text("removed") + added.text("added");
}

std::string untoldLine(const char* side, const std::vector<const char*>& attributes,
                       const GroupResult& result) {
  if (attributes.empty()) return "";
  const std::string words =
      joined({attributes.begin(), attributes.end()}, ", ") + " (" + result.trouble + ")";
  return paragraph(printable(words), std::string("  not told in ") + side + ": ", "    ");
}

// "denied (/dev/mem: permission denied)".
std::string statusOf(const GroupResult& result) {
  return statusName(result.status) +
         (result.trouble.empty() || result.status == Status::Ok ? "" : " (" + result.trouble + ")");
}

std::string groupText(const GroupComparison& group, const Style& style) {
  const std::string heading = emphasised(group.name, style);
  if (!group.isComparable) {
    return paragraph(
        printable("not comparable; A: " + statusOf(*group.a) + ", B: " + statusOf(*group.b)),
        heading + ": ", "  ");
  }
  const bool isSame = group.a->status == group.b->status;
  return heading +
         (isSame ? ""
                 : std::string(": ") + statusName(group.a->status) + " -> " +
                       statusName(group.b->status)) +
         "\n" + rowsText(group, style) + untoldLine("A", group.untoldInA, *group.a) +
         untoldLine("B", group.untoldInB, *group.b);
}

std::string groupsLine(const char* what, const std::vector<std::string>& names) {
  return names.empty() ? "" : paragraph(printable(joined(names, ", ")), what, "  ");
}

// Groups that only one side has, and those that neither could tell of.
std::string otherGroups(const Comparison& comparison) {
  std::vector<std::string> onlyInA, onlyInB, untold;
  for (const auto& group : comparison.groups) {
    if (!group.b) {
      onlyInA.emplace_back(group.name);
    } else if (!group.a) {
      onlyInB.emplace_back(group.name);
    } else if (!group.differs() && !group.isComparable) {
      const std::string ofA = statusName(group.a->status), ofB = statusName(group.b->status);
      untold.push_back(group.name + (" (" + (ofA == ofB ? ofA : ofA + ", " + ofB)) + ")");
    }
  }
  return groupsLine("Only in A: ", onlyInA) + groupsLine("Only in B: ", onlyInB) +
         groupsLine("Not compared, as neither tells of them: ", untold);
}

}  // namespace

std::string comparisonText(const Comparison& comparison, const ComparedNames& names,
                           const Style& style) {
  if (!comparison.differs()) {
    const std::string left =
        style.isWhole ? "" : "; left out is what changes from scan to scan (--all)";
    return paragraph("Nothing differs" + left + ".", "", "") + otherGroups(comparison);
  }
  std::string text =
      sideLine("A", comparison.a, names.a) + sideLine("B", comparison.b, names.b) + "\n";
  for (const GroupComparison& group : comparison.groups) {
    if (!group.a || !group.b || !group.differs()) continue;
    text += groupText(group, style) + "\n";
  }
  const std::string others = otherGroups(comparison);
  if (others.empty()) text.pop_back();
  return text + others;
}

}  // namespace invscan::agent
