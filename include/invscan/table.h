// What a collector answers with: a KelTable of KelTableRows of KelTableAttribs, each attribute one
// typed value in a self-describing record.
//
// Ownership: a table owns its rows, a row its attributes, an attribute its record; adding hands
// over. A table that a group returned belongs to the caller, who deletes it. None of the three
// classes can be copied, has virtual functions or is safe for concurrent use.
#pragma once

#include <ctime>
#include <string>

#include <invscan/catalogue.h>
#include <invscan/export.h>

// Both record types end in an array of unstated length, which compilers warn about when pedantic.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"

// A stored string: how many characters there are, the terminating 0 included, and the characters.
struct KelString {
  unsigned long count;
  wchar_t text[];
};

// The value of a KEL_UQUAD.
struct _uquad {
  unsigned long first;
  unsigned long second;
};

// One value: the exchange format between the library and its host, little-endian and unpadded.
// length counts the whole record. The value area holds, by kelType:
//   KEL_UCHAR 1 byte, KEL_USHORT 2, KEL_FLOAT 4, KEL_ULONG, KEL_DOUBLE, KEL_ULONGLONG and
//   KEL_LONGLONG 8, KEL_UQUAD two words in the order given, KEL_DATETIME 26 characters without
//   terminator, KEL_STRING a KelString, KEL_OCTETSTRING an 8-byte count and then the bytes.
// A string's record has room for one character per byte of its narrow text, so with multi-byte text
// it is longer than the string: find the end by the count, never by the length.
struct kelAttribValue {
  unsigned long length;
  unsigned long attribId;
  unsigned long kelType;
  unsigned char value[];
};

#pragma GCC diagnostic pop

// What KelTableAttrib::getType() returns when there is no record.
inline constexpr unsigned long kNoType = 0x80000000;

// Characters of a KEL_DATETIME.
inline constexpr unsigned long kDateTimeSize = 26;

// One attribute. The overload chosen is the value's type: pass a time as long and a count as
// unsigned long. Types without an overload (int, unsigned, short, bool) do not compile.
class INVSCAN_EXPORT KelTableAttrib {
 public:
  KelTableAttrib(unsigned long attribId, unsigned char value);
  KelTableAttrib(unsigned long attribId, unsigned short value);
  KelTableAttrib(unsigned long attribId, unsigned long value);
  KelTableAttrib(unsigned long attribId, const _uquad& value);
  KelTableAttrib(unsigned long attribId, float value);
  KelTableAttrib(unsigned long attribId, double value);
  // Narrow text in the encoding of the process's locale; null makes an empty string, and so does a
  // text that is not valid in that encoding.
  KelTableAttrib(unsigned long attribId, const char* text);
  KelTableAttrib(unsigned long attribId, const std::string& text);
  KelTableAttrib(unsigned long attribId, const unsigned char* bytes, unsigned long count);
  // A time in seconds since the epoch; makes a KEL_DATETIME in local time.
  KelTableAttrib(unsigned long attribId, long time);
  KelTableAttrib(unsigned long attribId, unsigned long long value);
  KelTableAttrib(unsigned long attribId, long long value);
  ~KelTableAttrib();
  KelTableAttrib(const KelTableAttrib&) = delete;
  KelTableAttrib& operator=(const KelTableAttrib&) = delete;

  unsigned long getId() const;    // 0 without a record
  unsigned long getType() const;  // kNoType without a record
  // The record, valid as long as the attribute.
  const kelAttribValue* getAttribPtr() const;
  // Prints the record with PrintKelAttribValue (print.h) to standard output.
  void toString() const;

 private:
  kelAttribValue* record_;
};

// One row: attributes in the order in which they were added.
class INVSCAN_EXPORT KelTableRow {
 public:
  KelTableRow();
  ~KelTableRow();
  KelTableRow(const KelTableRow&) = delete;
  KelTableRow& operator=(const KelTableRow&) = delete;

  // Appends; always returns 1. A null pointer is appended and counted too: hosts find an attribute
  // by its place in the row, and leave a place empty in this way.
  int addAttrib(KelTableAttrib* attrib);
  unsigned long getNumAttribs() const;

  // Goes before the first attribute again; returns 1.
  int reset();
  // The next attribute; null at the end, and from then on until reset(). A null attribute reads the
  // same as the end: walk by getNumAttribs().
  KelTableAttrib* getNext();

  // Prints count and attributes to standard output.
  void toString() const;

 private:
  struct Node;
  unsigned long count_ = 0;
  Node* head_ = nullptr;
  Node* tail_ = nullptr;
  Node* cursor_ = nullptr;
};

// One group's answer.
class INVSCAN_EXPORT KelTable {
 public:
  // An empty table, stamped with the machine's current time. The definitions, GROUPS_DEF unless
  // given, are borrowed and must outlive the table.
  KelTable(unsigned long id, unsigned long version);
  KelTable(const kelGroupDef* definitions, unsigned long id, unsigned long version);
  ~KelTable();
  KelTable(const KelTable&) = delete;
  KelTable& operator=(const KelTable&) = delete;

  // Appends and returns 1; a null row is refused with 0.
  int addRow(KelTableRow* row);

  // The walk over rows does as a row's over attributes.
  int reset();
  KelTableRow* getNext();

  unsigned long getRowCount() const;
  unsigned long getGroupId() const;
  unsigned long getGroupVersion() const;
  // Seconds since the epoch at which the table was made.
  time_t getTimeStamp() const;
  // The definitions tell these; "Unknown" and null when they do not have the id.
  const char* getGroupName() const;
  const kelGroupDef* getGroupDefinitionFromId() const;

  // Prints header, row count and rows to standard output.
  void toString() const;

  // The machine's current time in seconds since the epoch.
  static time_t createTimeStap();

 private:
  struct Node;
  unsigned long version_;
  unsigned long id_;
  const kelGroupDef* definitions_;
  Node* head_ = nullptr;
  Node* tail_ = nullptr;
  Node* cursor_ = nullptr;
  unsigned long rowCount_ = 0;
  time_t timeStamp_;
};

static_assert(sizeof(KelTableAttrib) == 8 && sizeof(KelTableRow) == 32 && sizeof(KelTable) == 64,
              "sizes are part of the exchange format");

extern "C" {

// Bytes that a stored string takes: 4 per character, terminator included, and 8 for the count.
INVSCAN_EXPORT unsigned long SizeofKelString(const KelString* string);

// Bytes to reserve before a narrow text is converted: 4 per byte and 12; 12 for null and empty.
INVSCAN_EXPORT unsigned long SizeAsKelString(const char* text);

// Converts a narrow text by the process's locale into destination, which has room for limit + 1
// characters behind its count word. At most limit characters are converted. A null, empty or
// invalid text makes an empty string. Then previousOffset becomes offset, and offset grows by the
// size of the stored string, which is returned: so several strings can be packed into one buffer.
// The two may be the same variable.
INVSCAN_EXPORT unsigned long StringToKelString(const char* text, KelString* destination,
                                               unsigned long limit, unsigned long* offset,
                                               unsigned long* previousOffset);

// Writes 26 characters YYYY-MM-DD-HH.MM.SS.000000, local time as of the last tzset(), without
// terminator. When the time cannot be broken down, or its year has more than four digits, only the
// first 8 bytes are written, with zeros.
INVSCAN_EXPORT void TimeToKelDateTime(long time, char* buffer);

}  // extern "C"
