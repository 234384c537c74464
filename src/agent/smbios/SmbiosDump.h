// Firmware tables in files.
#pragma once

#include <memory>
#include <string>

#include <invscan/smbios.h>

namespace invscan::agent {

// The parsed table in a file: a text dump, or a binary one, which begins with an entry point and
// has the table where that says or at offset 32. Read by the letter of the standard, or by the
// rules that hosts know when classic is set. Throws Failure for a file that is neither, or not
// whole.
std::unique_ptr<SMBIOSTable> readDump(const std::string& file, bool classic);

// Writes a table as a text dump, for its owner's eyes only: to a file that is not there yet, or in
// place of a regular file when asked to, and never through a link. Throws Failure.
void writeDump(const std::string& file, const SMBIOSTable& table, bool replace);

}  // namespace invscan::agent
