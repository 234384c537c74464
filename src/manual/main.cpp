// Prints one document of the manual: manual NAME DATE INCLUDE_DIRECTORY

#include <cstdio>
#include <cstring>
#include <exception>

#include "manual/Manual.h"

namespace invscan::manual {
namespace {

constexpr struct {
  const char* name;
  std::string (*make)(const Source& source);
} kDocuments[] = {
    {"invscan.1", programPage},
    {"libinvscan.3", libraryPage},
    {"invscan.conf.5", configurationPage},
    {"OrvHWConfig.xml.5", hardwarePage},
    {"invscan", bashCompletion},
    {"_invscan", zshCompletion},
    {"invscan.fish", fishCompletion},
};

int print(int argc, char** argv) {
  for (const auto& [name, make] : kDocuments) {
    if (argc != 4 || std::strcmp(argv[1], name) != 0) continue;
    const std::string text = make({argv[2], argv[3]});
    const bool isWritten = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    return isWritten ? 0 : 1;
  }
  std::fputs("usage: manual NAME DATE INCLUDE_DIRECTORY\n", stderr);
  return 2;
}

}  // namespace
}  // namespace invscan::manual

int main(int argc, char** argv) try {
  return invscan::manual::print(argc, argv);
} catch (const std::exception& error) {
  std::fprintf(stderr, "manual: %s\n", error.what());
  return 1;
}
