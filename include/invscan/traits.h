// What is known about every attribute beyond its catalogue row: unit, behaviour, sensitivity, a
// sentence of description, and the sources that its value is taken from.
#pragma once

#include <invscan/export.h>

namespace invscan {

enum class Behaviour {
  Identity,  // tells this machine, or this part of it, from others
  Stable,    // changes only when someone changes the machine or its set-up
  Volatile,  // differs from one scan to the next (counters, free space, times)
};

// One attribute of a group. A traits table stands beside each attribute table, has one row per
// attribute in the same order, and ends with a row of id 0.
struct AttributeTraits {
  unsigned long id;
  const char* unit;  // "bytes", "KiB", "MB", "MHz", "seconds", "clock ticks", ... or "" for none
  Behaviour behaviour;
  bool sensitive;           // serial numbers, UUIDs, addresses, host names
  const char* description;  // one plain sentence
  // What the library asks for this value, in the order in which it asks, separated by "; ": each as
  // the access log names it (machine.h), "*" standing for any text. "constant": nothing is asked.
  // Empty: never filled on Linux.
  const char* sources;
  // What the value is when no source told it, as printed; null: the attribute is then left out, or
  // its value is empty, 0 or the epoch.
  const char* defaultText;
  // Whether a sensitive value is a path or the name of something mounted, so that its parts can be
  // told from each other: some of them every machine has.
  bool isPath = false;
  // Whether a value of 0 (of a date: the epoch) can only mean that no source told it: what it
  // counts is never 0.
  bool isNeverZero = false;
};

// The traits of an attribute, or null for an unknown group or attribute. Points to constant data.
INVSCAN_EXPORT const AttributeTraits* attributeTraits(unsigned long groupId,
                                                      unsigned long attribId);

}  // namespace invscan
