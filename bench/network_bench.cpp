// What the network groups cost natively, without look-ups of names: on this machine, and as
// addresses and interfaces grow.
#include <benchmark/benchmark.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <memory>
#include <string>
#include <utility>

#include <invscan/base/OrvCfg.h>
#include <invscan/factory.h>

#include <nlohmann/json.hpp>

#include "invscan/machine/CaptureDocument.h"
#include "invscan/machine/LiveMachine.h"

namespace {

using namespace invscan;

constexpr unsigned long kIpv4 = 6, kIpv6 = 51, kAdapters = 7;
constexpr long kAddressesOfInterface = 10;

void collect(unsigned long id) {
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getKELGroup(id));
  const std::unique_ptr<KelTable> table(group->getTable());
  benchmark::DoNotOptimize(table->getRowCount());
}

// The live machine without name services.
class NamelessMachine : public LiveMachine {
 private:
  void doAsk(Question& question) override {
    if (&question.kind() != &kKindOf<HostLookupQuestion>) question.askLive();
  }
};

void scanNetworkOfThisMachine(benchmark::State& state) {
  OrvCfg::setKey("hwscanner.sources", "native");
  setMachine(std::make_unique<NamelessMachine>());
  for (auto _ : state) {
    for (const unsigned long id : {kIpv4, kIpv6, kAdapters}) collect(id);
  }
}

BENCHMARK(scanNetworkOfThisMachine)->Unit(benchmark::kMicrosecond);

NetlinkDump dumpOf(const Json& messages) {
  return NetlinkQuestion::read(CaptureDocument(messages.dump()).value());
}

// Half of the addresses are IPv4; as many routes lead to gateways of their subnets.
class LargeMachine : public LiveMachine {
 public:
  explicit LargeMachine(long addresses) {
    Json links = Json::array(), all = Json::array(), routes = Json::array();
    for (long i = 0; i <= addresses / kAddressesOfInterface; ++i) {
      links.push_back({{"index", i + 1},
                       {"label", "veth" + std::to_string(i)},
                       {"kind", "veth"},
                       {"mac", "02:00:00:00:00:01"}});
    }
    for (long i = 0; i < addresses; ++i) {
      const std::string net = std::to_string(i / 2 / 256) + "." + std::to_string(i / 2 % 256);
      const long index = i / kAddressesOfInterface + 1;
      if (i % 2 == 0) {
        all.push_back({{"index", index},
                       {"address", "10." + net + ".9"},
                       {"prefix", 24},
                       {"label", "veth" + std::to_string(index)}});
        routes.push_back({{"gateway", "10." + net + ".1"},
                          {"index", index},
                          {"destination", "172." + net + ".0"},
                          {"prefix", 24}});
      } else {
        char group[20];
        snprintf(group, sizeof group, "%lx", i);
        all.push_back({{"index", index},
                       {"prefix", 64},
                       {"address", "2001:db8:" + std::string(group) + "::1"}});
      }
    }
    links_ = dumpOf(links);
    addresses_ = dumpOf(all);
    routes_ = dumpOf(routes);
  }

 private:
  FileText doReadFile(const std::string&, std::size_t) override { return {ENOENT, {}}; }
  FileText doReadLink(const std::string&) override { return {ENOENT, {}}; }
  int doExists(const std::string&) override { return ENOENT; }
  void doAsk(Question& question) override {
    if (&question.kind() != &kKindOf<NetlinkQuestion>) return;
    const std::string key = question.key();
    static_cast<Asked<NetlinkQuestion>&>(question).answer = key == "18"   ? links_
                                                            : key == "22" ? addresses_
                                                                          : routes_;
  }

  NetlinkDump links_, addresses_, routes_;
};

void scanGrowingNetwork(benchmark::State& state, unsigned long id) {
  OrvCfg::setKey("hwscanner.sources", "native");
  setMachine(std::make_unique<LargeMachine>(state.range(0)));
  for (auto _ : state) collect(id);
  state.SetComplexityN(state.range(0));
  setMachine(std::make_unique<LiveMachine>());
}

void growTo10000(benchmark::internal::Benchmark* growing) {
  growing->RangeMultiplier(10)->Range(10, 10000)->Complexity()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(scanGrowingNetwork, ipv4, kIpv4)->Apply(growTo10000);
BENCHMARK_CAPTURE(scanGrowingNetwork, ipv6, kIpv6)->Apply(growTo10000);
BENCHMARK_CAPTURE(scanGrowingNetwork, adapters, kAdapters)->Apply(growTo10000);

}  // namespace
