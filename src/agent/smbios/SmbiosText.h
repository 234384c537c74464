// The records of a firmware table as text for people.
#pragma once

#include <string>

#include <invscan/smbios.h>

namespace invscan::agent {

// A block per record in the order of the types, named fields with units; last, what else the table
// has. Fields that the firmware left empty are not there. Fit for a terminal, whatever the firmware
// wrote.
std::string describeTable(const SMBIOSTable& table);

}  // namespace invscan::agent
