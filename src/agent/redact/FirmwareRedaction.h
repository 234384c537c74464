// Firmware tables without what tells a machine (FirmwareSecrets.h): in a file, and in an image of
// physical memory.
#pragma once

#include <string>
#include <string_view>

#include "agent/redact/Replacements.h"

namespace invscan::agent {

// From now on the serial numbers, tags and UUIDs of the table are sensitive.
void learnTable(std::string_view structures, Replacements& replacements);

// The table with as many bytes as before and the same structures, so that what its entry point says
// of it still holds.
std::string redactTable(std::string structures, Replacements& replacements);

// The same of all tables in an image of memory, a file with holes. What is left of it is entry
// points and tables, where they were; the target is empty. Return an errno.
int learnImage(int image, Replacements& replacements);
int redactImage(int image, int target, Replacements& replacements);

}  // namespace invscan::agent
