// What differs between two scans.
#pragma once

#include <string>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/table.h>

#include "agent/formats/Formats.h"
#include "agent/scan/Scan.h"

namespace invscan::agent {

// A value that differs; null where there is none.
struct Change {
  const char* attribute;
  const kelAttribValue* a;
  const kelAttribValue* b;
};

struct ChangedRow {
  const Row* a;
  std::vector<Change> changes;
};

// Of one group; nothing below is owned, and all of it lives as long as the scans.
struct GroupComparison {
  const char* name;
  const GroupResult* a;  // null: the scan has no such group
  const GroupResult* b;
  bool isComparable = true;  // both tell of it; else there is nothing below
  std::vector<ChangedRow> changed = {};
  std::vector<const Row*> removed = {};  // of a
  std::vector<const Row*> added = {};    // of b
  // Attributes that the other side has values of and that this one could not tell.
  std::vector<const char*> untoldInA = {}, untoldInB = {};
  // Whether anything says that the machines may not be the same; what neither could tell does not.
  bool differs() const;
};

struct Comparison {
  const Scan& a;
  const Scan& b;
  std::vector<GroupComparison> groups;  // those that either has, in catalogue order
  bool differs() const;
};

// Compares groups by name and rows by what tells them apart (RowNames.h); all attributes but
// running indexes, and those that differ from scan to scan only when these are asked for. The scans
// must outlive the result.
Comparison compareScans(const Scan& a, const Scan& b, bool withVolatile);

// Whether an attribute differs from one scan to the next.
bool isVolatile(const kelGroupDef& group, const kelAttribDef& attribute);

// What people call a row of a group; empty where it is the only one, or nothing names it.
std::string labelOf(const kelGroupDef& group, const Row& row);
// Whether the label says what that attribute of the row is.
bool isInLabel(const kelGroupDef& group, const kelAttribValue& record);

// Forms of it. The names are those that the user gave.
struct ComparedNames {
  std::string a;
  std::string b;
};
std::string comparisonText(const Comparison& comparison, const ComparedNames& names,
                           const Style& style);
std::string comparisonJson(const Comparison& comparison, const ComparedNames& names);

}  // namespace invscan::agent
