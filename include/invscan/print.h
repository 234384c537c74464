// Text forms of value records. Nothing here changes or frees a record, makes a stream
// wide-oriented, or switches the process's locale. The functions that print write strings in the
// encoding of the process's locale, and one that it cannot express is not written.
#pragma once

#include <cstdio>
#include <string>

#include <invscan/catalogue.h>
#include <invscan/export.h>
#include <invscan/table.h>

// The value alone, without separator or newline. A string is escaped but not quoted, an octet
// string is quoted hexadecimal (nothing when it has no bytes), KEL_UQUAD shows its first word only,
// as a signed number, KEL_UCHAR is 0x and two digits; an unknown type prints nothing. A null record
// prints nothing.
INVSCAN_EXPORT void PrintKelAttribValueToFile(FILE* stream, const kelAttribValue* record);

// A labelled dump of the record to standard output, for debugging. The hexadecimal half of 64-bit
// values shows the low 32 bits only.
INVSCAN_EXPORT void PrintKelAttribValue(const kelAttribValue* record);

// The escaped text, nothing for a count of 0.
INVSCAN_EXPORT void PrintKelStringToFile(FILE* stream, const KelString* string);

// The bytes as upper-case hexadecimal between double quotes.
INVSCAN_EXPORT void PrintOctetStringToFile(FILE* stream, const unsigned char* bytes,
                                           unsigned long count);

// The 26 characters of a date-time, whatever they are.
INVSCAN_EXPORT void PrintKelTimeBlockToFile(FILE* stream, const char* dateTime);

// A line `value = "text"` per entry of the attribute's enumeration; nothing when it has none.
INVSCAN_EXPORT void PrintKelEnumToFile(FILE* stream, const kelAttribDef* attrib);

// Six decimals with "." as decimal point in any locale. A null stream means standard output.
INVSCAN_EXPORT void PrintKelFloat(FILE* stream, double value);

// Escapes a text in the DMTF manner: a backslash before backslashes and double quotes, control
// characters 1 to 31 as backslash, x and two hexadecimal digits. Returns the same pointer for an
// empty text, else a new text that the caller frees with delete[].
INVSCAN_EXPORT wchar_t* dmtf_escape(wchar_t* text);

// "KEL_UCHAR" to "KEL_LONGLONG", else "Undefined Attrib Type".
INVSCAN_EXPORT const char* getKelAttribTypeAsString(unsigned long type);

namespace invscan {

// The text that PrintKelAttribValueToFile prints, in UTF-8 whatever the locale is. What is no
// character becomes the replacement character.
INVSCAN_EXPORT std::string printedValue(const kelAttribValue& record);

}  // namespace invscan
