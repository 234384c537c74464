// Programs that are run because of where they are.
#pragma once

#include <string>

namespace invscan {

// The path, for root without its links: then everything on it has to belong to root, and nobody
// else may put something else in its place. Empty when that is not so, or when nothing is there.
// For other users it is the path itself.
std::string trustedPath(const std::string& path);

}  // namespace invscan
