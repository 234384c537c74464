// The text of an XML file, as Xml.h describes it.
#pragma once

#include <string_view>

#include <invscan/base/Xml.h>

namespace invscan {

// Hands the sink the tree of a text, or what is wrong with it; true for the tree.
bool parseXml(std::string_view text, NodeSink& sink);

}  // namespace invscan
