#include <cstring>
#include <cwchar>

#include <invscan/vartree.h>

namespace {

template <typename Unit>
Unit* copy(const Unit* units, unsigned long count) {
  auto* copied = new Unit[count];
  if (count > 0) std::memcpy(copied, units, count * sizeof(Unit));
  return copied;
}

// A name and a text behind it in one block: most values are texts.
char* joined(const char* name, const char* text) {
  const std::size_t nameSize = std::strlen(name) + 1;
  const std::size_t textSize = std::strlen(text) + 1;
  auto* block = new char[nameSize + textSize];
  std::memcpy(block, name, nameSize);
  std::memcpy(block + nameSize, text, textSize);
  return block;
}

}  // namespace

char* vtStrDup(const char* text) {
  return text ? copy(text, std::strlen(text) + 1) : nullptr;
}

wchar_t* vtStrDup(const wchar_t* text) {
  return text ? copy(text, std::wcslen(text) + 1) : nullptr;
}

unsigned char* vtBufDup(const unsigned char* bytes, unsigned long size) {
  return bytes ? copy(bytes, size) : nullptr;
}

VtVariant::VtVariant(const char* valueName, int number)
    : name(vtStrDup(valueName)), kind(kVtInteger), next(nullptr), value{}, length(0) {
  value.integer = number;
}

VtVariant::VtVariant(const char* valueName, const char* text)
    : name(joined(valueName, text ? text : "")),
      kind(kVtString),
      next(nullptr),
      value{},
      length(0) {
  value.string = name + std::strlen(name) + 1;
}

VtVariant::VtVariant(const char* valueName, double number)
    : name(vtStrDup(valueName)), kind(kVtDouble), next(nullptr), value{}, length(0) {
  value.real = number;
}

VtVariant::VtVariant(const char* valueName, const wchar_t* text)
    : name(vtStrDup(valueName)), kind(kVtWideString), next(nullptr), value{}, length(0) {
  value.wide = vtStrDup(text ? text : L"");
}

VtVariant::VtVariant(const char* valueName, const unsigned char* bytes, unsigned long count)
    : name(vtStrDup(valueName)), kind(kVtData), next(nullptr), value{}, length(bytes ? count : 0) {
  value.data = copy(bytes, length);
}
