#include "agent/saved/SavedScan.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

#include <invscan/print.h>

#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/formats/Json.h"
#include "agent/formats/Value.h"
#include "agent/reasons/Reasons.h"
#include "agent/saved/SavedValue.h"
#include "base/Descriptor.h"
#include "base/RegularFile.h"

namespace invscan::agent {
namespace {

// Bounds on what a file can make this process hold: a scan of a hundred thousand rows needs a
// third.
constexpr std::size_t kMostBytes = 128 << 20;
constexpr std::size_t kMostValues = 8 << 20;
constexpr std::size_t kMostCells = 16 << 20;  // of a group, also those that rows do not have
constexpr std::size_t kMostStrangers = 1000;  // groups; attributes of one
constexpr int kDeepest = 100;

// Groups and attributes that the catalogue does not have, as rows of its kind.
struct Strangers {
  std::deque<std::string> names;
  std::deque<std::vector<kelAttribDef>> attributes;
  std::deque<kelGroupDef> groups;

  const char* keep(const std::string& name) { return names.emplace_back(name).c_str(); }
};

// Is told what stands in the text from front to back, and builds the scan of it.
class Reader : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit Reader(std::string_view json) : json_(json) { scan_.time = LONG_MAX; }

  Scan take() {
    if (!(seen_ & bitOf("groups"))) fail("has no groups");
    std::stable_sort(scan_.groups.begin(), scan_.groups.end(), comesBefore);
    scan_.isSaved = true;
    scan_.definitions = std::move(strangers_);
    return std::move(scan_);
  }

  bool null() override { return value(nullptr); }
  bool boolean(bool each) override { return value(each); }
  bool number_integer(std::int64_t each) override { return value(each); }
  bool number_unsigned(std::uint64_t each) override { return value(each); }
  bool number_float(double each, const std::string& /*spelt*/) override { return value(each); }
  bool string(std::string& each) override { return value(std::move(each)); }
  bool binary(binary_t& /*bytes*/) override { return false; }

  bool start_object(std::size_t /*size*/) override {
    if (inside_ > 0) return deeper('{');
    if (place_ == Place::Outside) {
      place_ = Place::Scan;
    } else if (place_ == Place::Scan && key_ == "groups") {
      once(seen_, key_);
      place_ = Place::Groups;
    } else if (place_ == Place::Groups) {
      beginGroup();
    } else if (place_ == Place::Rows) {
      count();
      result().rows.emplace_back();
      place_ = Place::Row;
    } else {
      return enter('{');
    }
    return true;
  }

  bool end_object() override {
    if (inside_ > 0) return leave('}');
    if (place_ == Place::Group) endGroup();
    place_ = static_cast<Place>(static_cast<int>(place_) - 1);
    return true;
  }

  bool start_array(std::size_t /*size*/) override {
    if (inside_ > 0) return deeper('[');
    if (place_ != Place::Group || key_ != "rows") return enter('[');
    once(seenOfGroup_, key_);
    place_ = Place::Rows;
    return true;
  }

  bool end_array() override {
    if (inside_ > 0) return leave(']');
    place_ = Place::Group;
    return true;
  }

  bool key(std::string& name) override {
    if (inside_ > 0) {
      separate();
      appendJsonString(nested_, name);
      nested_ += ": ";
      isFirst_ = true;
      return true;
    }
    key_ = std::move(name);
    if (place_ == Place::Row) findColumn();
    return true;
  }

  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::detail::exception& /*error*/) override {
    const std::string_view read = json_.substr(0, position);
    throw Failure("line " + std::to_string(1 + std::count(read.begin(), read.end(), '\n')) +
                  ": not valid JSON");
  }

 private:
  // Each is inside the one before it, but for a row's end, which is the rows' again.
  enum class Place { Outside, Scan, Groups, Group, Rows, Row };

  struct Column {
    unsigned long id;
    unsigned long type;
    std::size_t lastRow = 0;  // that has it, counted from 1
  };

  static bool comesBefore(const GroupResult& a, const GroupResult& b) {
    return placeInCatalogue(*a.group) < placeInCatalogue(*b.group);
  }

  GroupResult& result() { return scan_.groups.back(); }

  [[noreturn]] void fail(const std::string& problem) const {
    std::string place;
    if (place_ >= Place::Group) place = group_;
    if (place_ == Place::Row) place += ", row " + std::to_string(scan_.groups.back().rows.size());
    if (place_ >= Place::Scan && !key_.empty()) {
      place += (place.empty() ? "\"" : ", \"") + key_.substr(0, 100) + "\"";
    }
    throw Failure((place.empty() ? "" : place + ": ") + problem);
  }

  // Names are shown as they are, in every form.
  void checkName() const {
    if (key_.empty() || printable(key_) != key_) fail("not a name");
  }

  void count() {
    if (++values_ > kMostValues) fail("more values than any scan has");
  }

  // A bit for each member that is read, of a group or of the whole; 0 for others.
  unsigned bitOf(std::string_view name) const {
    constexpr std::string_view kOfScan = " invscan hostname time duration_ms groups ";
    constexpr std::string_view kOfGroup = " id version status trouble incomplete duration_ms rows ";
    const std::string_view all = place_ < Place::Group ? kOfScan : kOfGroup;
    const std::size_t found = all.find(" " + std::string(name) + " ");
    if (found == all.npos || name.find(' ') != name.npos) return 0;
    return 1U << std::count(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(found), ' ');
  }

  void once(unsigned& seen, std::string_view name) {
    const unsigned bit = bitOf(name);
    if (seen & bit) fail("stands there twice");
    seen |= bit;
  }

  std::string textOf(Scalar& value) const {
    auto* const text = std::get_if<std::string>(&value);
    if (!text) fail("not a text");
    return std::move(*text);
  }

  std::uint64_t countOf(const Scalar& value) const {
    const auto* const count = std::get_if<std::uint64_t>(&value);
    if (!count) fail("not a whole number");
    return *count;
  }

  double millisecondsOf(const Scalar& value) const {
    const std::optional<double> real = realIn(value);
    if (!real || !(*real >= 0)) fail("not a duration");
    return *real;
  }

  bool value(Scalar each) {
    count();
    if (inside_ > 0) {
      separate();
      appendScalar(nested_, each);
      return true;
    }
    switch (place_) {
      case Place::Outside:
        fail("not a scan");
      case Place::Scan:
        takeOfScan(each);
        break;
      case Place::Groups:
      case Place::Rows:
        fail("not an object");
      case Place::Group:
        takeOfGroup(each);
        break;
      case Place::Row:
        takeOfRow(each);
    }
    return true;
  }

  void takeOfScan(Scalar& value) {
    once(seen_, key_);
    if (key_ == "groups") fail("not an object");
    if (key_ == "invscan") textOf(value);
    if (key_ == "hostname") {
      scan_.hostName = textOf(value);
    } else if (key_ == "duration_ms") {
      scan_.milliseconds = millisecondsOf(value);
    } else if (key_ == "time" && !std::holds_alternative<std::nullptr_t>(value)) {
      const std::optional<long> seconds = secondsIn(textOf(value));
      if (!seconds) fail("not a time such as 2026-11-21T06:24:00Z");
      scan_.time = *seconds;
    }
  }

  void takeOfGroup(Scalar& value) {
    once(seenOfGroup_, key_);
    if (key_ == "rows") fail("not a list");
    if (key_ == "id") id_ = countOf(value);
    if (key_ == "version") version_ = countOf(value);
    if (key_ == "status") status_ = textOf(value);
    if (key_ == "duration_ms") result().milliseconds = millisecondsOf(value);
    if (key_ == "trouble" || key_ == "incomplete") result().trouble = textOf(value);
  }

  void takeOfRow(const Scalar& value) {
    std::vector<Record>& row = result().rows.back();
    if (!column_) return takeMeaning(row, value);
    const bool isStranger = column_->id > known_;
    const unsigned long type = isStranger ? typeOfStranger(value) : column_->type;
    if (isStranger && std::holds_alternative<std::nullptr_t>(value)) return;
    const auto* const yes = std::get_if<bool>(&value);
    Record record = isStranger && yes ? makeTextRecord(column_->id, *yes ? "true" : "false")
                                      : recordOf(column_->id, type, value);
    if (!record) fail(std::string("not a value of type ") + getKelAttribTypeAsString(type));
    column_->type = type;
    row.push_back(std::move(record));
  }

  // A date that nobody told is another one in each time zone.
  void takeMeaning(Row& row, const Scalar& value) {
    const auto* const text = std::get_if<std::string>(&value);
    const bool isUnknown = text && *text == kUnknownText;
    if (!isUnknown || row.empty() || row.back()->attribId != explained_->id) return;
    if (explained_->type != KEL_DATETIME) return;
    row.back() = makeRecord(explained_->id, KEL_DATETIME, epochText());
  }

  // A list or object that no value is: nothing known, or a stranger's value.
  bool enter(char bracket) {
    const bool isRead = bitOf(key_) != 0 && (place_ == Place::Scan || place_ == Place::Group);
    if (isRead) fail("neither a text nor a number");
    if (place_ == Place::Row && column_ && column_->id <= known_) {
      fail(std::string("not a value of type ") + getKelAttribTypeAsString(column_->type));
    }
    if (place_ == Place::Outside || place_ == Place::Groups || place_ == Place::Rows) {
      fail("not an object");
    }
    nested_.clear();
    isFirst_ = true;
    return deeper(bracket);
  }

  bool deeper(char bracket) {
    count();
    if (inside_ > 0) separate();
    if (++inside_ > kDeepest) fail("deeper than any scan");
    nested_ += bracket;
    isFirst_ = true;
    return true;
  }

  bool leave(char bracket) {
    nested_ += bracket;
    isFirst_ = false;
    if (--inside_ == 0 && place_ == Place::Row) takeOfRow(Scalar(std::move(nested_)));
    return true;
  }

  void separate() {
    if (!isFirst_) nested_ += ", ";
    isFirst_ = false;
  }

  void beginGroup() {
    if (!groups_.insert(key_).second) fail("stands there twice");
    if (groups_.size() > kMostStrangers) fail("more groups than any scan has");
    checkName();
    group_ = key_;
    scan_.groups.emplace_back();
    place_ = Place::Group;
    key_.clear();
    seenOfGroup_ = 0;
    id_ = version_ = 0;
    status_.clear();
    columns_.clear();
    const auto& all = allGroups();
    const auto known = std::find_if(
        all.begin(), all.end(), [this](const kelGroupDef* each) { return group_ == each->name; });
    result().group = known == all.end() ? nullptr : *known;
    if (result().group) {
      for (const kelAttribDef* each : attributesOf(*result().group)) {
        columns_.emplace(each->name, Column{each->id, each->type});
      }
    }
    known_ = columns_.size();
  }

  void findColumn() {
    constexpr std::string_view kText = " text";
    const std::size_t row = result().rows.size();
    auto found = columns_.find(key_);
    if (found == columns_.end()) {
      if (key_.ends_with(kText)) {
        const auto of = columns_.find(key_.substr(0, key_.size() - kText.size()));
        if (of != columns_.end() && of->second.id <= known_) {
          column_ = nullptr;
          explained_ = &of->second;
          return;
        }
      }
      checkName();
      const std::size_t id = columns_.size() + 1;
      if (id - known_ > kMostStrangers) fail("more attributes than any group has");
      found = columns_.emplace(key_, Column{id, KEL_STRING}).first;
    }
    if (std::exchange(found->second.lastRow, row) == row) fail("stands there twice");
    column_ = &found->second;
  }

  void endGroup() {
    key_.clear();
    if (!(seenOfGroup_ & bitOf("status"))) fail("has no status");
    if (result().rows.size() > kMostCells / std::max<std::size_t>(columns_.size(), 1))
      fail("more values than any scan has");
    setStatus();
    if (!result().group || columns_.size() > known_) result().group = defineGroup();
    if (result().status != Status::Ok) result().rows.clear();
  }

  void setStatus() {
    GroupResult& group = result();
    const auto* const named = std::find(std::begin(kStatusNames), std::end(kStatusNames), status_);
    group.status = static_cast<Status>(named - std::begin(kStatusNames));
    if (named == std::end(kStatusNames)) {
      group.status = Status::Unsupported;
      group.trouble = "status \"" + status_ + "\", which this version does not know" +
                      (group.trouble.empty() ? "" : ": ") + group.trouble;
    }
    group.obstacle = obstacleIn({"", group.trouble, 0});
    const bool isPartial = group.status == Status::Ok && !group.trouble.empty();
    if (group.status == Status::Denied || (isPartial && group.obstacle == Obstacle::None)) {
      group.obstacle = Obstacle::Denied;
    }
  }

  const kelGroupDef* defineGroup() {
    std::vector<kelAttribDef>& attributes = strangers_->attributes.emplace_back();
    const kelGroupDef* const known = result().group;
    for (const kelAttribDef* each :
         known ? attributesOf(*known) : std::vector<const kelAttribDef*>()) {
      attributes.push_back(*each);
    }
    std::vector<kelAttribDef> others;
    for (const auto& [name, column] : columns_) {
      if (column.id > known_) {
        others.push_back({column.id, strangers_->keep(name), column.type, 0, nullptr});
      }
    }
    std::sort(others.begin(), others.end(),
              [](const kelAttribDef& a, const kelAttribDef& b) { return a.id < b.id; });
    attributes.insert(attributes.end(), others.begin(), others.end());
    attributes.push_back({kEndOfTable, nullptr, 0, 0, nullptr});
    kelGroupDef& group = strangers_->groups.emplace_back();
    if (known) {
      group = *known;
    } else {
      group.name = strangers_->keep(group_);
      // Its number may be another group's here, of which traits are known.
      group.id = getGroupDefinitionFromId(id_) ? 0 : id_;
      group.version = version_;
    }
    group.attribs = attributes.data();
    return &group;
  }

  const std::string_view json_;
  Scan scan_;
  std::shared_ptr<Strangers> strangers_ = std::make_shared<Strangers>();
  std::set<std::string> groups_;
  std::size_t values_ = 0;
  unsigned seen_ = 0, seenOfGroup_ = 0;

  Place place_ = Place::Outside;
  std::string key_;

  // Of the group that is being read.
  std::string group_, status_;
  unsigned long id_ = 0, version_ = 0;
  std::map<std::string, Column, std::less<>> columns_;
  std::size_t known_ = 0;  // the catalogue's attributes, whose ids are the first
  // Of the value; null where it says in words what another attribute's says.
  Column* column_ = nullptr;
  const Column* explained_ = nullptr;

  // Of a list or object that is no part of a scan's form, as JSON.
  int inside_ = 0;
  bool isFirst_ = true;
  std::string nested_;
};

std::string read(const std::string& name) {
  std::string text;
  const int number = descriptorNamedBy(name);
  int error = 0;
  if (number < 0) {
    error = readRegularFile(name, kMostBytes, text);
  } else if (!readAll(number, text, kMostBytes + 1)) {
    error = errno;
  } else if (text.size() > kMostBytes) {
    error = EFBIG;
  }
  if (error == EFBIG) throw Failure("larger than 128 MiB, which no scan is");
  if (error) throw Failure(regularFileError(error));
  return text;
}

}  // namespace

bool isSavedScan(const std::string& name) {
  if (name.empty()) return false;
  struct stat status {};
  return stat(name.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

Scan parseSavedScan(std::string_view json) {
  Reader reader(json);
  nlohmann::json::sax_parse(json, &reader);
  return reader.take();
}

Scan readSavedScan(const std::string& name) try {
  return parseSavedScan(read(name));
} catch (const Failure& failure) {
  throw Failure(name + ": " + failure.what() +
                "; a machine is the directory of a capture, or a file that \"invscan --format "
                "json\" wrote");
}

}  // namespace invscan::agent
