// The commands of the program, one table row each.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "agent/Options.h"

namespace invscan::agent {

// Exit status; wrong usage and unreadable input are a Failure.
enum {
  kAnswered = 0,
  kGroupFailed = 1,  // one timed out or crashed
  kFailed = 2,
  kIncomplete = 3,  // something may not be read, was not recorded, or has no collector
  kNoValue = 4,     // of get
  kDifferent = 1,   // of diff
};

struct Command {
  const char* name;
  const char* arguments;
  const char* summary;
  std::size_t fewestWords;
  std::size_t mostWords;
  std::span<const char* const> formats;  // what --format may name; none: it has no meaning
  bool scans;                            // has --timeout and --jobs
  bool redacts;                          // has --redact
  int (*run)(const Options& options);
  bool readsDumps = false;    // has --dump, --read and --force
  bool tellsReasons = false;  // has --reasons
  bool hasAll = false;        // has --all
  bool hasFigures = false;    // has --bytes and --color
  bool readsScans = false;    // --machine may name a scan that was kept as JSON
  bool compares = false;      // its arguments are machines, so that it has no --machine
};

// The first is the one that runs when none is named.
std::span<const Command> commands();

// Null for a word that is no command; upper and lower case are the same.
const Command* findCommand(std::string_view word);

// Each in a source file of its own.
int runScan(const Options& options);
int runGet(const Options& options);
int runList(const Options& options);
int runDescribe(const Options& options);
int runCapture(const Options& options);
int runDiff(const Options& options);
int runExplain(const Options& options);
int runSmbios(const Options& options);
int runHelper(const Options& options);

}  // namespace invscan::agent
