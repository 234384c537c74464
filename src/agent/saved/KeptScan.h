// What root's scan tells to those who may not read it themselves.
#pragma once

#include "agent/scan/Scan.h"

namespace invscan::agent {

// Fills what may not be read with what a scan by root told since the machine was started, which the
// service invscan-scan keeps. Only where this user may read that file, nobody but root could have
// written it, and it is of this start of the machine; else the scan stays as it is. Groups that it
// fills say so (GroupResult::origin).
void fillFromKeptScan(Scan& scan);

}  // namespace invscan::agent
