// Forged machines: the input is lines of a letter, a path and what is there. "l" is a link, "f" a
// file, which may be given line by line, and "d" a name in a directory.

#include "../tests/TestMachine.h"
#include "FuzzTarget.h"
#include "common/text/Lines.h"
#include "helpers/diskscan/DiskScan.h"

namespace {

using namespace invscan;

Answers machineOf(std::string_view input) {
  Answers answers;
  answers.directories["/sys/class/block"] = {};
  TextLines lines(input, input.size());
  for (std::string_view line; lines.next(line);) {
    line = withoutTrailing(line, "\n");
    const std::string_view kind = nextField(line, " ");
    const std::string path(nextField(line, " "));
    const std::size_t slash = std::min(path.rfind('/'), path.size());
    if (kind == "f") answers.files[path].text += std::string(line) + "\n";
    if (kind == "d") answers.directories[path].emplace_back(line);
    if (kind == "l" && answers.links.emplace(path, line).second && slash < path.size()) {
      answers.directories[path.substr(0, slash)].push_back(path.substr(slash + 1));
    }
  }
  return answers;
}

// No text ends a line of the dump.
void check(const VtNode* node) {
  for (const VtVariant* value = node->values; value; value = value->next) {
    const std::string_view text = value->kind == kVtString ? value->value.string : "";
    require(std::none_of(text.begin(), text.end(), [](unsigned char byte) { return byte < ' '; }));
  }
  for (const VtNode* child = node->children; child; child = child->next) check(child);
}

}  // namespace

void invscan::tryInput(std::string_view input) {
  const OnMachine machine(machineOf(input));
  check(diskscan::scanDisks().get());
}
