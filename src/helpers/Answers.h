// What our helper programs answer, for who would rather not start them.
#pragma once

#include <string>

namespace invscan {

// What the program "cpuid" or "diskscan" would print now, of the machine under scan and with the
// native sources, which are this process' from then on; empty for any other name.
std::string answerOf(const std::string& helper);

}  // namespace invscan
