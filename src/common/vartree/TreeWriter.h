// Writes the text form of trees.
#pragma once

#include <cstdio>
#include <string>

#include <invscan/vartree.h>

namespace invscan {

// Collects what it writes and hands it to the file in large pieces, the last when it goes. Without
// a file it keeps all of it.
class TreeWriter {
 public:
  explicit TreeWriter(std::FILE* file = nullptr) : file_(file) {}
  TreeWriter(const TreeWriter&) = delete;
  TreeWriter& operator=(const TreeWriter&) = delete;
  ~TreeWriter() { flush(); }

  // The line that an answer begins with; the message may be null.
  void response(int result, const char* message);
  void value(const VtVariant& variant, int level);
  // With all below it.
  void node(const VtNode& root, int level);

  // What was written and not handed to a file.
  const std::string& text() const { return text_; }

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
