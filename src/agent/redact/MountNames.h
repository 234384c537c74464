// Paths and names of what is mounted, with tokens for those of their parts that tell a machine or a
// person: "/home/redacted-0123456789abcdef". What every machine has stays, so that a table of
// mounts still tells its kinds of rows, and names that contain each other stay so.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "agent/redact/Redactor.h"

namespace invscan::agent {

// Parts end at "/", at what separates users, servers and ports from names, and at brackets; an IPv6
// address is one part.
std::string redactPath(std::string_view path, const Redactor& redactor);

enum class MountTable { Mounts, MountInfo, Swaps };

// Every line of such a table. Hands out each path and name as it was.
std::string redactMounts(std::string_view text, MountTable table, const Redactor& redactor,
                         const std::function<void(const std::string&)>& found);

}  // namespace invscan::agent
