// The machine's own table of hosts, /etc/hosts, and who else is asked for names.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>
#include <unordered_map>

namespace invscan {

// Tells what the "files" name service would, without asking any other.
class HostTable {
 public:
  // The official name of the host with an address, given in its bytes; empty when there is none.
  // Reads the table when it is another one than before, and not for each of thousands of addresses.
  std::string nameOf(const std::string& address);

 private:
  void refresh();
  void parse(std::string_view text);

  struct stat read_ {};
  std::unordered_map<std::string, std::string> names_;  // by the bytes of addresses
};

// Whether the machine asks that table and name servers for hosts, and no other service that may
// know more of them (/etc/nsswitch.conf).
bool asksTableAndServersOnly();

}  // namespace invscan
