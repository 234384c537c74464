#pragma once

#include <optional>
#include <string>

namespace invscan {

// The machine type in a product text, "" when the text has none; nullopt for manufacturers whose
// product texts tell no type.
std::optional<std::string> machineTypeOf(const std::string& manufacturer,
                                         const std::string& product);

}  // namespace invscan
