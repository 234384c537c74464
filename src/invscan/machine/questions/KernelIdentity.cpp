#include "invscan/machine/questions/KernelIdentity.h"

#include <sys/utsname.h>

#include <nlohmann/json.hpp>

namespace invscan {

KernelIdentityQuestion::Answer KernelIdentityQuestion::live(NoKey) {
  utsname names;
  if (uname(&names) != 0) return std::nullopt;
  return KernelIdentity{names.sysname, names.nodename, names.release, names.version, names.machine};
}

void KernelIdentityQuestion::write(Json& json, const Answer& kernel) {
  if (!kernel) return;
  json = {{"sysname", kernel->sysname},
          {"nodename", kernel->nodename},
          {"release", kernel->release},
          {"version", kernel->version},
          {"machine", kernel->machine}};
}

KernelIdentityQuestion::Answer KernelIdentityQuestion::read(const CaptureValue& value) {
  value.checkNames({"sysname", "nodename", "release", "version", "machine"});
  return KernelIdentity{value["sysname"].text(), value["nodename"].text(), value["release"].text(),
                        value["version"].text(), value["machine"].text()};
}

}  // namespace invscan
