#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <invscan/process.h>
#include <invscan/vmware.h>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using namespace invscan;

namespace {

constexpr unsigned kGetVersion = 10;
constexpr unsigned kLastProduct = 4;
constexpr int kRequiredVersion = 6;
constexpr int kProbeSeconds = 5;

constexpr std::size_t kOutputLimit = 64 << 10;
// Two tools for each of five keys stay within the time that a group usually has.
constexpr std::chrono::seconds kToolTime{2};
constexpr int kFailed = -1, kNoValue = -2;

// The body of the probe's child, which ends with the version of the channel, or 0. An exit code has
// one byte: a greater version is not to be taken for a smaller one.
void endWithVersion() {
  stopAccessLog();
  unsigned eax = 0, ebx = 0, ecx = kGetVersion;
  VMwareBackdoor(&eax, &ebx, &ecx, nullptr);
  const bool isChannel = ebx == kChannelMagic && ecx >= 1 && ecx <= kLastProduct;
  std::_Exit(isChannel ? static_cast<int>(std::min(eax, 0xFFU)) : 0);
}

// The first line of a program's output as a C program sees it: up to its first NUL, without white
// space at its end, but never without its first character.
std::string_view valueIn(std::string_view output) {
  std::string_view line = output.substr(0, output.find('\n') + 1);
  if (line.empty()) line = output;
  line = line.substr(0, line.find('\0'));
  const std::size_t last = line.find_last_not_of(" \t\n\v\f\r");
  return line.substr(0, last == line.npos ? 1 : last + 1);
}

// Reads a key of the administrator's with the first tool that can.
int readKey(const char* key, char* buffer) {
  const std::string question = "'info-get guestinfo.orv_" + std::string(key) + "' 2>/dev/null";
  const int code = getInfo(buffer, ("vmware-guestd --cmd " + question).c_str());
  return code == 0 ? 0 : getInfo(buffer, ("vmware-rpctool " + question).c_str());
}

}  // namespace

unsigned VMwareBackdoor(unsigned* eax, unsigned* ebx, unsigned* ecx, unsigned* edx) {
  const auto answer = machine().guestChannel(ecx ? *ecx : 0, ebx ? *ebx : 0);
  if (!answer) return 0;
  if (eax) *eax = answer->eax;
  if (ebx) *ebx = answer->ebx;
  if (ecx) *ecx = answer->ecx;
  if (edx) *edx = answer->edx;
  return answer->eax;
}

int check_virtual() {
  const Trace trace(getCcLogHw(), "check_virtual()");
  machine();  // a child could wait in vain for a lock that another thread holds
  // What the child notes is lost with it.
  const NotedQuestion question(GuestChannelQuestion::kLogName);
  const int version = std::max(0, execForked(endWithVersion, kProbeSeconds, nullptr));
  question.answered(version != 0 ? "ok" : "not available");
  if (version == kRequiredVersion) return 1;
  trace.at().min("VMware software version: detected %d required %d", version, kRequiredVersion);
  return 0;
}

int getInfo(char* output, const char* command) {
  const Trace trace(getCcLogHw(), "getInfo()");
  if (output) *output = '\0';
  if (!output || !command) return kFailed;
  const CommandOutput answer = machine().runCommand(command, {kOutputLimit, kToolTime});
  if (!answer.started) {
    trace.at().min("unable to obtain output stream from command '%s'", command);
    return kFailed;
  }
  if (answer.text.empty()) {
    trace.at().min("no suitable output text from command '%s'", command);
    return kFailed;
  }
  // One that had more to say than is read was ended for it.
  const bool wasEnded = answer.text.size() >= kOutputLimit;
  if (const auto code = static_cast<signed char>(answer.status); code != 0 && !wasEnded) {
    trace.at().min("command '%s' exit with problems: return code = %d", command, code);
    return code;
  }
  const std::string_view value = valueIn(answer.text);
  if (value.find("No value found") != value.npos) {
    trace.at().min("info not found");
    return kNoValue;
  }
  const std::string_view kept = cutText(value, kGuestTextSize - 1);
  output[kept.copy(output, kept.size())] = '\0';
  trace.at().max("info retrieved successful = %s", output);
  return 0;
}

int getNodeId(char* nodeId) {
  return readKey("node_id", nodeId) == 0;
}

int getNodeCapacity(unsigned* nodeCapacity) {
  char buffer[kGuestTextSize];
  const int code = readKey("node_capacity", buffer);
  if (nodeCapacity) *nodeCapacity = static_cast<unsigned>(leadingInteger(buffer));
  return code == 0;
}

int getVMId(char* vmId) {
  return readKey("vm_id", vmId) == 0;
}

int getVMCapacity(double* vmCapacity) {
  char buffer[kGuestTextSize];
  const int code = readKey("vm_capacity", buffer);
  if (vmCapacity) *vmCapacity = leadingReal(buffer);
  return code == 0;
}

int getPhysicalProc(char* processors) {
  return readKey("physical_processor", processors) == 0;
}

int getGuestInfo(char* nodeId, unsigned* nodeCapacity, char* vmId, double* vmCapacity) {
  return getNodeId(nodeId) && getNodeCapacity(nodeCapacity) && getVMId(vmId) &&
         getVMCapacity(vmCapacity);
}

int getHostInfo(HostInfo* info) {
  static constexpr struct {
    const char* key;
    char* HostInfo::*member;
    bool isNoneEmpty;
  } kKeys[] = {
      {"node_man", &HostInfo::manufacturer, false}, {"node_id", &HostInfo::nodeId, false},
      {"node_prod", &HostInfo::product, true},      {"node_ver", &HostInfo::version, true},
      {"node_type", &HostInfo::machineType, true},
  };
  const Trace trace(getCcLogHw(), "getHostInfo()");
  if (!info) return kFailed;
  int code = 0;
  for (const auto& [key, member, isNoneEmpty] : kKeys) {
    char buffer[kGuestTextSize];
    code = readKey(key, buffer);
    trace.at().max("buf=%s", buffer);
    const bool isNone = isNoneEmpty && std::string_view(buffer) == "None";
    info->*member = strdup(isNone ? "" : buffer);
  }
  return code;
}
