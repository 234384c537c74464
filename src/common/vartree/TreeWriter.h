// Writes the text form of trees.
#pragma once

#include <cstdio>
#include <string>

#include <invscan/vartree.h>

namespace invscan {

// Collects what it writes and hands it to the file in large pieces, the last when it goes.
class TreeWriter {
 public:
  explicit TreeWriter(std::FILE* file) : file_(file) {}
  TreeWriter(const TreeWriter&) = delete;
  TreeWriter& operator=(const TreeWriter&) = delete;
  ~TreeWriter() { flush(); }

  void value(const VtVariant& variant, int level);
  // With all below it.
  void node(const VtNode& root, int level);

 private:
  void open(const VtNode& node, int level);
  void close(int level);
  void indent(int level);
  void endLine();
  void flush();

  std::FILE* file_;
  std::string text_;
};

}  // namespace invscan
