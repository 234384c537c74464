// What tells the rows of a group from each other, so that a row is found again in another scan.
#pragma once

#include <array>
#include <string_view>

#include <invscan/catalogue.h>

namespace invscan::agent {

// Attributes that name a row together; null after the last.
struct RowKey {
  std::array<const char*, 2> attributes{};
  bool isProof = false;  // rows in which it is told and differs are never the same
};

struct RowNames {
  const char* group;
  std::array<const char*, 2> label;  // what people call a row; null after the last
  std::array<RowKey, 3> keys;        // the best first
  bool isOrdered = false;            // rows that no key finds are the same where they come in order
};

// Null for a group whose rows are few or unknown.
const RowNames* findRowNames(const kelGroupDef& group);

// Whether an attribute numbers rows as they come, and so tells nothing of them.
bool isRunningIndex(std::string_view attribute);

// Whether an attribute is made of others of its row, and says no more than they do.
bool isDigest(std::string_view attribute);

}  // namespace invscan::agent
