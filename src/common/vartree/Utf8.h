// UTF-8 by its own rules, whatever the locale.
#pragma once

#include <cstddef>
#include <string_view>

namespace invscan {

// How many bytes at the front of a text are UTF-8.
std::size_t utf8Prefix(std::string_view text);

}  // namespace invscan
