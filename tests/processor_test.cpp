// What the kernel's text about processors means.

#include "TestMachine.h"
#include "Testing.h"
#include "TracedText.h"

namespace invscan {
namespace {

TEST(Processor, FeaturesAreFoundAnywhereInTheText) {
  char all[] =
      "fpu vme de pse tsc msr pae mce cx8 apic sep mtrr pge mca cmov pat pse36 clflush mmx fxsr "
      "sse sse2 ht";
  char some[] = "ssse3 xmm psn\n", extension[] = "pse36";
  EXPECT_EQ(makeCPUflagsFromString(all), 0x1783FBFFU);
  EXPECT_EQ(makeCPUflagsFromString(some), 0x2040000U);
  EXPECT_EQ(makeCPUflagsFromString(extension), 0x20008U);
  EXPECT_EQ(makeCPUflagsFromString(nullptr), 0U);
}

TEST(Processor, SpeedsAreRoundedToThoseThatAreSold) {
  const std::pair<unsigned long, unsigned long> rows[] = {
      {2394, 2400}, {733, 733},   {70, 66},     {185, 180},   {186, 188},
      {190, 190},   {0, 0},       {1015, 1000}, {1016, 1020}, {1029, 1020},
      {1030, 1033}, {1039, 1033}, {1040, 1050}, {1057, 1050}, {1058, 1060},
      {1062, 1060}, {1063, 1066}, {1070, 1066}, {1071, 1075}, {1077, 1075},
      {1078, 1080}, {1085, 1080}, {1086, 1090}, {1091, 1090}, {1092, 1100},
  };
  for (const auto& [measured, sold] : rows) EXPECT_EQ(RealSpeedValue(measured), sold) << measured;
}

// In buffers of just the line's size: the sanitizers watch the end.
TEST(Processor, AValueIsWhatFollowsColonAndBlank) {
  const std::pair<const char*, std::string> rows[] = {{"model name\t: A: B\n", "A: B\n"},
                                                      {"key:x", ""},
                                                      {"key:\n", ""},
                                                      {":", ""},
                                                      {"no colon", "left"},
                                                      {"", "left"}};
  for (const auto& [text, expected] : rows) {
    std::string line = text, value = "left" + std::string(line.size(), '\0');
    parseLine(line.data(), value.data());
    EXPECT_EQ(value.c_str(), expected) << text;
    if (expected == "left") continue;
    parseLine(line.data(), line.data());
    EXPECT_EQ(line.c_str(), expected) << "in place";
  }
}

// Records stay in the factory, which all tests share: these families are nobody else's.
void addRecords() {
  const char* const rows[][6] = {
      {"INTEL", "1", "9006", "85", "0", "of another type"},
      {"Intel", "0", "9006", "85", "0", "of another vendor"},
      {"INTEL", "0", "9006", "85", "2", "Xeon's"},
      {"INTEL", "0", "9006", "85", "1", "Celeron's"},
      {"INTEL", "0", " 09006", "85th", "", "plain"},
      {"INTEL", "0", "9006", "85", "0", "second"},
      {"AMD", "7", "9006", "85", "9", "AMD's"},
      {"AMD", "", "9006", "87", "", ""},
  };
  const char* const names[] = {"Manufactor", "Type", "Family", "Model", "PCX", "TypeEnum"};
  Node list("Processors");
  for (const auto& row : rows) {
    StringMap attributes;
    for (std::size_t i = 0; i < std::size(names); ++i) attributes.add(names[i], row[i]);
    list.addChild(std::make_unique<Node>("Processor", attributes));
  }
  GroupFactory::getInstance()->getProcessorFromNode(&list);
}

Answers withHelper(const std::string& answer) {
  Answers answers;
  answers.helpers["cpuid"] = answer;
  return answers;
}

TEST(Processor, FamiliesAreNamedByTheFirstRecordThatMatches) {
  addRecords();
  const OnMachine machine(withHelper("1.0 0 OK\n(ProcessorTable\n(Processor\nFamily:s=H\n)\n)\n"));
  const struct {
    const char* vendor;
    int family, model;
    const char *modelName, *name;
  } rows[] = {
      {"GenuineIntel", 9006, 85, "Intel(R) Core(TM)", "plain"},
      {"GenuineIntel\n", 9006, 85, "Intel(R) Xeon(R)", "Xeon's"},
      {"GenuineIntel", 9006, 85, "Celeron, not Xeon", "Celeron's"},
      {"GenuineIntel", 9006, 85, nullptr, "plain"},
      {"GenuineIntel AMD", 9006, 85, "", "plain"},
      {"AuthenticAMD", 9006, 85, "Xeon", "AMD's"},
      {"AuthenticAMD", 9006, 87, "", ""},
  };
  startAccessLog();
  for (const auto& row : rows) {
    EXPECT_EQ(getEnum(row.vendor, row.family, row.model, row.modelName), row.name) << row.vendor;
  }
  EXPECT_TRUE(accessLog().empty()) << "the helper is not needed";
  for (const char* vendor : {"GenuineIntel", "GenuineAMD", "Cyrix", "HygonGenuine"}) {
    EXPECT_EQ(getEnum(vendor, 9006, 88, "Xeon"), "H") << vendor;
  }
  EXPECT_EQ(getEnum("GenuineIntel AMD", 9006, 87, ""), "H") << "the first vendor decides";
  EXPECT_EQ(getEnum(nullptr, 9006, 85, nullptr), "H");
  EXPECT_EQ(accessLog().size(), 1U);
}

TEST(Processor, FamiliesThatNobodyKnowsAreUnknown) {
  const struct {
    const char *answer, *name, *message;
  } rows[] = {
      {"", "Unknown", "CPUID command exit code was -1 data was 0"},
      {"1.0 3 failed\n(ProcessorTable\n(Processor\nFamily:s=H\n)\n)\n", "Unknown",
       "CPUID command exit code was 3 data was 1"},
      {"1.0 0\nnonsense", "Unknown", "CPUID command exit code was 0 data was 0"},
      {"1.0 0\n(ProcessorTable\n(Processor\nModel:s=H\n)\n)\n", "Unknown", "Running CPUID"},
      {"1.0 0\n(ProcessorTable\n(Processor\nFamily:i=6\n)\n)\n", "Unknown", "Running CPUID"},
  };
  TracedText sink;
  for (const auto& row : rows) {
    const OnMachine machine(withHelper(row.answer));
    sink.enable(CcLogWrapper::kMin);
    EXPECT_EQ(getEnum("GenuineIntel", 9007, 1, ""), row.name) << row.answer;
    const std::string trace = sink.written();
    EXPECT_NE(trace.find(row.message), trace.npos) << trace;
  }
}

}  // namespace
}  // namespace invscan
