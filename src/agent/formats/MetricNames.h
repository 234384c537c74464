// How the catalogue's names and units become those of metrics: snake case, base units, suffixes.
#pragma once

#include <string>
#include <string_view>

#include <invscan/catalogue.h>

namespace invscan::agent {

// Lower case with underscores between the words, also those that only capitals tell apart: "Total
// Physical" and "TotalPhysical" are total_physical. Nothing but letters, digits and underscores,
// and no digit first.
std::string snakeCase(std::string_view name);

// "invscan_memory" for Memory.
std::string metricPrefix(const kelGroupDef& group);

// The metric of a number: what it is called behind the group's prefix, what its values are
// multiplied and divided by (0.01 would not be exact), and whether they only ever grow.
struct MetricName {
  MetricName(const kelGroupDef& group, const kelAttribDef& attribute);

  std::string name;
  double factor = 1;
  double divisor = 1;
  bool isCounter = false;
};

}  // namespace invscan::agent
