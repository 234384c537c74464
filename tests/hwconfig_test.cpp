// The hardware configuration file, good, broken and hostile, and the XML trees behind it.

#include "Processes.h"
#include "ProcessorTime.h"
#include "Testing.h"
#include "TracedText.h"

namespace invscan {
namespace {

using namespace std::chrono_literals;

// A file of its own; what it loads stays in the factory, which all tests share, but for the limit.
class HardwareConfiguration : public InDirectory {
 protected:
  ~HardwareConfiguration() override {
    OrvCfg::setKey("hwscanner.cputhreshold", "");
    load("<Hardware/>");
  }

  int load(const std::string& text, int mode = 1) {
    std::ofstream(path_, std::ios::binary) << text;
    return factory_.loadNodeFromFile(path_, mode);
  }

  GroupFactory& factory_ = *GroupFactory::getInstance();
  const std::string path_ = directory_ / "hw.xml";
};

using CpuThresholdOfAFile = HardwareConfiguration;

TEST_F(HardwareConfiguration, GivesGroupsTheirAttributesAndKeepsTheirTexts) {
  const std::unique_ptr<KelGroup> memory(factory_.getGroup("Memory"));
  const std::unique_ptr<KelGroup> regional(factory_.getGroup("Regional"));
  ASSERT_EQ(load("<Hardware site='a' priority='low'>"
                 "<Group Name='Memory' x='t'/>"
                 "<Group Name='memory' x='other'/><Other Name='Memory' x='other'/>"
                 "<Other><Group Name='Memory' x='below'/></Other>"
                 "<Group Name='Regional' x='r'/></Hardware>"),
            0);
  const wchar_t* const x = memory->getGroupAttr(L"x");
  const wchar_t* const site = memory->getGlobalAttr(L"site");
  EXPECT_STREQ(x, L"t");
  EXPECT_STREQ(site, L"a");
  EXPECT_EQ(memory->getGroupAttr(L"Name"), nullptr);
  EXPECT_EQ(memory->getGroupAttr(L"X"), nullptr);
  EXPECT_EQ(factory_.getPriority(), "low");

  ASSERT_EQ(load("<Hardware site='b' late='c'><Group Name='Memory' y=''/>"
                 "<Group Name='Regional'/><Group x='nameless'/></Hardware>"),
            0);
  EXPECT_EQ(memory->getGroupAttr(L"x"), nullptr);
  EXPECT_STREQ(memory->getGroupAttr(L"y"), L"");
  EXPECT_STREQ(regional->getGroupAttr(L"x"), L"r") << "no attribute, no replacement";
  EXPECT_STREQ(memory->getGlobalAttr(L"site"), L"a") << "the first stays visible";
  EXPECT_STREQ(memory->getGlobalAttr(L"late"), L"c");
  EXPECT_EQ(factory_.getPriority(), "low") << "not named again, not changed";
  EXPECT_STREQ(x, L"t");
  EXPECT_STREQ(site, L"a");
}

TEST_F(HardwareConfiguration, AppendsRecords) {
  const std::string file =
      "<Hardware><Processors><Processor Model='0'/></Processors>"
      "<Any><Processors><Processor Manufactor='1' BrandID='2' Signature='3' Type='4' Family='5' "
      "Model='6' PCX='7' Description='8' TypeEnum='9'/><QCM/><Processor/></Processors></Any>"
      "<QCMs><QCM Family='1' CC='2' NewFamily='3' CoresPerPackage='0x4'/><Processor/>"
      "<QCM CoresPerPackage=''/><QCM CoresPerPackage='010'/></QCMs></Hardware>";
  const auto& processors = factory_.getProcessors();
  const auto& qcms = factory_.getQCMs();
  const std::size_t processorsBefore = processors.size(), qcmsBefore = qcms.size();
  for (const int mode : {5, 6, 5}) ASSERT_EQ(load(file, mode), 0);

  ASSERT_EQ(processors.size(), processorsBefore + 4) << "the last element, twice";
  const ProcessorInfo& of = *processors[processorsBefore + 2];
  EXPECT_EQ(of.manufactor + of.brandID + of.signature + of.type + of.family + of.model + of.pcx +
                of.description + of.typeEnum,
            "123456789");
  EXPECT_TRUE(processors.back()->typeEnum.isEmpty());

  ASSERT_EQ(qcms.size(), qcmsBefore + 3);
  const QCMInfo& first = *qcms[qcmsBefore];
  EXPECT_EQ(first.family + first.cc + first.newFamily + first.coresPerPackage, "1230x4");
  const unsigned long counts[] = {4, 1, 8};
  for (std::size_t i = 0; i < std::size(counts); ++i) {
    EXPECT_EQ(qcms[qcmsBefore + i]->coresPerPackageCount, counts[i]) << i;
  }
  EXPECT_EQ(qcms[qcmsBefore + 1]->coresPerPackage, "1");
}

TEST_F(HardwareConfiguration, TellsWhatBecameOfALoad) {
  const struct {
    const char* text;
    int mode;
    int result;
  } rows[] = {
      {"<Hardware/>", 1, 0},  {"<hardware x='1'/>", 1, 0}, {"<Hardware/>", 5, -1},
      {"<Hardware/>", 6, -1}, {"<QCMs/>", 6, 0},           {"<QCMs/>", 5, -1},
      {"<Hardware>", 5, 2},   {"<Hardware>", 7, 0},        {"", 1, 2},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(load(row.text, row.mode), row.result) << row.text << " in mode " << row.mode;
  }
  ASSERT_EQ(mkfifo((directory_ / "pipe").c_str(), 0600), 0);
  for (const std::filesystem::path& path : {directory_ / "none", directory_ / "pipe", directory_}) {
    for (const int mode : {1, 5, 7})
      EXPECT_EQ(factory_.loadNodeFromFile(path.c_str(), mode), 5) << path;
  }
}

TEST_F(HardwareConfiguration, AFailedLoadChangesNothing) {
  ASSERT_EQ(load("<Hardware priority='1'><Group Name='Memory' x='1'/></Hardware>"), 0);
  const std::size_t files = factory_.getLoadedFiles().size();
  const std::size_t records = factory_.getProcessors().size();
  const std::string broken =
      "<Hardware priority='2' broken='2' cpuThreshold='1'><Group Name='Memory' x='2'/>"
      "<Processors><Processor/></Processors>";
  EXPECT_EQ(load(broken), 2);
  EXPECT_EQ(load(broken, 5), 2);
  const std::unique_ptr<KelGroup> memory(factory_.getGroup("Memory"));
  EXPECT_STREQ(memory->getGroupAttr(L"x"), L"1");
  EXPECT_EQ(memory->getGlobalAttr(L"broken"), nullptr);
  EXPECT_EQ(factory_.getPriority(), "1");
  EXPECT_EQ(factory_.getProcessors().size(), records);
  EXPECT_EQ(factory_.getLoadedFiles().size(), files);
}

std::string repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

// A chain or tree of entities in which each stands for some of the one before.
std::string entityTower(int height, int width) {
  std::string text = "<!DOCTYPE h [\n<!ENTITY e0 '0123456789'>\n";
  for (int i = 1; i < height; ++i) {
    text += "<!ENTITY e" + std::to_string(i) + " '" +
            repeated("&e" + std::to_string(i - 1) + ";", width) + "'>\n";
  }
  return text + "]>\n<Hardware v='&e" + std::to_string(height - 1) + ";'/>";
}

TEST_F(HardwareConfiguration, RefusesHostileFilesInOneLine) {
  std::string defaults = "<!DOCTYPE h [\n<!ATTLIST e";
  for (int i = 0; i < 10000; ++i) defaults += " a" + std::to_string(i) + " CDATA 'v'";
  const struct {
    const char* what;
    std::string text;
    const char* message;
  } rows[] = {
      {"100 nested, then one more", repeated("<a>\n", 100) + "<a/>", "too deep at line 101"},
      {"entity bomb", entityTower(20, 10), "amplification factor"},
      {"entities 20,000 deep", entityTower(20000, 1), "too many entities at line 66"},
      {"entity of itself", "<!DOCTYPE h [<!ENTITY e '&e;'>]>\n<h v='&e;'/>",
       "recursive entity reference at line 2"},
      {"defaults for every element", defaults + ">]>\n<h>" + repeated("<e/>", 100000) + "</h>",
       "too much content at line 3"},
      {"an element of a long name, often",
       "<!DOCTYPE h [<!ENTITY e '<" + repeated("n", 900000) + "/>'>]>\n<h>" + repeated("&e;", 20) +
           "</h>",
       "too much content at line 2"},
      {"external entity as value",
       "<!DOCTYPE h [<!ENTITY e SYSTEM '/etc/hostname'>]>\n\n<h v='&e;'/>", " at line 3"},
      {"another encoding than it says", "<?xml version='1.0' encoding='UTF-8'?>\n<h v='\xE4'/>",
       "not well-formed (invalid token) at line 2"},
      {"cut short", "<Hardware>\n<Group Name='Memory'/>\n<Gro", "unclosed token at line 3"},
      {"1 MiB and a byte", "<h>" + repeated(" ", (1 << 20) - 6) + "</h>",
       "File too large at line 0"},
  };
  TracedText sink;
  for (const auto& row : rows) {
    sink.enable(CcLogWrapper::kMin);
    EXPECT_EQ(load(row.text), 2) << row.what;
    const std::string trace = sink.written();
    const std::size_t first = trace.find("Message is "), last = trace.rfind("Message is ");
    const bool isWarned = trace.find("is left out") != trace.npos;
    EXPECT_TRUE(first == last || isWarned) << row.what << ": " << trace;
    EXPECT_NE(trace.find(row.message), trace.npos) << row.what << ": " << trace;
    EXPECT_NE(trace.find("Failed to parse the xmlfile " + path_), trace.npos) << row.what;
  }
  EXPECT_EQ(load("<h>" + repeated(" ", (1 << 20) - 7) + "</h>"), 0) << "just small enough";
}

TEST_F(HardwareConfiguration, LeavesOutWhatIsOutsideTheFile) {
  TracedText sink;
  sink.enable(CcLogWrapper::kMin);
  EXPECT_EQ(load("<!DOCTYPE Hardware SYSTEM 'file:///dev/zero' [\n"
                 "<!ENTITY e SYSTEM 'file:///dev/zero'>]>\n<Hardware>&e;</Hardware>"),
            0);
  const std::string trace = sink.written();
  EXPECT_NE(trace.find("document type is left out at line 1\n"), trace.npos) << trace;
  EXPECT_NE(trace.find("external entity is left out: e at line 2\n"), trace.npos) << trace;
}

TEST_F(HardwareConfiguration, ReadsEntitiesAndEncodings) {
  const struct {
    const char* attribute;
    std::string text;
    const wchar_t* value;
  } rows[] = {
      {"entity", "<!DOCTYPE h [<!ENTITY e 'x'>]><Hardware entity='&e;&amp;&#x20ac;'/>",
       L"x&\x20AC"},
      {"latin", "<?xml version='1.0' encoding='ISO-8859-1'?><Hardware latin='\xE4'/>", L"\xE4"},
      {"mark", "\xEF\xBB\xBF<Hardware mark='\xE2\x82\xAC'/>", L"\x20AC"},
      {"u", std::string("\xFF\xFE<\0H\0a\0r\0d\0w\0a\0r\0e\0 \0u\0=\0'\0\xAC\x20'\0/\0>\0", 36),
       L"\x20AC"},
  };
  const std::unique_ptr<KelGroup> group(factory_.getGroup("Memory"));
  for (const auto& row : rows) {
    EXPECT_EQ(load(row.text), 0) << row.attribute;
    EXPECT_STREQ(group->getGlobalAttr(String(row.attribute).toWide()), row.value);
  }
}

TEST(Trees, OfAnyDepthAreCopiedAndTakenApart) {
  Node tree("Hardware");
  Node* deepest = &tree;
  for (int i = 0; i < 300000; ++i) deepest = deepest->addChild(std::make_unique<Node>("a"));
  deepest->addChild(std::make_unique<Node>("deepest"));
  const std::unique_ptr<Node> copy(tree.clone());
  const Node* last = copy.get();
  while (!last->getChildren().empty()) last = last->getChildren().front().get();
  EXPECT_EQ(last->getName(), "deepest");
}

TEST_F(CpuThresholdOfAFile, ComesFromTheFileOrElseFromTheStore) {
  const struct {
    const char* text;
    const char* key;
    bool isLimited;
  } rows[] = {
      {"<Hardware cpuThreshold='1'/>", "", true},   {"<Hardware/>", "1", true},
      {"<Hardware cpuThreshold=''/>", "1", false},  {"<Hardware/>", "", false},
      {"<Hardware cpuThreshold='1'/>", "99", true}, {"<Hardware CpuThreshold='1'/>", "", false},
  };
  const std::unique_ptr<KelGroup> group(factory_.getGroup("Memory"));
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.text) + " " + row.key);
    OrvCfg::setKey("hwscanner.cputhreshold", row.key);
    // A busy machine may keep one attempt waiting, but not all.
    ShareMeter::Duration shortest = 1min;
    for (int attempt = 0; attempt < 5 && shortest >= 200ms; ++attempt) {
      const ShareMeter meter;
      ASSERT_EQ(load(row.text), 0);
      useProcessor(4ms);  // is 400 ms with the limit
      group->iteration();
      shortest = std::min(shortest, meter.time());
      if (row.isLimited) break;
    }
    EXPECT_EQ(shortest >= 400ms, row.isLimited);
    EXPECT_EQ(shortest >= 200ms, row.isLimited);
  }
}

}  // namespace
}  // namespace invscan
