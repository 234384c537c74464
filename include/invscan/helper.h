// Helper programs: how they are run and what they answer.
//
// An answer is a response line, "1.0 0 OK" (version of the protocol, result, message), and a
// variable tree in its text form (vartree.h).
#pragma once

#include <invscan/export.h>
#include <invscan/vartree.h>

// What a helper answered.
struct VtExecInfo {
  int result;  // 0 success, greater a failure that the helper tells; -1 no valid response line
  int versionMajor;  // without meaning when there was no valid response line
  int versionMinor;
  char* message;  // null when there was no valid response line
  VtNode*
      tree;  // root, named ""; null when the text below the response line is wrong, or without it
};

// A stream of bytes to read from.
struct INVSCAN_EXPORT VtIStream {
  virtual ~VtIStream() = default;
  // Reads up to size bytes: how many there were, 0 at the end, negative with errno after an error.
  virtual long read(char* buffer, unsigned long size) = 0;
  virtual void close() {}
};

// Writes a helper's response line to standard output; the message may be null.
INVSCAN_EXPORT void vtDumpResponse(int result, const char* message);
