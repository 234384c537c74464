// What the kernel's routing socket told, without what tells a machine.
#pragma once

#include <string>
#include <string_view>

#include "agent/redact/Replacements.h"

namespace invscan::agent {

// The datagram written anew from what is known of it: messages of links, addresses and routes with
// the attributes that say how they are made and belong together; others have gone. Addresses are
// replaced, and sensitive words in names.
std::string redactDatagram(std::string_view datagram, Replacements& replacements);

// From now on the addresses in its messages are sensitive, in every spelling.
void learnDatagram(std::string_view datagram, Replacements& replacements);

}  // namespace invscan::agent
