// What a worker sends.
#include <cstring>

#include "FuzzTarget.h"
#include "agent/scan/Wire.h"

namespace {

using namespace invscan;
using namespace invscan::agent;

// Reads all that a formatter might read, for the sanitizer to judge.
bool isConsistent(const kelAttribValue& record) {
  unsigned long sum = 0;
  for (unsigned long i = 0; i < record.length - sizeof(record); ++i) sum += record.value[i];
  unsigned long count = 0;
  if (record.kelType == KEL_STRING || record.kelType == KEL_OCTETSTRING) {
    std::memcpy(&count, record.value, sizeof(count));
  }
  if (record.kelType == KEL_OCTETSTRING && count > 0) sum += record.value[7 + count];
  if (record.kelType == KEL_STRING) {
    const auto& text = reinterpret_cast<const KelString&>(record.value);
    if (text.text[count - 1] != 0) return false;
  }
  return record.kelType >= KEL_UCHAR && record.kelType <= KEL_LONGLONG &&
         sum <= 256 * record.length;
}

}  // namespace

void invscan::tryInput(std::string_view bytes) {
  const Message message = firstMessage(bytes);
  const bool isWhole =
      message.kind != Message::Kind::Partial && message.kind != Message::Kind::TooLarge;
  require(!isWhole || (message.size > 0 && message.size <= bytes.size()));
  require(message.payload.size() <= message.size);

  GroupResult result;
  if (!decodePayload(bytes, result)) return;
  require(result.status == Status::Ok || result.rows.empty());
  require(result.milliseconds >= 0);
  std::size_t total = 0;
  for (const Row& row : result.rows) {
    for (const Record& record : row) {
      require(isConsistent(*record));
      total += record->length;
    }
  }
  require(total <= bytes.size());
}
