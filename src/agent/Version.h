#pragma once

namespace invscan::agent {

inline constexpr char kVersion[] = "2.8.0";

}  // namespace invscan::agent
