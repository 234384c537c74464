#include "agent/formats/Units.h"

#include <algorithm>
#include <iterator>

#include <invscan/traits.h>

namespace invscan::agent {
namespace {

// The first one is that of attributes without any. The catalogue's MB are of 1024 KiB.
constexpr Unit kUnits[] = {
    {"", ""},
    {"bytes", "bytes"},
    {"KiB", "bytes", 1024},
    {"MB", "bytes", 1024 * 1024},
    {"MHz", "hertz", 1e6},
    {"seconds", "seconds"},
    {"hundredths of a second", "seconds", 1, 100},
    {"clock ticks", "seconds", 1, 100},  // of USER_HZ, 100 on this processor
    {"percent", "ratio", 1, 100},
    {"processors", "processors"},
    {"cores", "cores"},
};

}  // namespace

const Unit& unitOf(unsigned long groupId, unsigned long attribId) {
  const AttributeTraits* const traits = attributeTraits(groupId, attribId);
  const std::string_view name = traits ? traits->unit : "";
  const auto* const unit = std::find_if(std::begin(kUnits), std::end(kUnits),
                                        [name](const Unit& each) { return each.name == name; });
  return unit == std::end(kUnits) ? kUnits[0] : *unit;
}

}  // namespace invscan::agent
