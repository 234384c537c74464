// A scan as the commands run it.
#pragma once

#include <string>
#include <vector>

#include "agent/Options.h"
#include "agent/formats/Formats.h"
#include "agent/scan/Scan.h"

namespace invscan::agent {

// Scans the groups by the options, with progress on a terminal, or reads them from a saved scan.
Scan scanMachine(const Options& options, const std::vector<const kelGroupDef*>& groups,
                 bool noteAccesses = false, const std::string& recording = {});

// Lines on standard error for groups that gave no answer and, where the output does not tell that
// itself, for what is missing; the exit status.
int reportTroubles(const Scan& scan, bool isTold);

// Whether the scan is written as text for people.
bool isText(const Options& options);

// How people are to have it.
Style styleOf(const Options& options);

// Writes the scan as the options ask.
void writeScan(const Options& options, const Scan& scan);

}  // namespace invscan::agent
