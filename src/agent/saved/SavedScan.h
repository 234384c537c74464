// Scans that were kept as JSON, read back.
#pragma once

#include <string>
#include <string_view>

#include "agent/scan/Scan.h"

namespace invscan::agent {

// Whether what stands in a machine's place is a saved scan rather than the directory of a capture.
bool isSavedScan(const std::string& name);

// Reads what `--format json` of this or another version wrote: a regular file, or an open
// descriptor by its name (/dev/stdin, /dev/fd/3), which may be a pipe. Values have the types of the
// catalogue, and groups and attributes that this version does not know have definitions that the
// scan holds. A status that it does not know is Unsupported. Throws Failure, which names file and
// place.
Scan readSavedScan(const std::string& name);

// The same of a text; the Failure names the place alone.
Scan parseSavedScan(std::string_view json);

}  // namespace invscan::agent
