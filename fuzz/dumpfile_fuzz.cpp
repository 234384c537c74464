// The table's text form. The format line stands before the input, as another one ends the process.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include <invscan/smbios.h>

#include "FuzzTarget.h"

namespace {

using namespace invscan;

// A file in memory and its path.
struct MemoryFile {
  int descriptor = memfd_create("dump", 0);
  std::string path = "/proc/self/fd/" + std::to_string(descriptor);

  void hold(const std::string& text) const {
    require(ftruncate(descriptor, 0) == 0);
    require(pwrite(descriptor, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
  }
};

// What is written has to have a name.
std::string namedFile() {
  std::string path = "/dev/shm/dump.XXXXXX";
  close(mkstemp(path.data()));
  return path;
}

}  // namespace

void invscan::tryInput(std::string_view text) {
  static const MemoryFile input;
  input.hold("SMBIOS File Format=0x0001\n" + std::string(text));
  std::string path = input.path;
  SMBIOSTable table(path.data());
  table.parseData();
  // What was read comes back the same through a file of our own. Long tables of zeros take long.
  if (table.getTotalLength() > 1 << 16) return;
  std::string output = namedFile();
  require(table.writeBytesToFile(output.data()) == 1);
  const SMBIOSTable copy(output.data());
  unlink(output.c_str());
  const auto length = static_cast<std::size_t>(table.getTotalLength());
  require(copy.getTotalLength() == table.getTotalLength());
  require(copy.getRevision() == table.getRevision());
  require(length == 0 || std::memcmp(copy.getData(), table.getData(), length) == 0);
}
