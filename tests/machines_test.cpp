// Whole machines, replayed from tests/machines/NAME in both sets of sources and compared with
// expected.classic.txt and expected.native.txt there. INVSCAN_RENEW=1 writes these files instead:
// read the difference, and ask why, before you commit it.
#include <fnmatch.h>
#include <sys/wait.h>

#include "Rendering.h"
#include "Testing.h"

namespace invscan {
namespace {

// What a host gets of every group, in scan order.
std::string scanAll() {
  GroupFactory* factory = GroupFactory::getInstance();
  factory->initialise();
  std::list<String> names;
  factory->getAllGroups(names);
  std::string text;
  for (const String& name : names) {
    setlocale(LC_CTYPE, "C.UTF-8");  // the groups before may have changed it
    const std::unique_ptr<KelGroup> group(factory->getGroup(name));
    const std::unique_ptr<KelTable> table(group ? group->getTable() : nullptr);
    if (table) {
      EXPECT_EQ(table->getTimeStamp(), KelTable::createTimeStap());
      text += "== " + name.toNarrow() + "\n" + rendered(table.get());
    }
  }
  setlocale(LC_ALL, "C");
  return text;
}

class Machines : public testing::TestWithParam<std::string> {
 protected:
  void TearDown() override {
    OrvCfg::setKey("hwscanner.sources", "");
    useLiveMachine();
  }
};

TEST_P(Machines, GiveWhatIsExpected) {
  const fs::path directory = fs::path(INVSCAN_TESTS_DIR) / "machines" / GetParam();
  for (const char* sources : {"classic", "native"}) {
    std::string error;
    ASSERT_TRUE(replayMachine(directory, error)) << error;
    OrvCfg::setKey("hwscanner.sources", sources);
    const std::string scan = scanAll();
    const fs::path expected = directory / ("expected." + std::string(sources) + ".txt");
    if (getenv("INVSCAN_RENEW")) std::ofstream(expected, std::ios::binary) << scan;
    EXPECT_EQ(scan, contents(expected)) << "run with INVSCAN_RENEW=1 to accept";
  }
}

// Whether a source is one that traits name, in which "*" stands for any text.
bool isNamed(const std::string& source, std::string sources) {
  std::istringstream rest(std::move(sources));
  for (std::string name; std::getline(rest >> std::ws, name, ';');) {
    if (fnmatch(name.c_str(), source.c_str(), 0) == 0) return true;
  }
  return false;
}

// Everything that the traits of a group name, and the clock, which every table is stamped with.
std::string sourcesOf(const kelGroupDef& group) {
  std::string sources = "clock";
  for (const kelAttribDef* attribute = group.attribs; attribute->id != kEndOfTable; ++attribute) {
    sources += "; " + std::string(attributeTraits(group.id, attribute->id)->sources);
  }
  return sources;
}

void expectNamed(const kelGroupDef& group) {
  const std::string sources = sourcesOf(group);
  for (const Access& access : accessLog()) {
    EXPECT_TRUE(isNamed(access.source, sources)) << group.name << " asked " << access.source;
  }
}

// The firmware's table, which groups share, is read when the factory is made ready.
void expectNamedSources() {
  constexpr unsigned long kSmbios = 24;
  startAccessLog();
  GroupFactory* factory = GroupFactory::getInstance();
  factory->initialise();
  expectNamed(*getGroupDefinitionFromId(kSmbios));
  for (const kelGroupDef* group = GROUPS_DEF; group->id != kEndOfTable; ++group) {
    const std::unique_ptr<KelGroup> collector(factory->getKELGroup(group->id));
    startAccessLog();
    const std::unique_ptr<KelTable> table(collector ? collector->getTable() : nullptr);
    expectNamed(*group);
  }
  setlocale(LC_ALL, "C");
}

TEST_P(Machines, AreAskedForWhatTraitsName) {
  for (const char* sources : {"classic", "native"}) {
    OrvCfg::setKey("hwscanner.sources", sources);
    std::string error;
    ASSERT_TRUE(replayMachine(fs::path(INVSCAN_TESTS_DIR) / "machines" / GetParam(), error));
    expectNamedSources();
  }
}

TEST(LiveMachineItself, IsAskedForWhatTraitsName) {
  for (const char* sources : {"classic", "native"}) {
    OrvCfg::setKey("hwscanner.sources", sources);
    useLiveMachine();
    expectNamedSources();
  }
  OrvCfg::setKey("hwscanner.sources", "");
  // Nobody waits for helpers that have answered, and other tests count children.
  useLiveMachine();
  while (waitpid(-1, nullptr, 0) > 0) continue;
}

std::vector<std::string> names() {
  std::vector<std::string> result;
  for (const auto& entry : fs::directory_iterator(fs::path(INVSCAN_TESTS_DIR) / "machines")) {
    result.push_back(entry.path().filename());
  }
  std::sort(result.begin(), result.end());
  return result;
}

INSTANTIATE_TEST_SUITE_P(All, Machines, testing::ValuesIn(names()), [](const auto& machine) {
  std::string name = machine.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace
}  // namespace invscan
