// What the kernel's text about processors means.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include <invscan/base/Xml.h>
#include <invscan/factory.h>
#include <invscan/machine.h>
#include <invscan/processor.h>

#include "TestMachine.h"
#include "TracedText.h"

namespace invscan {
namespace {

TEST(Processor, FeaturesAreFoundAnywhereInTheText) {
  const struct {
    std::string line;
    unsigned long mask;
  } rows[] = {
      {"fpu vme de pse tsc msr pae mce cx8 apic sep mtrr pge mca cmov pat pse36 clflush mmx fxsr "
       "sse sse2 ht",
       0x1783FBFF},
      {"pse36", 0x20008},
      {"ssse3", 0x2000000},
      {"xmm psn\n", 0x2040000},
      {"", 0},
  };
  for (auto row : rows) EXPECT_EQ(makeCPUflagsFromString(row.line.data()), row.mask) << row.line;
  EXPECT_EQ(makeCPUflagsFromString(nullptr), 0U);
}

TEST(Processor, SpeedsAreRoundedToThoseThatAreSold) {
  const struct {
    unsigned long measured, sold;
  } rows[] = {
      {2394, 2400}, {1995, 2000}, {733, 733},   {866, 866},   {1446, 1450}, {1812, 1800},
      {70, 66},     {71, 75},     {75, 75},     {79, 75},     {80, 80},     {185, 180},
      {186, 188},   {187, 188},   {189, 188},   {190, 190},   {1186, 1190}, {1079, 1080},
      {0, 0},       {1015, 1000}, {1016, 1020}, {1029, 1020}, {1030, 1033}, {1039, 1033},
      {1040, 1050}, {1057, 1050}, {1058, 1060}, {1062, 1060}, {1063, 1066}, {1070, 1066},
      {1071, 1075}, {1077, 1075}, {1078, 1080}, {1085, 1080}, {1086, 1090}, {1091, 1090},
      {1092, 1100}, {1099, 1100},
  };
  for (const auto& row : rows) EXPECT_EQ(RealSpeedValue(row.measured), row.sold) << row.measured;
}

// In buffers of just the line's size: the sanitizers watch the end.
TEST(Processor, AValueIsWhatFollowsColonAndBlank) {
  const struct {
    std::string line, value;
  } rows[] = {
      {"model name\t: A: B\n", "A: B\n"},
      {"key:x", ""},
      {"key: ", ""},
      {"key:", ""},
      {"key:\n", ""},
      {":", ""},
      {"no colon", "left"},
      {"", "left"},
  };
  for (const auto& row : rows) {
    std::string line = row.line, value = "left" + std::string(line.size(), '\0');
    parseLine(line.data(), value.data());
    EXPECT_STREQ(value.c_str(), row.value.c_str()) << row.line;
    if (row.value == "left") continue;
    parseLine(line.data(), line.data());
    EXPECT_STREQ(line.c_str(), row.value.c_str()) << "in place";
  }
}

// Records stay in the factory, which all tests share: these families are nobody else's.
void addRecords() {
  const struct {
    const char *manufactor, *type, *family, *model, *pcx, *name;
  } rows[] = {
      {"INTEL", "1", "9006", "85", "0", "of another type"},
      {"Intel", "0", "9006", "85", "0", "of another vendor"},
      {"INTEL", "0", "9006", "85", "2", "Xeon's"},
      {"INTEL", "0", "9006", "85", "1", "Celeron's"},
      {"INTEL", "0", " 09006", "85th", "", "plain"},
      {"INTEL", "0", "9006", "85", "0", "second"},
      {"AMD", "7", "9006", "85", "9", "AMD's"},
      {"CYRIX", "", "9006", "86", "", "Cyrix's"},
      {"AMD", "", "9006", "87", "", ""},
  };
  Node list("Processors");
  for (const auto& row : rows) {
    StringMap attributes;
    attributes.add("Manufactor", row.manufactor);
    attributes.add("Type", row.type);
    attributes.add("Family", row.family);
    attributes.add("Model", row.model);
    attributes.add("PCX", row.pcx);
    attributes.add("TypeEnum", row.name);
    list.addChild(std::make_unique<Node>("Processor", attributes));
  }
  GroupFactory::getInstance()->getProcessorFromNode(&list);
}

long helperRuns() {
  const auto accesses = accessLog();
  return std::count_if(accesses.begin(), accesses.end(), [](const Access& access) {
    return access.source.find("cpuid") != std::string::npos;
  });
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
      {"CyrixInstead", 9006, 86, "", "Cyrix's"},
      {"AuthenticAMD", 9006, 87, "", ""},
  };
  startAccessLog();
  for (const auto& row : rows) {
    EXPECT_EQ(getEnum(row.vendor, row.family, row.model, row.modelName), row.name) << row.vendor;
  }
  EXPECT_EQ(helperRuns(), 0);

  for (const char* vendor : {"GenuineIntel", "GenuineAMD", "Cyrix", "HygonGenuine"}) {
    EXPECT_EQ(getEnum(vendor, 9006, 88, "Xeon"), "H") << vendor;
  }
  EXPECT_EQ(getEnum("GenuineIntel AMD", 9006, 87, ""), "H") << "the first vendor decides";
  EXPECT_EQ(getEnum(nullptr, 9006, 85, nullptr), "H");
  EXPECT_EQ(helperRuns(), 1);
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
      {"1.0 0\n(ProcessorTable\n(Processor\nFamily:i=6\n)\n)\n", "", "Running CPUID"},
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
