// What scanning disks costs as the machine grows: the helper's scan, and the groups that tell of
// it.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <invscan/base/OrvCfg.h>
#include <invscan/factory.h>
#include <invscan/helper.h>

#include "helpers/diskscan/DiskScan.h"
#include "invscan/machine/LiveMachine.h"

namespace {

using namespace invscan;

// Answers in constant time, so that the growth seen is that of the scan.
class ManyDisks : public LiveMachine {
 public:
  explicit ManyDisks(long count) {
    for (long number = 0; number < count; ++number) addDisk(number);
  }

  long questions = 0;

 private:
  // A disk in a storage network, with its generic device and a mounted partition, and a logical
  // volume on it and another; a hundred disks to a remote port, and ten ports to an adapter.
  void addDisk(long number) {
    const std::string id = std::to_string(number), host = std::to_string(number / 1000);
    const std::string port = std::to_string(number / 100 % 10);
    const std::string address = host + ":0:" + port + ":" + id;
    const std::string above = "pci0000:00/0000:05:00.0/host" + host + "/";
    const std::string path = above + "rport-" + host + ":0-" + port + "/" + address;
    addDevice("scsi_generic", path + "/scsi_generic/sg" + id);
    addDevice("block", path + "/block/sd" + id, "8:" + id);
    addDevice("block", path + "/block/sd" + id + "/sd" + id + "p1", "259:" + id);
    addDevice("block", "virtual/block/dm-" + id, "252:" + id);
    files_["/sys/class/block/sd" + id + "/size"] = "2048\n";
    const std::string whole = "/sys/block/sd" + id;
    directories_["/sys/block"].push_back("sd" + id);
    links_[whole] = "../devices/" + path + "/block/sd" + id;
    files_[whole + "/size"] = "2048\n";
    files_[whole + "/dev"] = "8:" + id + "\n";
    files_[whole + "/device/model"] = "Disk\n";
    files_["/run/udev/data/b8:" + id] = "E:ID_MODEL_ENC=Disk\nE:ID_SERIAL_SHORT=" + id + "\n";
    files_["/sys/class/block/dm-" + id + "/dm/name"] = "vg-" + id + "\n";
    directories_["/sys/class/block/dm-" + id + "/slaves"] = {"sd" + id,
                                                             "sd" + std::to_string(number / 2)};
    files_["/proc/self/mountinfo"] +=
        "1 1 259:" + id + " / /data/" + id + " rw - xfs /dev/sd" + id + "p1 rw\n";
    if (number % 1000 == 0) addDevice("scsi_host", above + "scsi_host/host" + host);
  }
  void addDevice(const std::string& className, const std::string& path,
                 const std::string& number = "") {
    const std::string directory = "/sys/class/" + className;
    const std::string name = path.substr(path.rfind('/') + 1);
    directories_[directory].push_back(name);
    links_[directory + "/" + name] = "../../devices/" + path;
    if (!number.empty()) files_[directory + "/" + name + "/dev"] = number + "\n";
  }

  FileText doReadFile(const std::string& path, std::size_t) override {
    ++questions;
    const auto found = files_.find(path);
    return found == files_.end() ? FileText{ENOENT, {}} : FileText{0, found->second};
  }
  int doExists(const std::string&) override {
    ++questions;
    return 0;
  }
  FileText doReadLink(const std::string& path) override {
    ++questions;
    const auto found = links_.find(path);
    return found == links_.end() ? FileText{ENOENT, {}} : FileText{0, found->second};
  }
  Listing doListDirectory(const std::string& path) override {
    ++questions;
    const auto found = directories_.find(path);
    return found == directories_.end() ? Listing{ENOENT} : Listing{0, found->second};
  }

  std::unordered_map<std::string, std::string> files_, links_;
  std::unordered_map<std::string, std::vector<std::string>> directories_;
};

void scanDisks(benchmark::State& state) {
  auto disks = std::make_unique<ManyDisks>(state.range(0));
  const ManyDisks& asked = *disks;
  setMachine(std::move(disks));
  for (auto _ : state) benchmark::DoNotOptimize(diskscan::scanDisks());
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["questions"] =
      benchmark::Counter(static_cast<double>(asked.questions), benchmark::Counter::kAvgIterations);
  state.SetComplexityN(state.range(0));
  setMachine(std::make_unique<LiveMachine>());
}

// The helper's answer as text.
std::string answerOf(const VtNode* node) {
  std::string text = "(" + std::string(node->name) + "\n";
  for (const VtVariant* value = node->values; value; value = value->next) {
    const bool isText = value->kind == kVtString;
    text += value->name + std::string(isText ? ":s=" : ":i=") +
            (isText ? value->value.string : std::to_string(value->value.integer)) + "\n";
  }
  for (const VtNode* child = node->children; child; child = child->next) text += answerOf(child);
  return text + ")\n";
}

void collectGroup(benchmark::State& state, unsigned long id) {
  setMachine(std::make_unique<ManyDisks>(state.range(0)));
  OrvCfg::setKey("hwscanner.sources", "native");
  giveHelperOutput("diskscan", "1.0 0 OK\n" + answerOf(diskscan::scanDisks().get()), {});
  for (auto _ : state) {
    const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getKELGroup(id));
    const std::unique_ptr<KelTable> table(group->getTable());
    benchmark::DoNotOptimize(table.get());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetComplexityN(state.range(0));
  OrvCfg::setKey("hwscanner.sources", "");
  setMachine(std::make_unique<LiveMachine>());
}

BENCHMARK_CAPTURE(collectGroup, Storage, 5)->RangeMultiplier(10)->Range(1, 10000)->Complexity();
BENCHMARK_CAPTURE(collectGroup, PartitionToStorage, 53)
    ->RangeMultiplier(10)
    ->Range(1, 10000)
    ->Complexity();
BENCHMARK_CAPTURE(collectGroup, SanAdapter, 54)->RangeMultiplier(10)->Range(1, 10000)->Complexity();
BENCHMARK(scanDisks)->RangeMultiplier(10)->Range(1, 100000)->Complexity();

}  // namespace
