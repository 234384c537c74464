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
    : name(vtStrDup(valueName)), kind(kVtString), next(nullptr), value{}, length(0) {
  value.string = vtStrDup(text ? text : "");
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
