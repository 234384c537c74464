// Any bytes as string and octet record: the printed text must read back as the value.
#include <clocale>

#include <invscan/print.h>
#include <invscan/table.h>

#include "../tests/WrittenText.h"
#include "FuzzTarget.h"

namespace {

using namespace invscan;

std::string unescaped(const std::string& escaped) {
  std::string text;
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] != '\\') {
      text += escaped[i];
    } else if (escaped[++i] == 'x') {
      text += static_cast<char>(std::stoi(escaped.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      text += escaped[i];
    }
  }
  return text;
}

void checkString(const std::string& text) {
  const KelTableAttrib attrib(1, text);
  const std::string shown = printedText(attrib.getAttribPtr());
  // The C library writes numbers beyond the last character too; UTF-8 has none for them.
  const auto& wide = *reinterpret_cast<const KelString*>(attrib.getAttribPtr()->value);
  const bool isText = std::all_of(wide.text, wide.text + wide.count,
                                  [](wchar_t letter) { return letter <= 0x10FFFF; });
  require(!isText || shown == printedValue(*attrib.getAttribPtr()));
  for (const char character : shown) require(character < 0 || character >= ' ');
  // A text that is not valid in the locale is empty.
  require(shown.empty() || unescaped(shown) == text.c_str());
}

void checkOctets(std::string_view bytes) {
  const auto* octets = reinterpret_cast<const unsigned char*>(bytes.data());
  const std::string shown = printedText(KelTableAttrib(1, octets, bytes.size()).getAttribPtr());
  require(shown.size() == (bytes.empty() ? 0 : 2 * bytes.size() + 2));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    require(std::stoi(shown.substr(1 + 2 * i, 2), nullptr, 16) == octets[i]);
  }
}

}  // namespace

void invscan::tryInput(std::string_view bytes) {
  static const char* const locale = std::setlocale(LC_ALL, "C.UTF-8");
  require(locale != nullptr);
  checkString(std::string(bytes));
  checkOctets(bytes);
}
