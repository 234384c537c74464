// Reads what a scan answered: rows in a range-for, values by the catalogue's names or ids, and for
// a group without a table the reason.
//
//   for (const invscan::RowView& row : invscan::collect("Storage")) {
//     const auto size = row["Total Size"].number();  // std::optional<unsigned long>
//     std::printf("%s: %lu MB\n", row["Model"].text().value_or("?").c_str(), size.value_or(0));
//   }
//
// All of it is compiled into the host, over functions that factory.h, table.h and catalogue.h have;
// a host that reads records itself (table.h) loses nothing. Views point into a table and are valid
// as long as that lives; like the table, they are for one thread at a time.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <invscan/base/String.h>
#include <invscan/catalogue.h>
#include <invscan/collectors.h>
#include <invscan/factory.h>
#include <invscan/group.h>
#include <invscan/table.h>

namespace invscan {

// The row of a catalogue table (GROUPS_DEF, a group's attribs; null is one without rows) that the
// predicate holds for; null when there is none. The lookups of catalogue.h would not do here: in a
// host that has functions of their names, inline code would call the host's.
template <class Definition, class Predicate>
const Definition* findDefinition(const Definition* table, Predicate isMeant) {
  for (; table && table->id != kEndOfTable; ++table) {
    if (isMeant(*table)) return table;
  }
  return nullptr;
}

// One value of a row, or null where the row has none. A value that no source told is often there
// all the same, as an empty text, 0 or the epoch: AttributeTraits::defaultText (traits.h) tells
// which.
class ValueView {
 public:
  ValueView() = default;
  // Null pointers: the catalogue does not know the attribute, the row has no value.
  ValueView(const kelAttribDef* attribute, const kelAttribValue* record)
      : attribute_(attribute), record_(record) {}

  bool isNull() const { return !record_; }
  explicit operator bool() const { return record_; }

  // The catalogue's row of the attribute; null for a name or id that the group does not have.
  const kelAttribDef* attribute() const { return attribute_; }
  // The record, null without a value.
  const kelAttribValue* record() const { return record_; }
  // KEL_STRING and so on; kNoType without a value. It is the type of the value as it was collected,
  // which may be wider than the catalogue's.
  unsigned long type() const { return record_ ? record_->kelType : kNoType; }

  // Any value as UTF-8: a string as it is, octets as upper-case hexadecimal, a date-time as its 26
  // characters, numbers in decimal (a fraction as short as it reads back the same, two words with a
  // blank between them). None without a value or for an unknown type.
  std::optional<std::string> text() const;

  // A whole number that the type asked for can hold, or for a floating-point type any number. None
  // for what is no number, and for a fraction asked for as a whole number. In the unit that
  // traits.h tells.
  template <class Number = unsigned long>
  std::optional<Number> number() const;

  // A date-time in the local time of the machine that was scanned, whole with day of the week and
  // of the year; tm_isdst is -1, so that mktime() tells seconds since the epoch where the process
  // has the same time zone. None for what is no date-time, or one that could not be made.
  std::optional<std::tm> date() const;

  // The catalogue's text for an enumerated number; null when the attribute has no enumeration, or
  // that none for the number.
  const char* meaning() const;

 private:
  template <class Stored>
  Stored stored(std::size_t offset = 0) const {
    Stored value;
    std::memcpy(&value, record_->value + offset, sizeof value);
    return value;
  }
  const char* bytes(std::size_t offset = 0) const {
    return reinterpret_cast<const char*>(record_->value) + offset;
  }
  template <class Number, class Stored>
  static std::optional<Number> converted(Stored value);
  template <class Stored>
  static std::string decimal(Stored value);
  static std::string hexadecimal(std::string_view octets);

  const kelAttribDef* attribute_ = nullptr;
  const kelAttribValue* record_ = nullptr;
};

// One row: its values in their order, and by name or id.
class RowView {
 public:
  // Walks the row, which then stands at its end; a null row is one without values. The group, which
  // may be null, is what names are looked up in.
  RowView(const kelGroupDef* group, KelTableRow* row);

  // The value of an attribute, by its name (exact, as the catalogue has it) or id; null when the
  // row has none, and for an attribute that the group does not have. An attribute that is there
  // twice gives the first.
  ValueView operator[](std::string_view name) const;
  ValueView operator[](unsigned long attribId) const;

  // In a range-for, the values that there are.
  std::vector<ValueView>::const_iterator begin() const { return values_.begin(); }
  std::vector<ValueView>::const_iterator end() const { return values_.end(); }
  std::size_t size() const { return values_.size(); }

 private:
  template <class Predicate>
  const kelAttribDef* definition(Predicate isMeant) const;
  const kelAttribDef* definitionOf(unsigned long attribId) const;

  const kelGroupDef* group_;
  std::vector<ValueView> values_;
};

// The rows of a table in a range-for. A table knows one place of a walk: begin() starts over, and
// of two walks at a time neither would see all rows.
class TableRows {
 public:
  class Iterator {
   public:
    using value_type = RowView;
    using difference_type = std::ptrdiff_t;

    explicit Iterator(KelTable* table) : table_(table) { ++*this; }
    RowView operator*() const { return {table_->getGroupDefinitionFromId(), row_}; }
    Iterator& operator++() {
      row_ = table_ ? table_->getNext() : nullptr;
      return *this;
    }
    void operator++(int) { ++*this; }
    bool operator==(std::default_sentinel_t) const { return !row_; }

   private:
    KelTable* table_;
    KelTableRow* row_ = nullptr;
  };

  // The table is borrowed; null is one without rows.
  explicit TableRows(KelTable* table) : table_(table) {}

  Iterator begin() const {
    if (table_) table_->reset();
    return Iterator(table_);
  }
  std::default_sentinel_t end() const { return {}; }
  unsigned long size() const { return table_ ? table_->getRowCount() : 0; }

 private:
  KelTable* table_;
};

// Whether a group gave a table, or why not.
enum class TableState {
  Collected,     // there is one, maybe without rows
  UnknownGroup,  // the catalogue has no such group
  NoCollector,   // this version of the library does not collect it
  Absent,        // this machine has nothing of the kind, or does not let this process see it
};

// A group's answer; it owns the table.
class GroupTable {
 public:
  // What collect() makes.
  GroupTable(TableState state, std::string group, KelTable* table = nullptr)
      : state_(state), group_(std::move(group)), table_(table) {}

  explicit operator bool() const { return table_ != nullptr; }
  TableState state() const { return state_; }

  // One line for people, such as "SAN Adapter: nothing of the kind on this machine, ..."; empty
  // when there is a table.
  std::string whyNone() const;

  // In a range-for, the rows; none without a table. One walk at a time, as TableRows tells.
  TableRows::Iterator begin() const { return TableRows(table_.get()).begin(); }
  std::default_sentinel_t end() const { return {}; }
  unsigned long size() const { return TableRows(table_.get()).size(); }

  // The table, null without one: borrowed, or for the caller to delete.
  KelTable* get() const { return table_.get(); }
  KelTable* release() { return table_.release(); }

 private:
  TableState state_;
  std::string group_;
  std::unique_ptr<KelTable> table_;
};

// Collects a group of the catalogue, by its name (exact) or id, as GroupFactory::getGroup()
// and KelGroup::getTable() do, with throttle and configuration attributes. The host calls
// GroupFactory::initialise() first: without it, groups that decode the firmware's table are absent.
// May take as long as the group's questions do.
inline GroupTable collect(std::string_view name);
inline GroupTable collect(unsigned long id);
inline GroupTable collect(const kelGroupDef& definition);

// Definitions.

inline std::optional<std::string> ValueView::text() const {
  switch (type()) {
    case KEL_UCHAR:
      return decimal<unsigned>(stored<unsigned char>());
    case KEL_USHORT:
      return decimal(stored<unsigned short>());
    case KEL_ULONG:
    case KEL_ULONGLONG:
      return decimal(stored<unsigned long>());
    case KEL_LONGLONG:
      return decimal(stored<long long>());
    case KEL_UQUAD:
      return decimal(stored<unsigned long>()) + " " +
             decimal(stored<unsigned long>(sizeof(unsigned long)));
    case KEL_FLOAT:
      return decimal(stored<float>());
    case KEL_DOUBLE:
      return decimal(stored<double>());
    case KEL_STRING: {
      const auto count = stored<unsigned long>();
      const auto* const string = reinterpret_cast<const KelString*>(record_->value);
      return String(std::wstring(string->text, count > 0 ? count - 1 : 0)).toNarrow();
    }
    case KEL_OCTETSTRING:
      return hexadecimal({bytes(sizeof(unsigned long)), stored<unsigned long>()});
    case KEL_DATETIME:
      return std::string(bytes(), strnlen(bytes(), kDateTimeSize));
    default:
      return std::nullopt;
  }
}

template <class Number>
std::optional<Number> ValueView::number() const {
  switch (type()) {
    case KEL_UCHAR:
      return converted<Number>(static_cast<unsigned>(stored<unsigned char>()));
    case KEL_USHORT:
      return converted<Number>(stored<unsigned short>());
    case KEL_ULONG:
    case KEL_ULONGLONG:
      return converted<Number>(stored<unsigned long>());
    case KEL_LONGLONG:
      return converted<Number>(stored<long long>());
    case KEL_FLOAT:
      return converted<Number>(stored<float>());
    case KEL_DOUBLE:
      return converted<Number>(stored<double>());
    default:
      return std::nullopt;
  }
}

template <class Number, class Stored>
std::optional<Number> ValueView::converted(Stored value) {
  if constexpr (std::is_floating_point_v<Number>) {
    return static_cast<Number>(value);
  } else if constexpr (std::is_integral_v<Stored>) {
    if (std::in_range<Number>(value)) return static_cast<Number>(value);
  }
  return std::nullopt;
}

inline std::optional<std::tm> ValueView::date() const {
  if (type() != KEL_DATETIME) return std::nullopt;
  // YYYY-MM-DD-HH.MM.SS.000000
  int parts[6];
  const char* place = bytes();
  for (int& part : parts) {
    const char* const end = place + (&part == parts ? 4 : 2);
    const auto [rest, error] = std::from_chars(place, end, part);
    if (error != std::errc() || rest != end || part < 0) return std::nullopt;
    place = end + 1;
  }
  std::tm time{};
  time.tm_year = parts[0] - 1900;
  time.tm_mon = parts[1] - 1;
  time.tm_mday = parts[2];
  time.tm_hour = parts[3];
  time.tm_min = parts[4];
  time.tm_sec = parts[5];
  timegm(&time);  // fills in the day of the week and of the year
  time.tm_isdst = -1;
  return time;
}

inline const char* ValueView::meaning() const {
  const auto value = number<unsigned long>();
  if (!value || !attribute_ || !attribute_->enums) return nullptr;
  for (const kelEnumDef* entry = attribute_->enums; entry->value != kEndOfTable; ++entry) {
    if (entry->value == *value) return entry->text;
  }
  return nullptr;
}

template <class Stored>
std::string ValueView::decimal(Stored value) {
  char buffer[32];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr};
}

inline std::string ValueView::hexadecimal(std::string_view octets) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const char each : octets) {
    const auto octet = static_cast<unsigned char>(each);
    text.append({kDigits[octet >> 4], kDigits[octet & 15]});
  }
  return text;
}

inline RowView::RowView(const kelGroupDef* group, KelTableRow* row) : group_(group) {
  if (!row) return;
  row->reset();
  values_.reserve(row->getNumAttribs());
  for (unsigned long i = 0; i < row->getNumAttribs(); ++i) {
    const KelTableAttrib* const attribute = row->getNext();
    if (!attribute || !attribute->getAttribPtr()) continue;
    values_.emplace_back(definitionOf(attribute->getId()), attribute->getAttribPtr());
  }
}

inline ValueView RowView::operator[](std::string_view name) const {
  const kelAttribDef* const attribute =
      definition([name](const kelAttribDef& each) { return name == each.name; });
  return attribute ? (*this)[attribute->id] : ValueView();
}

inline ValueView RowView::operator[](unsigned long attribId) const {
  for (const ValueView& value : values_) {
    if (value.record()->attribId == attribId) return value;
  }
  return {definitionOf(attribId), nullptr};
}

template <class Predicate>
const kelAttribDef* RowView::definition(Predicate isMeant) const {
  return findDefinition(group_ ? group_->attribs : nullptr, isMeant);
}

inline const kelAttribDef* RowView::definitionOf(unsigned long attribId) const {
  return definition([attribId](const kelAttribDef& each) { return each.id == attribId; });
}

inline std::string GroupTable::whyNone() const {
  switch (state_) {
    case TableState::Collected:
      return "";
    case TableState::UnknownGroup:
      return group_ + ": the catalogue has no such group";
    case TableState::NoCollector:
      return group_ + ": this version of the library has no collector for it";
    case TableState::Absent:
      return group_ + ": nothing of the kind on this machine, or nothing that this process may see";
  }
  return "";
}

inline GroupTable collect(const kelGroupDef& definition) {
  const Collector* const collector = findCollector(definition.id);
  const std::unique_ptr<KelGroup> group(
      collector ? GroupFactory::getInstance()->getGroup(definition.name) : nullptr);
  if (!group) return {TableState::NoCollector, definition.name};
  KelTable* const table = group->getTable();
  return {table ? TableState::Collected : TableState::Absent, definition.name, table};
}

inline GroupTable collect(std::string_view name) {
  const kelGroupDef* const group =
      findDefinition(GROUPS_DEF, [name](const kelGroupDef& each) { return name == each.name; });
  return group ? collect(*group) : GroupTable(TableState::UnknownGroup, std::string(name));
}

inline GroupTable collect(unsigned long id) {
  const kelGroupDef* const group =
      findDefinition(GROUPS_DEF, [id](const kelGroupDef& each) { return each.id == id; });
  return group ? collect(*group) : GroupTable(TableState::UnknownGroup, std::to_string(id));
}

}  // namespace invscan
