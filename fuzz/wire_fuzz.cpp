// What a worker sends.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "agent/scan/Wire.h"

namespace {

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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const Message message = firstMessage(bytes);
  const bool isWhole =
      message.kind == Message::Kind::Begin || message.kind == Message::Kind::Answer;
  if (isWhole && (message.size == 0 || message.size > size)) std::abort();
  if (message.payload.size() > message.size) std::abort();

  GroupResult result;
  if (!decodePayload(bytes, result)) return 0;
  if (result.status != Status::Ok && !result.rows.empty()) std::abort();
  if (!(result.milliseconds >= 0)) std::abort();
  std::size_t total = 0;
  for (const Row& row : result.rows) {
    for (const Record& record : row) {
      if (!isConsistent(*record)) std::abort();
      total += record->length;
    }
  }
  if (total > size) std::abort();
  return 0;
}
