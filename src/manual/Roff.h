// Writes a manual page in the man(7) macros.
#pragma once

#include <string>
#include <string_view>

namespace invscan::manual {

class Page {
 public:
  // The head and the section NAME.
  Page(std::string_view name, int section, std::string_view date, std::string_view summary);

  void section(std::string_view title);
  // Prose, in which "--option" and the like keep their hyphens.
  void paragraph(std::string_view text);
  // An entry of a list: its term in bold, and behind it in italics what stands for something else.
  void entry(std::string_view term, std::string_view placeholder, std::string_view text);
  // Lines as they stand.
  void example(std::string_view lines);
  // Bold words on a line of its own, italics behind them.
  void synopsis(std::string_view words, std::string_view placeholder);

  const std::string& text() const { return text_; }

 private:
  void line(std::string_view request);
  // The request, unless a section has just begun.
  void separate(std::string_view request);
  void prose(std::string_view text);

  std::string text_;
};

}  // namespace invscan::manual
