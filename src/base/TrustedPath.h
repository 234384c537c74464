// Programs that are run, and files that are believed, because of where they are.
#pragma once

#include <string>

namespace invscan {

// Whether everything on a path without links belongs to root, and nobody else may put something
// else in its place or write to it. Not so when nothing is there.
bool isRootsAlone(const std::string& path);

// The path, for root without its links: then everything on it has to belong to root, and nobody
// else may put something else in its place. Empty when that is not so, or when nothing is there.
// For other users it is the path itself.
std::string trustedPath(const std::string& path);

}  // namespace invscan
