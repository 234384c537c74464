#include "agent/scan/Wire.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#include "base/Descriptor.h"

namespace invscan::agent {
namespace {

constexpr unsigned long kNoTable = 0;
constexpr unsigned long kTable = 1;
constexpr unsigned long kBeginMark = 1ul << 63;
constexpr unsigned long kWaitMark = ~0ul;

template <class Number>
void append(std::string& payload, Number number) {
  static_assert(sizeof(Number) == sizeof(unsigned long));
  payload.append(reinterpret_cast<const char*>(&number), sizeof(number));
}

void append(std::string& payload, const std::string& text) {
  append(payload, text.size());
  payload += text;
}

// Attributes that are null or have no record count as none.
void append(std::string& payload, KelTableRow& row) {
  std::string records;
  unsigned long count = 0;
  row.reset();
  for (unsigned long i = 0; i < row.getNumAttribs(); ++i) {
    const KelTableAttrib* const attrib = row.getNext();
    const kelAttribValue* const record = attrib ? attrib->getAttribPtr() : nullptr;
    if (!record) continue;
    records.append(reinterpret_cast<const char*>(record), record->length);
    ++count;
  }
  append(payload, count);
  payload += records;
}

void append(std::string& payload, KelTable& table) {
  append(payload, table.getRowCount());
  table.reset();
  while (KelTableRow* const row = table.getNext()) append(payload, *row);
}

template <class Number>
Number numberAt(std::string_view bytes, std::size_t offset) {
  Number number;
  std::memcpy(&number, bytes.data() + offset, sizeof(number));
  return number;
}

Record copyOf(const void* record, std::size_t length) {
  auto* const copy = new unsigned char[length];
  std::memcpy(copy, record, length);
  return Record(reinterpret_cast<kelAttribValue*>(copy));
}

bool isSaneString(std::string_view area) {
  constexpr std::size_t kText = sizeof(KelString);
  if (area.size() < kText) return false;
  const auto count = numberAt<unsigned long>(area, 0);
  return count >= 1 && count <= (area.size() - kText) / sizeof(wchar_t) &&
         numberAt<wchar_t>(area, kText + (count - 1) * sizeof(wchar_t)) == 0;
}

bool isSaneOctetString(std::string_view area) {
  constexpr std::size_t kBytes = sizeof(unsigned long);
  return area.size() >= kBytes && numberAt<unsigned long>(area, 0) <= area.size() - kBytes;
}

bool isSaneValue(unsigned long kelType, std::string_view area) {
  constexpr std::size_t kCounted = 0;
  constexpr std::size_t kSizes[] = {0, 1, 2, 8, 16, 4, 8, kCounted, kCounted, 26, 8, 8};
  if (kelType < KEL_UCHAR || kelType > KEL_LONGLONG) return false;
  if (kelType == KEL_STRING) return isSaneString(area);
  if (kelType == KEL_OCTETSTRING) return isSaneOctetString(area);
  return area.size() == kSizes[kelType];
}

// Takes a payload apart from front to back. What is not there, or makes no sense, reads as zero or
// nothing and spoils the reader for good.
class Reader {
 public:
  explicit Reader(std::string_view payload) : rest_(payload) {}

  bool isSane() const { return isSane_; }
  bool isAtEnd() const { return isSane_ && rest_.empty(); }

  template <class Number = unsigned long>
  Number number() {
    const std::string_view bytes = take(sizeof(Number));
    return bytes.empty() ? Number{} : numberAt<Number>(bytes, 0);
  }

  std::string text() { return std::string(take(number())); }

  Record record() {
    constexpr std::size_t kHead = sizeof(kelAttribValue);
    const auto length = rest_.size() < kHead ? 0 : numberAt<unsigned long>(rest_, 0);
    const std::string_view bytes = take(length);
    if (bytes.size() < kHead) return spoil();
    const auto kelType = numberAt<unsigned long>(bytes, offsetof(kelAttribValue, kelType));
    return isSaneValue(kelType, bytes.substr(kHead)) ? copyOf(bytes.data(), length) : spoil();
  }

  // As many items as the next word says, each read by the function.
  template <class Item>
  std::vector<Item> list(Item (*readItem)(Reader&)) {
    std::vector<Item> items;
    for (auto left = number(); left > 0 && isSane_; --left) items.push_back(readItem(*this));
    return items;
  }

 private:
  std::string_view take(std::size_t size) {
    if (size > rest_.size()) isSane_ = false;
    if (!isSane_) return {};
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  std::nullptr_t spoil() {
    isSane_ = false;
    return nullptr;
  }

  std::string_view rest_;
  bool isSane_ = true;
};

Record readRecord(Reader& reader) {
  return reader.record();
}

Row readRow(Reader& reader) {
  return reader.list(readRecord);
}

Access readAccess(Reader& reader) {
  Access access;
  access.source = reader.text();
  access.outcome = reader.text();
  access.milliseconds = reader.number<double>();
  return access;
}

}  // namespace

std::string encodePayload(KelTable* table, double milliseconds,
                          const std::vector<Access>& accesses) {
  std::string payload;
  append(payload, table ? kTable : kNoTable);
  append(payload, milliseconds);
  if (table) append(payload, *table);
  append(payload, accesses.size());
  for (const Access& access : accesses) {
    append(payload, access.source);
    append(payload, access.outcome);
    append(payload, access.milliseconds);
  }
  return payload;
}

bool Outbox::begin(std::size_t job) {
  append(waiting_, kBeginMark | job);
  return send();
}

bool Outbox::wait() {
  append(waiting_, kWaitMark);
  return send();
}

void Outbox::answer(const std::string& payload) {
  append(waiting_, payload);
}

bool Outbox::send() {
  const std::string messages = std::move(waiting_);
  waiting_.clear();
  return writeAll(descriptor_, messages);
}

Message firstMessage(std::string_view bytes) {
  using Kind = Message::Kind;
  constexpr std::size_t kHead = sizeof(unsigned long);
  if (bytes.size() < kHead) return {Kind::Partial};
  const auto head = numberAt<unsigned long>(bytes, 0);
  if (head == kWaitMark) return {Kind::Wait, kHead};
  if (head & kBeginMark) return {Kind::Begin, kHead, head & ~kBeginMark};
  if (head > kPayloadLimit) return {Kind::TooLarge};
  if (bytes.size() - kHead < head) return {Kind::Partial};
  return {Kind::Answer, kHead + head, 0, bytes.substr(kHead, head)};
}

bool decodePayload(std::string_view payload, GroupResult& result) {
  Reader reader(payload);
  const auto status = reader.number();
  const auto milliseconds = reader.number<double>();
  const bool isTime = std::isfinite(milliseconds) && milliseconds >= 0;
  if ((status != kNoTable && status != kTable) || !isTime) return false;
  std::vector<Row> rows;
  if (status == kTable) rows = reader.list(readRow);
  std::vector<Access> accesses = reader.list(readAccess);
  if (!reader.isAtEnd()) return false;

  result.status = status == kTable ? Status::Ok : Status::Absent;
  result.milliseconds = milliseconds;
  result.rows = std::move(rows);
  result.accesses = std::move(accesses);
  return true;
}

}  // namespace invscan::agent
