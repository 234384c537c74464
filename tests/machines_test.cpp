// Whole machines, replayed from tests/machines/NAME in both sets of sources and compared with
// expected.classic.txt and expected.native.txt there. INVSCAN_RENEW=1 writes these files instead:
// read the difference, and ask why, before you commit it.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <invscan/base/OrvCfg.h>
#include <invscan/invscan.h>

#include "Rendering.h"

namespace invscan {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

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
