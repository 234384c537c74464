// The table's text form. The format line stands before the input, as another one ends the process.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <invscan/smbios.h>

namespace {

// A file in memory and its path.
struct MemoryFile {
  int descriptor = memfd_create("dump", 0);
  std::string path = "/proc/self/fd/" + std::to_string(descriptor);

  void hold(const std::string& text) const {
    if (ftruncate(descriptor, 0) != 0 ||
        pwrite(descriptor, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
      std::abort();
    }
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static MemoryFile input, output;
  input.hold("SMBIOS File Format=0x0001\n" +
             std::string(reinterpret_cast<const char*>(data), size));
  SMBIOSTable table(input.path.data());
  table.parseData();
  // What was read comes back the same through a file of our own. Long tables of zeros take long.
  if (table.getTotalLength() > 1 << 16) return 0;
  output.hold("");
  if (table.writeBytesToFile(output.path.data()) != 1) std::abort();
  const SMBIOSTable copy(output.path.data());
  const auto length = static_cast<std::size_t>(table.getTotalLength());
  if (copy.getTotalLength() != table.getTotalLength() ||
      copy.getRevision() != table.getRevision() ||
      (length != 0 && std::memcmp(copy.getData(), table.getData(), length) != 0)) {
    std::abort();
  }
  return 0;
}
