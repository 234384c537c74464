// Hostile listings, files, databases and tools, as the answers that identities are read from: the
// input is each of them.
#include <algorithm>
#include <cstring>
#include <iterator>

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

void tryDevices(std::string_view) {
  require(std::unique_ptr<KelTable>(PCIDeviceGroup().getTable()) != nullptr);
}

void tryProcessors(std::string_view) {
  const std::unique_ptr<KelTable> processors(ProcessorGroup().getTable());
}

void tryIdentities(std::string_view) {
  require(std::unique_ptr<KelTable>(ComponentIDGroup().getTable()) != nullptr);
  require(std::unique_ptr<KelTable>(LParGroup().getTable()) != nullptr);
}

void tryKeyTexts(std::string_view input) {
  require(parsePackages(input).size() <= 1024);
  const std::unique_ptr<char[]> text(new char[kGuestTextSize]);
  unsigned capacity = 0;
  double share = 0;
  const int code = getNodeId(text.get());
  require(strlen(text.get()) < kGuestTextSize && getVMCapacity(&share) == code &&
          getNodeCapacity(&capacity) == code);
}

}  // namespace

// The first character chooses the readers.
void invscan::tryInput(std::string_view input) {
  constexpr void (*kReaders[])(std::string_view) = {tryDevices, tryProcessors, tryIdentities,
                                                    tryKeyTexts};
  const std::size_t chosen = input.empty() ? 0 : static_cast<unsigned char>(input.front());
  input.remove_prefix(std::min<std::size_t>(input.size(), 1));
  setMachine(std::make_shared<HostileMachine>(std::string(input)));
  OrvCfg::setKey("hwscanner.sources", "native");
  kReaders[chosen % std::size(kReaders)](input);
}
