#include "agent/Descriptor.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <system_error>

namespace invscan::agent {

std::string errorText(int error) {
  std::string text = std::generic_category().message(error);
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool readAll(int descriptor, std::string& text, std::size_t limit) {
  constexpr std::size_t kBlock = 1 << 16;
  text.clear();
  while (text.size() < limit) {
    const std::size_t length = text.size();
    text.resize(std::min(limit, length + kBlock));
    const ssize_t count = read(descriptor, text.data() + length, text.size() - length);
    text.resize(length + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0;
  }
  return true;
}

}  // namespace invscan::agent
