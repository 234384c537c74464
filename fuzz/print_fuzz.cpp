// Any bytes as string and octet record: the printed text must read back as the value.
#include <algorithm>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <invscan/print.h>
#include <invscan/table.h>

namespace {

std::string printed(const KelTableAttrib& attrib) {
  char* text = nullptr;
  std::size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  PrintKelAttribValueToFile(stream, attrib.getAttribPtr());
  std::fclose(stream);
  std::string copy(text, size);
  std::free(text);
  return copy;
}

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
  const std::string shown = printed(attrib);
  // The C library writes numbers beyond the last character too; UTF-8 has none for them.
  const auto& wide = *reinterpret_cast<const KelString*>(attrib.getAttribPtr()->value);
  const bool isText = std::all_of(wide.text, wide.text + wide.count,
                                  [](wchar_t letter) { return letter <= 0x10FFFF; });
  if (isText && shown != invscan::printedValue(*attrib.getAttribPtr())) std::abort();
  for (const char character : shown) {
    if (character >= 0 && character < ' ') std::abort();
  }
  // A text that is not valid in the locale is empty.
  if (!shown.empty() && unescaped(shown) != text.c_str()) std::abort();
}

void checkOctets(const uint8_t* data, std::size_t size) {
  const std::string shown = printed(KelTableAttrib(1, data, size));
  if (shown.size() != (size > 0 ? 2 * size + 2 : 0)) std::abort();
  for (std::size_t i = 0; i < size; ++i) {
    if (std::stoi(shown.substr(1 + 2 * i, 2), nullptr, 16) != data[i]) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static const char* const locale = std::setlocale(LC_ALL, "C.UTF-8");
  if (!locale) std::abort();
  checkString(std::string(reinterpret_cast<const char*>(data), size));
  checkOctets(data, size);
  return 0;
}
