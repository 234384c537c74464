// What disks answer of their names, without these.
#pragma once

#include <string>
#include <string_view>

#include "agent/redact/Replacements.h"

namespace invscan::agent {

// Vital product data: the page of the serial number (80), and that of all names (83).
void learnSerialPage(std::string_view page, Replacements& replacements);
std::string redactSerialPage(const std::string& page, Replacements& replacements);
void learnNamePage(std::string_view page, Replacements& replacements);
std::string redactNamePage(const std::string& page, Replacements& replacements);

// The standard INQUIRY, behind whose fields makers have what they like.
std::string redactInquiry(const std::string& answer, Replacements& replacements);

// IDENTIFY DEVICE, as bytes and as the kernel's text of hexadecimal words.
void learnIdentity(std::string_view answer, Replacements& replacements);
std::string redactIdentity(const std::string& answer, Replacements& replacements);
void learnIdentityText(std::string_view text, Replacements& replacements);
std::string redactIdentityText(const std::string& text, Replacements& replacements);

}  // namespace invscan::agent
