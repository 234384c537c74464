// Processor packages as an administrator describes them to a guest: the form stands in groups.h.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace invscan {

// By attribute; what is not known is not there.
struct Package {
  std::map<unsigned long, std::string> texts;
  std::map<unsigned long, unsigned long> numbers;
};

// The packages that a text tells of; none when any part of it cannot be understood.
std::vector<Package> parsePackages(std::string_view text);

}  // namespace invscan
