// The documents that are made from the program's own tables.
#pragma once

#include <string>

namespace invscan::manual {

struct Source {
  std::string date;      // of the pages
  std::string includes;  // the directory of the public headers
};

std::string programPage(const Source& source);        // invscan(1)
std::string libraryPage(const Source& source);        // libinvscan(3)
std::string configurationPage(const Source& source);  // invscan.conf(5)
std::string hardwarePage(const Source& source);       // OrvHWConfig.xml(5)

// Completion of command lines: commands, options, groups, attributes, files.
std::string bashCompletion(const Source& source);
std::string zshCompletion(const Source& source);
std::string fishCompletion(const Source& source);

}  // namespace invscan::manual
