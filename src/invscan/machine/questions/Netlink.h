// A dump of what the kernel's routing socket tells: links, addresses, routes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "invscan/machine/Question.h"

namespace invscan {

// Where a dump failed, if it did.
enum class NetlinkFailure { None, Open, Bind, Send, Receive };

struct NetlinkDump {
  NetlinkFailure failure = NetlinkFailure::Open;
  int error = 0;                       // errno of the failure
  std::vector<std::string> datagrams;  // whole, in the order they came; none after a failure
};

// Type and family of the request. Family 17 (AF_PACKET) stands for all of them.
struct NetlinkRequest {
  int type = 0;
  int family = 0;
};

// A dump without an end is a failed one. In a capture a message may also be given in fields, as a
// person writes it: the bytes are those that a kernel would send.
struct NetlinkQuestion : PlainQuestion<NetlinkDump, NetlinkRequest> {
  static constexpr const char* kSections[] = {"netlink"};
  static constexpr bool kIsAlwaysAnswered = true;
  static std::string keyName(NetlinkRequest request);  // "22" for all families, else "22.2"
  static std::string readKey(const std::string& name, const CaptureValue& value);
  static std::string logName(NetlinkRequest request);
  static std::string outcome(const NetlinkDump& dump);
  static bool isRefused(const NetlinkDump& dump) { return dump.error != 0; }
  static Answer live(NetlinkRequest request);
  static void write(Json& json, const NetlinkDump& dump);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
