// Why attributes have no value, and where those come from that there are.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/traits.h>

#include "agent/scan/Scan.h"

namespace invscan::agent {

// What an access says to have stood in the way.
Obstacle obstacleIn(const Access& access);

// What helps against one of these outcomes; empty when nothing is known to.
std::string helpAgainst(const std::vector<std::string>& outcomes);

// "/a, /b: permission denied; /c: no such file or directory".
std::string inWords(const std::vector<Access>& failed);

// Whether one of the attribute's sources is this one, as the access log names it.
bool isSource(const AttributeTraits& traits, std::string_view source);

// Whether the attribute's values come from a source, rather than from this program or from nowhere.
bool hasSources(const AttributeTraits* traits);

// Whether no row has more of the attribute than its default.
bool isMissing(const GroupResult& result, const kelAttribDef& attribute);

// Whether some row has no more of it.
bool isMissingSomewhere(const GroupResult& result, const kelAttribDef& attribute);

// Why the sources of an attribute gave nothing, and what would help; from the accesses that the
// scan noted.
std::string reasonForDefault(const GroupResult& result, const kelAttribDef& attribute);

// The source that gave the values of an attribute; where the access log does not tell which of
// several that answered it was, all of them, in the order in which they are asked. Empty when it
// was none.
std::string giverOf(const GroupResult& result, const kelAttribDef& attribute);

// Equal accesses together.
struct SourceUse {
  std::string source;
  std::string outcome;
  std::size_t times = 0;
  double milliseconds = 0;
};

// In the order in which each was first made.
std::vector<SourceUse> sourceUses(const std::vector<Access>& accesses);

// A text with the attributes that it holds for.
struct Remark {
  std::string text;
  std::vector<std::string> attributes;
};

// Each reason for which attributes have their default in some row, once: an attribute stands with
// all reasons that hold for it. Attributes are in the order of the catalogue.
std::vector<Remark> reasonsOf(const GroupResult& result);

// Each source with the attributes that it gave.
std::vector<Remark> giversOf(const GroupResult& result);

// The remarks below a title, in lines that fit a terminal; nothing where there is none.
std::string remarkBlock(const std::string& title, const std::vector<Remark>& remarks);

}  // namespace invscan::agent
