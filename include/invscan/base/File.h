// Paths.
#pragma once

#include <invscan/base/String.h>
#include <invscan/export.h>

class INVSCAN_EXPORT File {
 public:
  // What separates the components of a path: "/".
  static const String pathSeparator;
};
