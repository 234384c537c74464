#include <invscan/table.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include <invscan/print.h>

#include "invscan/com/model/DestroyedField.h"

namespace {

static_assert(offsetof(kelAttribValue, value) == 24 && offsetof(KelString, text) == 8,
              "hosts read records byte for byte");

// A record whose value area is zero.
kelAttribValue* newRecord(unsigned long attribId, unsigned long type, unsigned long valueSize) {
  const unsigned long length = sizeof(kelAttribValue) + valueSize;
  auto* record = reinterpret_cast<kelAttribValue*>(new unsigned char[length]());
  record->length = length;
  record->attribId = attribId;
  record->kelType = type;
  return record;
}

template <class Value>
kelAttribValue* newScalar(unsigned long attribId, unsigned long type, const Value& value) {
  kelAttribValue* record = newRecord(attribId, type, sizeof value);
  std::memcpy(record->value, &value, sizeof value);
  return record;
}

kelAttribValue* newString(unsigned long attribId, const char* text) {
  kelAttribValue* record = newRecord(attribId, KEL_STRING, SizeAsKelString(text));
  unsigned long offset = 0;
  StringToKelString(text, reinterpret_cast<KelString*>(record->value), text ? std::strlen(text) : 0,
                    &offset, &offset);
  return record;
}

kelAttribValue* newOctets(unsigned long attribId, const unsigned char* bytes, unsigned long count) {
  kelAttribValue* record = newRecord(attribId, KEL_OCTETSTRING, sizeof count + count);
  std::memcpy(record->value, &count, sizeof count);
  std::copy_n(bytes, count, record->value + sizeof count);
  return record;
}

kelAttribValue* newDateTime(unsigned long attribId, long time) {
  kelAttribValue* record = newRecord(attribId, KEL_DATETIME, kDateTimeSize);
  TimeToKelDateTime(time, reinterpret_cast<char*>(record->value));
  return record;
}

}  // namespace

KelTableAttrib::KelTableAttrib(unsigned long attribId, unsigned char value)
    : record_(newScalar(attribId, KEL_UCHAR, value)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, unsigned short value)
    : record_(newScalar(attribId, KEL_USHORT, value)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, unsigned long value)
    : record_(newScalar(attribId, KEL_ULONG, value)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, const _uquad& value)
    : record_(newScalar(attribId, KEL_UQUAD, value)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, float value)
    : record_(newScalar(attribId, KEL_FLOAT, value)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, double value)
    : record_(newScalar(attribId, KEL_DOUBLE, value)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, const char* text)
    : record_(newString(attribId, text)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, const std::string& text)
    : record_(newString(attribId, text.c_str())) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, const unsigned char* bytes,
                               unsigned long count)
    : record_(newOctets(attribId, bytes, count)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, long time)
    : record_(newDateTime(attribId, time)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, unsigned long long value)
    : record_(newScalar(attribId, KEL_ULONGLONG, value)) {
}

KelTableAttrib::KelTableAttrib(unsigned long attribId, long long value)
    : record_(newScalar(attribId, KEL_LONGLONG, value)) {
}

KelTableAttrib::~KelTableAttrib() {
  delete[] reinterpret_cast<unsigned char*>(record_);
  invscan::clearDestroyed(record_);
}

unsigned long KelTableAttrib::getId() const {
  return record_ ? record_->attribId : 0;
}

unsigned long KelTableAttrib::getType() const {
  return record_ ? record_->kelType : kNoType;
}

const kelAttribValue* KelTableAttrib::getAttribPtr() const {
  return record_;
}

void KelTableAttrib::toString() const {
  PrintKelAttribValue(record_);
}
