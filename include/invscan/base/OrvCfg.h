// The configuration store: process-wide settings from an INI file.
#pragma once

#include <string>

#include <invscan/base/String.h>
#include <invscan/export.h>

// A key `timeout` in the section [hwscanner] is named "hwscanner.timeout"; one above the first
// section is named by itself ("config_dir"). Lines are `name = value` and `[section]`; a line that
// begins with ';' or '#' is a comment, and so is an empty one. Lines, names and values are trimmed
// of blanks. Values are UTF-8 of any length, names have at most 128 bytes; there are no inline
// comments, quotes or continuation lines; the last of equal keys wins. The file has at most 1 MiB.
//
// Unless load() was called before, the first question loads $INVSCAN_CONFIG, else
// /etc/invscan/invscan.conf. The store is filled on first use without a lock: ask it, or load it,
// from one thread before others use the library.
//
// Known keys: config_dir, common_trace_path, hwscanner.config_file, hwscanner.cputhreshold,
// hwscanner.deadline (milliseconds that the collection of a group may take, so that questions which
// wait share them; empty: each waits for its own time-out), hwscanner.helper_timeout (milliseconds
// that a helper may take; empty: as many as it likes), hwscanner.sources ("classic" or "native"),
// hwscanner.timeout.
class INVSCAN_EXPORT OrvCfg {
 public:
  // Replaces the store with the contents of a file. Returns getError().
  static int load(const std::string& path);

  // Sets one key, as if the file had held it.
  static void setKey(const std::string& key, const String& value);

  // The value of a key; empty for an unknown one.
  static String getKey(const std::string& key);

  // 0, or a number other than 0 when the file could not be read or parsed, or a known key has a
  // value it cannot have; the store is then empty. A default file that does not exist is no error.
  static int getError();

  // What is wrong, in one line that names file, line and remedy; empty when getError() is 0.
  static std::string getErrorText();
};
