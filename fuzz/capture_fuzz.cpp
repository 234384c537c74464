// A capture's machine.json: it is refused with one line that can be shown to a person, or what was
// read can be written and read again.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "invscan/machine/Capture.h"

namespace {

using namespace invscan;

void require(bool holds) {
  if (!holds) std::abort();
}

Json written(const CapturedCommand& command) {
  return toJson("line", CommandOutput{true, command.status, command.output});
}
Json written(const CapturedStatistics& statistics) {
  return toJson(statistics.answer);
}
template <class Fact>
Json written(const Fact& fact) {
  return toJson(fact);
}

// Two values are the same when they are written the same.
template <class Fact, class Read>
void checkRoundTrip(const Fact& fact, Read read) {
  require(written(read(Json::parse(written(fact).dump()), "fact")) == written(fact));
}

template <class Facts, class Read>
void checkAll(const Facts& facts, Read read) {
  for (const auto& [name, fact] : facts) checkRoundTrip(fact, read);
}

void checkFacts(const CaptureFacts& facts) {
  if (facts.kernelIdentity) checkRoundTrip(*facts.kernelIdentity, readKernelIdentity);
  if (facts.memoryFigures) checkRoundTrip(*facts.memoryFigures, readMemoryFigures);
  if (facts.runLevelRecord) checkRoundTrip(*facts.runLevelRecord, readRunLevelRecord);
  checkAll(facts.locales, readLocale);
  checkAll(facts.statistics, readStatistics);
  checkAll(facts.statistics64, readStatistics);
  checkAll(facts.cpuid, readCpuid);
  for (const auto* programs : {&facts.commands, &facts.helpers}) {
    for (const auto& [name, turns] : *programs) {
      require(!turns.empty());
      for (const CapturedCommand& turn : turns) checkRoundTrip(turn, readCommand);
    }
  }
  for (const auto& [name, value] : facts.environment) {
    require(isCapturedVariable(name) && value.find('\0') == std::string::npos);
  }
}

bool isOneLine(const std::string& text) {
  return !text.empty() && std::none_of(text.begin(), text.end(), [](unsigned char byte) {
    return byte < 0x20 || byte == 0x7F;
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    checkFacts(readFacts({reinterpret_cast<const char*>(data), size}));
  } catch (const CaptureError& error) {
    require(isOneLine(error.what()));
  }
  return 0;
}
