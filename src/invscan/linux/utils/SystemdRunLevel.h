// The run level of a system that systemd runs.
#pragma once

#include <optional>

namespace invscan {

// The run level that the target which systemd was started with stands for: the one that the
// kernel's command line names, else the default target. None when systemd does not run the machine
// or the target is no run level.
std::optional<unsigned long> systemdRunLevel();

}  // namespace invscan
