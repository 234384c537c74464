// A tree's text form, as a text.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/vartree/TreeWriter.h"

namespace invscan {

inline std::string dump(const VtNode& node) {
  char* text = nullptr;
  std::size_t size = 0;
  FILE* file = open_memstream(&text, &size);
  TreeWriter(file).node(node, 0);
  std::fclose(file);
  const std::string result(text, size);
  std::free(text);
  return result;
}

}  // namespace invscan
