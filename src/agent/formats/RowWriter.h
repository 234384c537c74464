// Writes the rows of a group as JSON objects.
#pragma once

#include <string>

#include "agent/formats/FormattedNames.h"
#include "agent/scan/Scan.h"

namespace invscan::agent {

class RowWriter {
 public:
  explicit RowWriter(const kelGroupDef& group);

  void append(std::string& json, const Row& row);

 private:
  // Null for a value that says all itself.
  const char* meaningOf(const FormattedName& named, const kelAttribValue& record) const;

  const kelGroupDef& group_;
  FormattedNames names_;
};

}  // namespace invscan::agent
