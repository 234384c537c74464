// A capture's machine.json: it is refused with one line that can be shown to a person, or what was
// read can be written and read again.

#include <nlohmann/json.hpp>

#include "FuzzTarget.h"
#include "invscan/machine/Capture.h"
#include "invscan/machine/CaptureDocument.h"

namespace {

using namespace invscan;

Json written(const Question& question) {
  Json json;
  question.write(json);
  return json;
}

// Two values are the same when they are written the same.
void checkFact(const PlainFacts::Fact& fact) {
  require(fact.answer || fact.hangs);
  if (!fact.answer) return;
  const Json json = written(*fact.answer);
  const auto again = fact.answer->kind().make();
  again->read(CaptureDocument(json.dump()).value());
  require(written(*again) == json);
  const auto taken = fact.answer->kind().make();
  taken->take(*again);
  require(written(*taken) == json);
}

void checkProgram(const CapturedProgram& program) {
  const CaptureDocument document(writeProgram("line", "", program).dump());
  const CapturedProgram again = readProgram("line", document.value());
  require(again.output == program.output && again.status == program.status);
}

void checkFacts(const CaptureFacts& facts) {
  for (const auto& [section, answers] : facts.plain.all()) {
    for (const auto& [key, fact] : answers) checkFact(fact);
  }
  for (const auto* programs : {&facts.commands, &facts.helpers}) {
    for (const auto& [name, turns] : *programs) {
      require(!turns.empty());
      for (const CapturedProgram& turn : turns) checkProgram(turn);
    }
  }
  for (const auto& [name, value] : facts.environment) {
    require(isCapturedVariable(name) && value.find('\0') == std::string::npos);
  }
  for (const auto& [path, error] : facts.unreadable) require(error > 0 && errorName(error) != "");
}

bool isOneLine(const std::string& text) {
  return !text.empty() && std::none_of(text.begin(), text.end(), [](unsigned char byte) {
    return byte < 0x20 || byte == 0x7F;
  });
}

}  // namespace

void invscan::tryInput(std::string_view text) {
  try {
    checkFacts(readFacts(std::string(text)));
  } catch (const CaptureError& error) {
    require(isOneLine(error.what()));
  }
}
