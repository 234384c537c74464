// Reading sysfs: its attributes, and the paths in its links, which tell what a device hangs on.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace invscan::diskscan {

// The text of an attribute without the white space around it; empty when there is none.
std::string readAttribute(const std::string& path);

// A component of a path, counted from its end: 0 is the last one. Empty when there are not as many.
std::string componentFromEnd(std::string_view path, std::size_t number);

// The last component above the path's own name that is this beginning with a digit behind it, such
// as "host2" for "host"; empty when there is none.
std::string ancestorNamed(std::string_view path, std::string_view beginning);

// The address of the last PCI device on a path, such as "0000:00:1f.2"; empty when there is none.
std::string pciAddress(std::string_view path);

// Whether a text is digits, at least one, and nothing else.
bool isNumber(std::string_view text);

}  // namespace invscan::diskscan
