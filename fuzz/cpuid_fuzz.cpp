// Processors forged for the helper that asks them: the input up to its first form feed is
// /proc/cpuinfo, the rest are leaves, each with subleaf and four registers of 32 bits.
#include <cstring>
#include <memory>

#include "../tests/TestMachine.h"
#include "AnswerCheck.h"
#include "common/vartree/Release.h"
#include "helpers/cpuid/CpuidTree.h"

namespace {

using namespace invscan;

struct ForgedLeaf {
  CpuidLeaf leaf;
  CpuidRegisters registers;
};

Answers forgedProcessor(std::string_view input) {
  Answers answers;
  const std::size_t end = std::min(input.find('\f'), input.size());
  if (end > 0) answers.files["/proc/cpuinfo"] = {0, std::string(input.substr(0, end))};
  input.remove_prefix(std::min(end + 1, input.size()));
  for (ForgedLeaf each; input.size() >= sizeof each; input.remove_prefix(sizeof each)) {
    std::memcpy(&each, input.data(), sizeof each);
    answers.plain.add(answered<CpuidQuestion>(each.registers, each.leaf));
  }
  return answers;
}

}  // namespace

void invscan::tryInput(std::string_view input) {
  const OnMachine machine(forgedProcessor(input), "native");
  VtNode* const root = cpuid::makeAnswer(cpuid::Leaves());
  checkAnswer(root);
  releaseTree(root);
}
