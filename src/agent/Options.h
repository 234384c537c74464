// The command line.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include <invscan/base/CcLogWrapper.h>

#include "agent/Output.h"

namespace invscan::agent {

struct Command;

struct Options {
  const Command* command = nullptr;
  std::vector<std::string> words;  // behind the command

  std::string format;  // one that the command has; empty when none was given
  std::string output;  // empty: standard output
  double timeoutSeconds = 30;
  int jobs = 0;         // 0: one more than there are processors
  std::string machine;  // a capture; empty: the live machine
  bool classic = false;
  bool redact = false;
  bool reasons = false;
  bool all = false;    // also what is left out for brevity
  bool bytes = false;  // exact figures
  Colour colour = Colour::Auto;
  std::string dump;  // file to write a firmware table to
  std::string read;  // file to read one from, in place of the machine
  bool force = false;
  std::string config;
  CcLogWrapper::Level trace = CcLogWrapper::kOff;
  std::string traceFile;  // empty: standard error
};

// What an option was given; null for one that takes nothing.
struct OptionValue {
  const char* option;
  const char* text;
};

// One row of the table that parsing, --help, the manual and the completion of shells read.
struct Option {
  const char* name;
  const char* value;  // what help calls it, FILE and DIR for these; null: the option has none
  const char* help;
  void (*take)(Options& options, const OptionValue& value);  // when it is met; may be null
  bool (*applies)(const Command& command);  // whether it has a meaning for the command
};
std::span<const Option> optionTable();

struct ExitStatus {
  const char* status;
  const char* meaning;
};
std::span<const ExitStatus> exitStatuses();

// Throws Failure for wrong usage. For --help and --version the options name no command and the
// text to print is in information.
Options parseOptions(int argc, char** argv, std::string& information);

}  // namespace invscan::agent
