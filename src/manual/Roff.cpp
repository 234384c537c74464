#include "manual/Roff.h"

#include "agent/Version.h"

namespace invscan::manual {
namespace {

// No character has a meaning of its own any more; hyphens are those of options and names.
std::string plain(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else if (c == '"') {
      result += "\\(dq";
    } else if (c == '\'') {
      result += "\\(aq";
    } else {
      result += c;
    }
  }
  return result;
}

std::string styled(const char* font, std::string_view text) {
  return text.empty() ? "" : std::string("\\f") + font + plain(text) + "\\fR";
}

std::string term(std::string_view words, std::string_view placeholder) {
  const bool hasBoth = !words.empty() && !placeholder.empty();
  return styled("B", words) + (hasBoth ? " " : "") + styled("I", placeholder);
}

}  // namespace

Page::Page(std::string_view name, int number, std::string_view date, std::string_view summary) {
  std::string title = plain(name);
  for (char& c : title) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  line(".TH " + title + " " + std::to_string(number) + " " + std::string(date) + " \"invscan " +
       agent::kVersion + "\"");
  line(".SH NAME");
  line(plain(name) + " \\- " + plain(summary));
}

void Page::line(std::string_view request) {
  text_.append(request).append("\n");
}

void Page::separate(std::string_view request) {
  const std::size_t begin = text_.rfind('\n', text_.size() - 2) + 1;
  if (!text_.substr(begin).starts_with(".SH")) line(request);
}

// In lines that editors show whole, none of which begins like a request.
void Page::prose(std::string_view text) {
  constexpr std::size_t kWidest = 76;
  std::string current;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string word = plain(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!current.empty() && current.size() + 1 + word.size() > kWidest) {
      line(current);
      current.clear();
    }
    if (word.empty()) continue;
    if (current.empty()) {
      current = (word.front() == '.' ? "\\&" : "") + word;
    } else {
      current += " " + word;
    }
  }
  if (!current.empty()) line(current);
}

void Page::section(std::string_view title) {
  line(".SH " + plain(title));
}

void Page::paragraph(std::string_view text) {
  separate(".PP");
  prose(text);
}

void Page::entry(std::string_view words, std::string_view placeholder, std::string_view text) {
  line(".TP");
  line(term(words, placeholder));
  prose(text);
}

void Page::example(std::string_view lines) {
  separate(".PP");
  line(".nf");
  line(".RS 4");
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size());
    const std::string text = plain(lines.substr(0, end));
    line(text.empty() ? "\\&" : (text.front() == '.' ? "\\&" : "") + text);
    lines.remove_prefix(std::min(end + 1, lines.size()));
  }
  line(".RE");
  line(".fi");
}

void Page::synopsis(std::string_view words, std::string_view placeholder) {
  separate(".br");
  line(term(words, placeholder));
}

}  // namespace invscan::manual
