// Where results go.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace invscan::agent {

// From now on files and directories that this process makes are for its user alone. What
// writeOutput() makes is under the umask that was in force before.
void keepFilesPrivate();

// Writes to a file, or to standard output when its name is empty. A regular file appears whole or
// not at all; one that is there keeps owner and access rights, and a new one has those that the
// umask leaves, but root's is for root alone. A device or pipe is written to as it is, and a name
// of an open descriptor (/dev/stdout, /dev/fd/3) is that descriptor. Throws Failure, and where
// nobody reads such a descriptor any more, Interruption (scan/SignalWatch.h): that ends the process
// as a broken pipe does, without a word.
void writeOutput(const std::string& file, std::string_view text);

// Writes a file as base/WrittenFile.h tells. Throws Failure.
void writeFile(const std::string& path, std::string_view text, mode_t mode,
               bool followsLast = false);

// Makes a regular file where there is nothing yet, whole or not at all. Throws Failure.
void makeFile(const std::string& path, std::string_view text, mode_t mode);

// The descriptor of this process that a path names (/dev/stdout, /dev/fd/3); -1 when it names none.
int descriptorNamedBy(std::string_view path);

// From now on a write that fails tells so rather than ends the process; writeOutput() sees to it
// itself. It is not for the time before a scan: commands that this runs inherit what is ignored.
void returnFromFailedWrites();

// Whether writeOutput() to that file writes to a terminal.
bool isTerminal(const std::string& file);

enum class Colour { Auto, Always, Never };

// Whether that output is to have colours: where it is a terminal that shows them and whose owner
// wants them, unless the choice is made.
bool isColourful(Colour choice, const std::string& file);

// One line on standard error, after the program's name.
void reportLine(const std::string& text);

}  // namespace invscan::agent
