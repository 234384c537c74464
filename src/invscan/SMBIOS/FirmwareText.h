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

// A UUID as the table spells it, in upper case. One of ones is a filler, as one of zeros is.
inline std::string cleanUuid(std::string uuid) {
  for (char& letter : uuid) {
    if (letter >= 'a' && letter <= 'z') letter = static_cast<char>(letter - 'a' + 'A');
  }
  const bool isFiller =
      uuid.find_first_not_of("F-") == uuid.npos || uuid.find_first_not_of("0-") == uuid.npos;
  return isFiller ? "" : uuid;
}

}  // namespace invscan
