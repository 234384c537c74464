// A capture's machine.json: it is refused with one line that can be shown to a person, or what was
// read can be written and read again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

#include "invscan/machine/Capture.h"

namespace {

using namespace invscan;

// Two values are the same when they are written the same.
template <class Fact, class Read>
void checkRoundTrip(const std::optional<Fact>& fact, Read read) {
  if (!fact) return;
  const Json written = toJson(*fact);
  if (toJson(read(Json::parse(written.dump()), "fact")) != written) std::abort();
}

void checkCommand(const std::string& line, const CapturedCommand& command) {
  const Json written = toJson(line, {true, command.status, command.output});
  const CapturedCommand again = readCommand(Json::parse(written.dump()), "command");
  if (again.output != command.output || again.status != command.status) std::abort();
}

void checkHelper(const std::string& name, const CapturedCommand& helper) {
  const Json written = toJson(name, HelperOutput{true, helper.output});
  if (readHelper(Json::parse(written.dump()), "helper").output != helper.output) std::abort();
}

void checkStatistics(const std::string&, const CapturedStatistics& statistics) {
  const Json written = toJson(statistics.answer);
  if (toJson(readStatistics(Json::parse(written.dump()), "fact").answer) != written) std::abort();
}

template <class Map, class Check>
void checkEach(const Map& map, Check check) {
  for (const auto& [name, value] : map) check(name, value);
}

template <class Map, class Check>
void checkTurns(const Map& map, Check check) {
  for (const auto& [name, turns] : map) {
    if (turns.empty()) std::abort();
    for (const auto& turn : turns) check(name, turn);
  }
}

void checkFacts(const CaptureFacts& facts) {
  checkRoundTrip(facts.kernelIdentity, readKernelIdentity);
  checkRoundTrip(facts.memoryFigures, readMemoryFigures);
  checkRoundTrip(facts.runLevelRecord, readRunLevelRecord);
  for (const auto& [category, locale] : facts.locales) {
    checkRoundTrip(std::optional(locale), readLocale);
  }
  checkTurns(facts.commands, checkCommand);
  checkTurns(facts.helpers, checkHelper);
  checkEach(facts.statistics, checkStatistics);
  checkEach(facts.statistics64, checkStatistics);
  for (const auto& [leaf, registers] : facts.cpuid) {
    checkRoundTrip(std::optional(registers), readCpuid);
  }
  for (const auto& [name, value] : facts.environment) {
    if (!isCapturedVariable(name) || value.find('\0') != std::string::npos) std::abort();
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
    if (!isOneLine(error.what())) std::abort();
  }
  return 0;
}
