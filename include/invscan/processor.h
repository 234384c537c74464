// What the kernel's text about processors (/proc/cpuinfo) means.
#pragma once

#include <invscan/base/String.h>
#include <invscan/export.h>

// A feature by its name in the kernel's list, and its bit in the processor's feature word (EDX of
// CPUID leaf 1).
struct IntelX86Flag {
  const char* name;
  unsigned int bit;
};

INVSCAN_EXPORT extern const IntelX86Flag IntelX86Flags[24];

// The feature word of a list of names; 0 for null. A name counts wherever it stands in the text, so
// that "pse36" also means "pse", and "sse2" also "sse": hosts would see features vanish otherwise.
INVSCAN_EXPORT unsigned long makeCPUflagsFromString(char* flagsLine);

// The speed that a processor is sold with, from the measured one; both in MHz. Rounds the last two
// digits by a table of its own, which is not symmetric (1440 gives 1450, 1415 gives 1400):
// hosts look processors up by the speeds that come of it.
INVSCAN_EXPORT unsigned long RealSpeedValue(unsigned long mhz);

// Copies what follows the first colon of a "key: value" line, but for the one character behind the
// colon, up to the end of the line and with its newline. Empty when the line ends there; without a
// colon the value is left as it is. The value needs room for a text as long as the line, which it
// may be.
INVSCAN_EXPORT void parseLine(char* line, char* value);

// What the processor's family is called: the TypeEnum of the first of the factory's records
// (hwconfig.h) that matches, which for Intel's processors means the brand in the model name as
// well. Without such a record the helper `cpuid` is asked (helper.h), which runs once in a process;
// "Unknown" when it does not tell either. Null texts count as empty.
INVSCAN_EXPORT String getEnum(const char* vendor, int family, int model, const char* modelName);
