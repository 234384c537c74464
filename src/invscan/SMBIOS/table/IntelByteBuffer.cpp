#include <cstring>

#include <invscan/smbios.h>

#include "invscan/SMBIOS/table/TableView.h"

using invscan::TableView;

unsigned char IntelByteBuffer::readUCHAR(const unsigned char* buffer, int offset) {
  return buffer[offset];
}

unsigned short IntelByteBuffer::readUSHORT(const unsigned char* buffer, int offset) {
  return TableView::trusting(buffer + offset).word(0);
}

unsigned int IntelByteBuffer::readULONG(const unsigned char* buffer, int offset) {
  return TableView::trusting(buffer + offset).dword(0);
}

void IntelByteBuffer::readASCIIZ(const unsigned char* buffer, int offset, char* out) {
  std::strcpy(out, reinterpret_cast<const char*>(buffer + offset));
}

int IntelByteBuffer::getASCIIZLength(const char* text) {
  return static_cast<int>(std::strlen(text)) + 1;
}

void IntelByteBuffer::readCHARArray(const unsigned char* buffer, int offset, char* out, int n) {
  if (n > 0) std::memcpy(out, buffer + offset, static_cast<std::size_t>(n));
}
