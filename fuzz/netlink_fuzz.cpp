// Hostile datagrams of the routing socket: through the messages' readers, the enumerator's
// callbacks, and as what the kernel answers to every dump that the native collectors ask for.
#include <cstdint>
#include <cstdlib>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include <invscan/base/OrvCfg.h>
#include <invscan/network.h>

#include "../tests/TestMachine.h"
#include "agent/redact/NetlinkRedaction.h"
#include "agent/redact/Redactor.h"
#include "invscan/linux/utils/KernelAdapters.h"
#include "invscan/linux/utils/KernelAddresses.h"
#include "invscan/linux/utils/KernelTables.h"

namespace {

using namespace invscan;

void require(bool holds) {
  if (!holds) std::abort();
}

// Whether the message walk stays inside, moves on, and hands out views of the datagram. The number
// of links, addresses and routes in it.
std::size_t checkWalk(std::string_view datagram) {
  std::size_t last = 0, known = 0;
  NetlinkMessage message;
  for (NetlinkMessages messages(datagram); messages.next(message);) {
    const auto begin = static_cast<std::size_t>(message.whole.data() - datagram.data());
    require(begin >= last && begin + message.whole.size() <= datagram.size());
    last = begin + message.whole.size();
    if (const auto link = readLink(message)) {
      ++known;
      require(link->hardwareAddress.empty() || link->hardwareAddress.size() >= 6);
      require(link->name.find('\0') == link->name.npos);
    }
    if (const auto address = readAddress(message)) {
      ++known;
      require(!address->address.empty());
    }
    if (const auto route = readRoute(message)) {
      ++known;
      for (const KernelNextHop& hop : route->hops) {
        require(hop.gateway.size() == route->destination.size());
      }
    }
  }
  return known;
}

void checkCallbacks(std::string datagram) {
  NetlinkIpAddressEnumerator::Records records;
  for (const auto callback :
       {NetlinkIpAddressEnumerator::r_processIPs, NetlinkIpAddressEnumerator::r_processMACs}) {
    NetlinkIpAddressEnumerator::processResponse(datagram.data(), datagram.size(), records,
                                                callback);
  }
  for (const auto& [index, record] : records) {
    require(record.macAddress.empty() || record.macAddress.size() == 17);
  }
}

// A redacted datagram tells as much.
void checkRedaction(const std::string& datagram, std::size_t known) {
  static const agent::Redactor redactor = [] {
    OrvCfg::setKey("agent.redact_key", "k");
    return agent::Redactor();
  }();
  agent::Replacements replacements({}, redactor);
  require(checkWalk(agent::redactDatagram(datagram, replacements)) == known);
}

// Every dump is this datagram and an end.
class DatagramMachine : public TestMachine {
 public:
  DatagramMachine() : TestMachine(Answers{}) {}

  void answerWith(std::string_view datagram) { datagram_ = datagram; }

 private:
  void doAsk(Question& question) override {
    if (&question.kind() != &kKindOf<NetlinkQuestion>) return;
    auto& answer = static_cast<Asked<NetlinkQuestion>&>(question).answer;
    answer = {NetlinkFailure::None, 0, {std::string(datagram_)}};
  }

  std::string_view datagram_;
};

// Machines are kept to the end of the process, so there is one for all inputs.
DatagramMachine& datagramMachine() {
  static DatagramMachine* const instance = [] {
    auto* const made = new DatagramMachine;
    setMachine(std::unique_ptr<Machine>(made));
    return made;
  }();
  return *instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view datagram(reinterpret_cast<const char*>(data), size);
  checkCallbacks(std::string(datagram));
  checkRedaction(std::string(datagram), checkWalk(datagram));
  datagramMachine().answerWith(datagram);
  const auto ipv4 = kernelIpv4Records();
  for (const auto& record : ipv4.value()) {
    require(!record.address.empty() && !record.address.starts_with("127.0.0."));
    require(record.macAddress.size() == 17);
  }
  const auto ipv6 = kernelIpv6Records();
  for (const auto& record : ipv6.value()) {
    require(record.gateway.empty() || record.gateway.size() == 39);
  }
  const auto adapters = kernelAdapters();
  for (const Adapter& adapter : adapters.value()) require(adapter.type >= 2);
  return 0;
}
