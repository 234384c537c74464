// The kernel's lists of processors, such as "0-3,8-11".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace invscan {

// Processors are numbered below this; twice what the kernel can be built for.
inline constexpr unsigned kMostProcessors = 1 << 14;

// The numbers in ascending order, which an empty list has none of; no value for a text that is not
// such a list: other characters, numbers that are too large, ranges that are not in order.
std::optional<std::vector<unsigned>> parseCpuList(std::string_view text);

// The list in a file; no value also when it cannot be read.
std::optional<std::vector<unsigned>> readCpuList(const std::string& path);

// Where the kernel tells of its processors.
inline constexpr char kCpuDirectory[] = "/sys/devices/system/cpu/";

// Names of the same list: today's, and the one of kernels before 5.3.
using CpuListNames = const char* const[2];
inline constexpr CpuListNames kPackageLists = {"package_cpus_list", "core_siblings_list"};
inline constexpr CpuListNames kCoreLists = {"core_cpus_list", "thread_siblings_list"};

// The processors that a processor shares its package or core with, and itself.
std::optional<std::vector<unsigned>> siblingsOf(unsigned number, CpuListNames& names);

}  // namespace invscan
