#include "agent/ConfigurationKeys.h"

namespace invscan::agent {
namespace {

constexpr ConfigurationKey kKeys[] = {
    {"config_dir", "/etc/invscan", "Directory of the hardware configuration file."},
    {"common_trace_path", "",
     "Directory in which the helper program cpuid keeps a trace of its work, traceORV_cpuid.log."},
    {"hwscanner.config_file", "OrvHWConfig.xml",
     "Name of the hardware configuration file in that directory."},
    {"hwscanner.cputhreshold", "",
     "Share of one processor in percent that a scan may take, where the hardware configuration "
     "file "
     "does not tell; empty for no limit."},
    {"hwscanner.deadline", "the value of --timeout",
     "Milliseconds that the collection of a group may take, which questions that wait share."},
    {"hwscanner.helper_timeout", "",
     "Milliseconds that a helper program may take; empty for as long as its group may."},
    {"hwscanner.sources", "native",
     "Where facts are taken from: native, from the kernel first, or classic, from the sources that "
     "hosts of the library know."},
    {"hwscanner.timeout", "5000000",
     "Time-out of a question to a file system in microseconds; as milliseconds, 200000 unless set, "
     "the limit of the classic collection of storage devices."},
    {"agent.redact_key", "",
     "Key of the tokens that --redact makes; empty for random bytes that are kept in a file."},
};

}  // namespace

std::span<const ConfigurationKey> configurationKeys() {
  return kKeys;
}

}  // namespace invscan::agent
