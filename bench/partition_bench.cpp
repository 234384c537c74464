// What listing mounts costs: on this machine, and as they grow.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include <invscan/base/OrvCfg.h>
#include <invscan/groups.h>

#include "invscan/machine/LiveMachine.h"

namespace {

using namespace invscan;

void collect() {
  const std::unique_ptr<KelTable> table(PartitionGroup().getTable());
  benchmark::DoNotOptimize(table->getRowCount());
}

void scanMountsOfThisMachine(benchmark::State& state) {
  OrvCfg::setKey("hwscanner.sources", "native");
  setMachine(std::make_unique<LiveMachine>());
  for (auto _ : state) collect();
}

BENCHMARK(scanMountsOfThisMachine)->Unit(benchmark::kMicrosecond);

// Has a table of that many mounts, a tenth of them of network file systems, and answers any other
// question in no time.
class ManyMounts : public LiveMachine {
 public:
  explicit ManyMounts(long count) {
    for (long i = 0; i < count; ++i) {
      const std::string number = std::to_string(i);
      table_ +=
          number + " 1 " +
          (i % 10 == 0 ? "0:" + number + " / /net/" + number + " rw - nfs4 server:/x/" + number
                       : "8:" + number + " / /mnt/" + number + " rw - xfs /dev/disk" + number) +
          " rw,relatime\n";
    }
  }

 private:
  FileText doReadFile(const std::string& path, std::size_t) override {
    return path == "/proc/self/mountinfo" ? FileText{0, table_} : FileText{ENOENT, {}};
  }
  void doAsk(Question&) override {}

  std::string table_;
};

void scanManyMounts(benchmark::State& state) {
  OrvCfg::setKey("hwscanner.sources", "native");
  setMachine(std::make_unique<ManyMounts>(state.range(0)));
  for (auto _ : state) collect();
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
  setMachine(std::make_unique<LiveMachine>());
}

BENCHMARK(scanManyMounts)->RangeMultiplier(10)->Range(1, 100000)->UseRealTime()->Complexity();

}  // namespace
