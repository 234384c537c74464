// What the answers of a scan are worth: what is absent, and what is there but was not told.
#pragma once

#include <string>
#include <vector>

#include "agent/scan/Scan.h"

namespace invscan::agent {

// Tells a group that is absent from one that something stood in the way of, by the obstacles that
// the scan noted, and finds what stood in the way of values that are missing in others.
//
// A group of which no source told anything is denied (or was never recorded) when an obstacle stood
// before a source of what tells of its rows, not only of what tells more of them.
void judge(GroupResult& result);

// A line for each kind of what is missing, with the groups: of all kinds, or of those alone that
// make a scan incomplete; of groups that are lost as a whole others tell then.
enum class Kinds { All, Lacks };
std::vector<std::string> shortfalls(const Scan& scan, Kinds kinds);

// Whether some group lacks something that a scan with more rights, of a better capture or by
// another version would have told.
bool isIncomplete(const Scan& scan);

}  // namespace invscan::agent
