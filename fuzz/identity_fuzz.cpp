// Hostile listings, files, databases and tools, as the answers that identities are read from: the
// input is each of them.
#include <cstring>

#include <invscan/base/OrvCfg.h>
#include <invscan/groups.h>
#include <invscan/vmware.h>

#include "../tests/TestMachine.h"
#include "FuzzTarget.h"
#include "invscan/linux/utils/PackageText.h"

namespace {

using namespace invscan;

class HostileMachine : public TestMachine {
 public:
  explicit HostileMachine(std::string text) : TestMachine(Answers{}), text_(std::move(text)) {}

 private:
  FileText doReadFile(const std::string&, std::size_t limit) override {
    return {0, text_.substr(0, limit)};
  }
  Listing doListDirectory(const std::string&) override { return {0, {text_, "0000:00:02.0"}}; }
  CommandOutput doRunCommand(const std::string&, const CommandLimits& limits) override {
    return {true, 0, text_.substr(0, limits.bytes)};
  }
  void doAsk(Question& question) override {
    if (auto* hardware = dynamic_cast<Asked<HardwareQuestion>*>(&question)) {
      hardware->answer = {{"ID_VENDOR_FROM_DATABASE", text_}, {"ID_MODEL_FROM_DATABASE", text_}};
    }
  }

  std::string text_;
};

}  // namespace

void invscan::tryInput(std::string_view input) {
  setMachine(std::make_shared<HostileMachine>(std::string(input)));
  OrvCfg::setKey("hwscanner.sources", "native");
  const std::unique_ptr<KelTable> functions(PCIDeviceGroup().getTable());
  const std::unique_ptr<KelTable> processors(ProcessorGroup().getTable());
  const std::unique_ptr<KelTable> component(ComponentIDGroup().getTable());
  const std::unique_ptr<KelTable> partition(LParGroup().getTable());
  require(functions && component && partition);
  require(parsePackages(input).size() <= 1024);
  const std::unique_ptr<char[]> text(new char[kGuestTextSize]);
  unsigned capacity = 0;
  double share = 0;
  const int code = getNodeId(text.get());
  require(strlen(text.get()) < kGuestTextSize && getVMCapacity(&share) == code &&
          getNodeCapacity(&capacity) == code);
}
