// The command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <invscan/base/CcLogWrapper.h>

namespace invscan::agent {

struct Command;

struct Options {
  const Command* command = nullptr;
  std::vector<std::string> words;  // behind the command

  std::string format;  // one that the command has; empty when none was given
  std::string output;  // empty: standard output
  double timeoutSeconds = 30;
  int jobs = 0;         // 0: as many as there are processors
  std::string machine;  // a capture; empty: the live machine
  bool classic = false;
  bool redact = false;
  bool reasons = false;
  std::string dump;  // file to write a firmware table to
  std::string read;  // file to read one from, in place of the machine
  bool force = false;
  std::string config;
  CcLogWrapper::Level trace = CcLogWrapper::kOff;
  std::string traceFile;  // empty: standard error
};

// Throws Failure for wrong usage. For --help and --version the options name no command and the
// text to print is in information.
Options parseOptions(int argc, char** argv, std::string& information);

}  // namespace invscan::agent
