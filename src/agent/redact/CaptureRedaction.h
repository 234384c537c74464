// Takes the sensitive values out of a finished capture.
#pragma once

#include <cstddef>
#include <string>

#include "agent/redact/Redactor.h"
#include "agent/scan/Scan.h"

namespace invscan::agent {

struct CaptureRedaction {
  std::size_t replaced = 0;
  std::size_t files = 0;  // that held any
};

// Replaces the sensitive values of the scan that was captured, and the host name, wherever they
// stand as whole words in machine.json and in the files; each file changes as a whole. Addresses
// become others of their kind (Addresses.h), the same everywhere, so that what a replay finds still
// belongs together; those of neighbours, too, where they are listed. In binary files and answers a
// value becomes as many digits of its token, and addresses in network order are found too. Netlink
// datagrams are written anew (NetlinkRedaction.h). A value of less than four characters is replaced
// only where it is a line or a JSON text of its own. Throws Failure.
CaptureRedaction redactCapture(const std::string& directory, const Scan& scan,
                               const Redactor& redactor);

}  // namespace invscan::agent
