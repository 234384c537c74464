// What is written to a stream, as a text.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include <invscan/print.h>

#include "common/vartree/TreeWriter.h"

namespace invscan {

template <class Write>
std::string writtenText(Write write) {
  char* text = nullptr;
  std::size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  write(stream);
  std::fclose(stream);
  const std::string result(text, size);
  std::free(text);
  return result;
}

inline std::string printedText(const kelAttribValue* record) {
  return writtenText([&](FILE* to) { PrintKelAttribValueToFile(to, record); });
}

// A tree's text form.
inline std::string dump(const VtNode& node) {
  return writtenText([&](FILE* to) { TreeWriter(to).node(node, 0); });
}

}  // namespace invscan
