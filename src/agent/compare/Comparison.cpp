#include "agent/compare/Comparison.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <string_view>

#include <invscan/traits.h>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/compare/RowNames.h"
#include "agent/compare/RowPairs.h"
#include "agent/formats/Json.h"
#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

// An attribute that either side has.
struct Column {
  const char* name;
  bool isDigest;
  std::array<const kelAttribDef*, 2> of{};            // null: the side does not know it
  std::map<std::string, std::uint32_t> numbers = {};  // by value as JSON; 0 is none
};

bool isInCatalogue(const kelGroupDef& group) {
  return placeInCatalogue(group) < allGroups().size();
}

class GroupComparer {
 public:
  GroupComparer(const GroupResult& a, const GroupResult& b, bool withVolatile) : sides_{&a, &b} {
    for (std::size_t side = 0; side < 2; ++side) addColumns(side, withVolatile);
    for (std::size_t side = 0; side < 2; ++side) fill(side);
  }

  void compare(GroupComparison& result) {
    const RowPairs pairs = pairRows();
    for (std::size_t row = 0; row < tables_[0].rows; ++row) {
      const std::size_t partner = pairs.ofA()[row];
      if (partner == RowPairs::kNone) {
        result.removed.push_back(&sides_[0]->rows[row]);
      } else {
        compareRows(sides_[0]->rows[row], row, sides_[1]->rows[partner], partner, result);
      }
    }
    for (std::size_t row = 0; row < tables_[1].rows; ++row) {
      if (pairs.ofB()[row] == RowPairs::kNone) result.added.push_back(&sides_[1]->rows[row]);
    }
    result.untoldInA = namesOf(untold_[0]);
    result.untoldInB = namesOf(untold_[1]);
  }

 private:
  void addColumns(std::size_t side, bool withVolatile) {
    const kelGroupDef& group = *sides_[side]->group;
    std::map<std::string_view, std::size_t> places;
    for (const Column& column : columns_) places.emplace(column.name, places.size());
    const bool isKnown = isInCatalogue(group);
    for (const kelAttribDef* each : attributesOf(group)) {
      if (isRunningIndex(each->name) || (!withVolatile && isVolatile(group, *each))) continue;
      const auto [place, isNew] = places.emplace(each->name, columns_.size());
      if (isNew) columns_.push_back({each->name, isKnown && isDigest(each->name)});
      columns_[place->second].of[side] = each;
    }
  }

  void fill(std::size_t side) {
    const kelGroupDef& group = *sides_[side]->group;
    NumberTable& table = tables_[side];
    std::vector<Column*> byId;  // null: not compared
    for (Column& column : columns_) {
      if (!column.of[side]) continue;
      byId.resize(std::max<std::size_t>(byId.size(), column.of[side]->id + 1));
      byId[column.of[side]->id] = &column;
    }
    table.rows = sides_[side]->rows.size();
    table.columns = columns_.size();
    table.numbers.resize(table.columns * table.rows);
    std::uint32_t* numbers = table.numbers.data();
    std::string value;
    for (const Row& row : sides_[side]->rows) {
      for (const Record& record : row) {
        Column* const column = record->attribId < byId.size() ? byId[record->attribId] : nullptr;
        if (!column) continue;
        value.clear();
        appendJsonValue(value, *record);
        const auto [place, isNew] = column->numbers.try_emplace(value, 0);
        if (isNew && !isDefault(group.id, *column->of[side], record.get())) {
          place->second = static_cast<std::uint32_t>(column->numbers.size());
        }
        numbers[column - columns_.data()] = place->second;
      }
      numbers += table.columns;
    }
  }

  std::vector<std::size_t> places(const RowKey& key) const {
    std::vector<std::size_t> places;
    for (const char* name : key.attributes) {
      for (std::size_t place = 0; name && place < columns_.size(); ++place) {
        if (std::string_view(columns_[place].name) == name) places.push_back(place);
      }
    }
    return places;
  }

  RowPairs pairRows() const {
    RowPairs pairs(tables_[0], tables_[1]);
    pairs.pairEqual();
    const RowNames* const names = findRowNames(*sides_[0]->group);
    if (!names) {
      const bool isOne = tables_[0].rows <= 1 && tables_[1].rows <= 1;
      // Of a group that nobody here knows, what stands first is likely to be a name.
      if (!isOne && !columns_.empty()) pairs.pairBy({0});
      if (isOne) pairs.pairRest();
      return pairs;
    }
    for (const RowKey& key : names->keys) {
      pairs.pairBy(places(key));
      if (key.isProof) pairs.demand(places(key));
    }
    if (names->isOrdered) pairs.pairRest();
    return pairs;
  }

  const kelAttribValue* recordOf(std::size_t side, const Row& row, const Column& column) const {
    return column.of[side] ? findRecord(row, column.of[side]->id) : nullptr;
  }

  // Whether the side could not tell of everything, and so perhaps not of this.
  bool isUntold(std::size_t side, std::uint32_t number) const {
    return number == 0 && sides_[side]->obstacle != Obstacle::None;
  }

  void compareRows(const Row& a, std::size_t placeOfA, const Row& b, std::size_t placeOfB,
                   GroupComparison& result) {
    const std::uint32_t* const x = tables_[0].row(placeOfA);
    const std::uint32_t* const y = tables_[1].row(placeOfB);
    ChangedRow changed{&a, {}};
    std::vector<Change> digests;
    for (const Column& column : columns_) {
      const auto place = static_cast<std::size_t>(&column - columns_.data());
      if (x[place] == y[place]) continue;
      if (isUntold(0, x[place]) || isUntold(1, y[place])) {
        untold_[x[place] == 0 ? 0 : 1].resize(columns_.size());
        untold_[x[place] == 0 ? 0 : 1][place] = true;
        continue;
      }
      const Change change{column.name, recordOf(0, a, column), recordOf(1, b, column)};
      (column.isDigest ? digests : changed.changes).push_back(change);
    }
    if (changed.changes.empty()) changed.changes = std::move(digests);
    if (!changed.changes.empty()) result.changed.push_back(std::move(changed));
  }

  std::vector<const char*> namesOf(const std::vector<bool>& marked) const {
    std::vector<const char*> names;
    for (std::size_t place = 0; place < marked.size(); ++place) {
      if (marked[place]) names.push_back(columns_[place].name);
    }
    return names;
  }

  const GroupResult* const sides_[2];
  std::vector<Column> columns_;
  NumberTable tables_[2];
  std::vector<bool> untold_[2];  // by column
};

bool isTold(const GroupResult* result) {
  return result && (result->status == Status::Ok || result->status == Status::Absent);
}

void compareGroups(GroupComparison& groups, bool withVolatile) {
  groups.isComparable = isTold(groups.a) && isTold(groups.b);
  if (groups.isComparable) GroupComparer(*groups.a, *groups.b, withVolatile).compare(groups);
}

}  // namespace

bool isVolatile(const kelGroupDef& group, const kelAttribDef& attribute) {
  const AttributeTraits* const traits = attributeTraits(group.id, attribute.id);
  return traits && traits->behaviour == Behaviour::Volatile;
}

bool GroupComparison::differs() const {
  if (!isTold(a) && !isTold(b)) return false;
  const bool isSame = a && b && a->status == b->status;
  return !isSame || !changed.empty() || !removed.empty() || !added.empty() || !untoldInA.empty() ||
         !untoldInB.empty();
}

bool Comparison::differs() const {
  return std::any_of(groups.begin(), groups.end(),
                     [](const GroupComparison& group) { return group.differs(); });
}

Comparison compareScans(const Scan& a, const Scan& b, bool withVolatile) {
  Comparison comparison{a, b, {}};
  std::map<std::string_view, const GroupResult*> ofB;
  for (const GroupResult& result : b.groups) ofB.emplace(result.group->name, &result);
  for (const GroupResult& result : a.groups) {
    const auto found = ofB.find(result.group->name);
    const GroupResult* const other = found == ofB.end() ? nullptr : found->second;
    comparison.groups.push_back({result.group->name, &result, other});
    if (other) ofB.erase(found);
  }
  for (const GroupResult& result : b.groups) {
    if (ofB.contains(result.group->name)) {
      comparison.groups.push_back({result.group->name, nullptr, &result});
    }
  }
  std::stable_sort(comparison.groups.begin(), comparison.groups.end(),
                   [](const GroupComparison& x, const GroupComparison& y) {
                     return placeInCatalogue(*(x.a ? x.a : x.b)->group) <
                            placeInCatalogue(*(y.a ? y.a : y.b)->group);
                   });
  for (GroupComparison& groups : comparison.groups) compareGroups(groups, withVolatile);
  return comparison;
}

std::string labelOf(const kelGroupDef& group, const Row& row) {
  std::vector<std::string> parts;
  const RowNames* const names = findRowNames(group);
  for (const char* name : names ? names->label : std::array<const char*, 2>{}) {
    const kelAttribDef* const attribute = name ? &findAttribute(group, name) : nullptr;
    const kelAttribValue* const record = attribute ? findRecord(row, attribute->id) : nullptr;
    std::string text = record ? plainText(*record) : "";
    if (!text.empty()) parts.push_back(std::move(text));
  }
  if (parts.size() == 2) return printable(parts[0] + " (" + parts[1] + ")");
  return printable(joined(parts, ""));
}

bool isInLabel(const kelGroupDef& group, const kelAttribValue& record) {
  const RowNames* const names = findRowNames(group);
  if (!names) return false;
  const std::string name = attributeName(group, record.attribId);
  return std::any_of(names->label.begin(), names->label.end(),
                     [&](const char* each) { return each && name == each; });
}

}  // namespace invscan::agent
