// Texts of the firmware, as collectors take them.
#pragma once

#include <cstring>
#include <string>

#include <invscan/smbios.h>

namespace invscan {

// SMBIOSTable::validateString() as a string: empty when the text says nothing.
inline std::string cleanText(char* value) {
  std::string text(value ? std::strlen(value) + 1 : 1, '\0');
  SMBIOSTable::validateString(value, text.data());
  text.resize(std::strlen(text.c_str()));
  return text;
}

}  // namespace invscan
