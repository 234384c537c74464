// What a capture's machine.json has of what tells a machine, section by section.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/redact/Replacements.h"

namespace invscan::agent {

using Json = nlohmann::ordered_json;

// From now on what stands where serial numbers, addresses and names do is sensitive.
void learnFacts(const Json& machine, Replacements& replacements);

// The facts to be kept. Answers that cannot be checked go, and are named in leftOut.
Json redactFacts(const Json& machine, Replacements& replacements,
                 std::vector<std::string>& leftOut);

}  // namespace invscan::agent
