// A scan as the commands run it.
#pragma once

#include <string>
#include <vector>

#include "agent/Options.h"
#include "agent/scan/Scan.h"

namespace invscan::agent {

// Scans the groups by the options, with progress on a terminal.
Scan scanMachine(const Options& options, const std::vector<const kelGroupDef*>& groups,
                 bool noteAccesses = false, const std::string& recording = {});

// A line on standard error for each group that gave no answer; the exit status.
int reportTroubles(const Scan& scan);

// Writes the scan as the options ask.
void writeScan(const Options& options, const Scan& scan);

}  // namespace invscan::agent
