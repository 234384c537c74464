// The kernel's lists of processors, such as "0-3,8-11".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace invscan::cpuid {

// Processors are numbered below this; twice what the kernel can be built for.
inline constexpr unsigned kMostProcessors = 1 << 14;

// The numbers in ascending order, which an empty list has none of; no value for a text that is not
// such a list: other characters, numbers that are too large, ranges that are not in order.
std::optional<std::vector<unsigned>> parseCpuList(std::string_view text);

// The list in a file; no value also when it cannot be read.
std::optional<std::vector<unsigned>> readCpuList(const std::string& path);

}  // namespace invscan::cpuid
