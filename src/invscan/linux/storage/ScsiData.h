// What SCSI devices say of themselves, as bytes: the standard data of INQUIRY, pages of vital
// product data, and capacities. Everything in them is hostile; what is cut short or of another kind
// is not there.
#pragma once

#include <string>
#include <string_view>

namespace invscan {

struct InquiryData {
  bool isThere = false;
  unsigned peripheralType = 0;
  std::string vendor, model;
};

InquiryData readInquiry(std::string_view data);

// The unit's serial number: of page 0x80, and the name in page 0x83 that stands for one (NAA, else
// EUI-64, as hexadecimal digits); empty when the page has none.
std::string serialOfPage80(std::string_view page);
std::string nameOfPage83(std::string_view page);

// Answers of READ CAPACITY: the size in KiB; 0 when they tell none, or that the other form is to be
// asked.
unsigned long kilobytesOfCapacity10(std::string_view answer);
unsigned long kilobytesOfCapacity16(std::string_view answer);

// A text of fixed width: up to the first NUL, without blanks around it.
std::string deviceText(std::string_view bytes);

}  // namespace invscan
