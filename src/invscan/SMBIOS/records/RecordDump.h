// The lines of a record's dump().
#pragma once

#include <cstdio>
#include <cstring>
#include <string>

#include <invscan/smbios.h>

namespace invscan {

inline void show(const char* name, char* text) {
  std::string cleaned(text ? std::strlen(text) : 0, '\0');
  SMBIOSTableData::removeInvalidChars(cleaned.data(), text);
  std::printf("\n   %-28s: %s", name, text ? cleaned.c_str() : "-");
}

inline void show(const char* name, unsigned long long number) {
  std::printf("\n   %-28s: %llu", name, number);
}

inline void showBits(const char* name, unsigned long long number, int digits) {
  std::printf("\n   %-28s: x%0*llX", name, digits, number);
}

}  // namespace invscan
