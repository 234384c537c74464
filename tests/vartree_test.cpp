// The text form of trees, read and written, and look-ups. Random texts are the fuzz target's.

#include <cfloat>

#include "Testing.h"
#include "WrittenText.h"
#include "common/vartree/Release.h"
#include "common/vartree/TextStream.h"

namespace invscan {
namespace {

// Gives out a text in small pieces, interrupted by a signal before each.
class SlowStream : public TextStream {
 public:
  using TextStream::TextStream;

  long read(char* buffer, unsigned long size) override {
    interrupted_ = !interrupted_;
    if (!interrupted_) return TextStream::read(buffer, std::min(size, 7UL));
    errno = EINTR;
    return -1;
  }

 private:
  bool interrupted_ = false;
};

int parseInto(VtNode& root, std::string_view text) {
  SlowStream stream(text);
  return vtParseNodeDump(std::make_unique<VtILineStream>(&stream).get(), &root);
}

Tree parse(std::string_view text) {
  SlowStream stream(text);
  return Tree(vtParseNodeDump(std::make_unique<VtILineStream>(&stream).get()));
}

std::string times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

TEST(VarTree, WritesWhatHostsPrint) {
  const Tree tree = parse("(A\nn:i=-2147483648\n(B\n)\n)\n");
  VtNode* const node = tree->children;
  auto* const odd = new VtVariant("odd", 1);
  odd->kind = 9;
  node->addValue(odd);
  node->addValue(new VtVariant("n", DBL_MAX));
  node->addValue(new VtVariant("n", L"\u00e9"));  // counts characters, and writes as many bytes
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<void*>(odd));

  testing::internal::CaptureStdout();
  std::printf("head\n");
  vtDumpNode(node, 1);
  vtDumpNode(nullptr, 0);
  vtDumpValue(node->values, 0);
  vtIndent(2);
  const std::string expected[] = {"head\n   (A\n      n:i=-2147483648\n      odd:?=",
                                  address,
                                  "\n      n:f=",
                                  std::to_string(DBL_MAX),
                                  "\n      n:u=1,c3\n      (B\n      )\n   )\n",
                                  "n:i=-2147483648\n      "};
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            std::accumulate(std::begin(expected), std::end(expected), std::string()));
}

TEST(VarTree, ReadsLines) {
  const std::tuple<const char*, int, const char*> lines[] = {
      {" \t n:i= +7abc", 0, "n:i=7"},
      {"n:i=-99999999999999999999", 0, "n:i=-2147483648"},
      {"n:i=5\r", 0, "n:i=5"},
      {"1 x:s= a=b:c ", 0, "1 x:s= a=b:c "},
      {"n:s=\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80|", 0, "n:s=\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80|"},
      {"n:s=cut\xFFoff", 0, "n:s=cut"},
      {"n:s=cut\xC0\xAFoff", 0, "n:s=cut"},
      {"n:s=cut\xED\xA0\x80off", 0, "n:s=cut"},
      {"n:s=cut\xE2\x82", 0, "n:s=cut"},
      {"n:f=-1e2x", 0, "n:f=-100.000000"},
      {"n:d=2,0a0Bffff", 0, "n:d=2,0a0b"},
      {"n:d=1,:/", 0, "n:d=1,9f"},
      {"n:d=-1,", 0, "n:d=0,"},
      {"n:u=3,E282AC", 0, "n:u=1,e2"},
      {"n:u=4,61006263", 0, "n:u=1,61"},
      {"n:d=3,0a0B", -9, nullptr},
      {"n:d=2", -9, nullptr},
      {"n:d=2147483647,00", -9, nullptr},
      {"n:d=99999999999999,00", -9, nullptr},
      {"\xC3\xBC:i=1", -1, nullptr},
      {"x:=1", -5, nullptr},
      {"a=b:i=1", -5, nullptr},
      {"x:q=1", -6, nullptr},
      {")", -4, nullptr},
      {"  ;-", 0, nullptr},
  };
  for (const auto& [text, result, value] : lines) {
    SCOPED_TRACE(text);
    const Tree root(new VtNode(""));
    EXPECT_EQ(parseInto(*root, text), result);
    EXPECT_EQ(dump(*root), value ? "(\n   " + std::string(value) + "\n)\n" : "(\n)\n");
  }
}

TEST(VarTree, KeepsWhatWasClosedBeforeAnError) {
  const Tree root(new VtNode(""));
  EXPECT_EQ(parseInto(*root, "(A\n)\nx:i=1\n(open\n(B\n)\n-\n"), -1);
  EXPECT_EQ(dump(*root), "(\n   x:i=1\n   (A\n   )\n)\n");
  EXPECT_EQ(parse("(A\n)\n-\n"), nullptr);
}

TEST(VarTree, CatchesMistakes) {
  const Tree node(new VtNode("node"));
  EXPECT_DEATH(node->addValue(nullptr), "v != 0");
  EXPECT_DEATH(vtDumpValue(nullptr, 0), "value != 0");
  EXPECT_DEATH(node->getValue("", nullptr, 1), "name != 0");
}

TEST(VarTree, LooksThingsUp) {
  const Tree tree = parse(
      "(A\nx:i=5\nf:f=2.5\ns:s=text\n(B\ny:i=1\n)\n(B\ny:i=2\n)\n(\nz:i=3\n)\n)\n"
      "(A\nx:i=6\n)\n");
  VtExecInfo info{0, 1, 0, nullptr, tree.get()};
  const VtNode* a = vtGetNode(&info, "A", -3);
  ASSERT_NE(a, nullptr);
  const std::tuple<const char*, const char*, int> numbers[] = {
      {nullptr, "x", 5}, {"B.", "y", 1},   {".", "z", 3},   {"B.B", "y", -1},
      {"b", "y", -1},    {"B..", "y", -1}, {"", "none", -1}};
  for (const auto& [path, name, expected] : numbers) {
    EXPECT_EQ(a->getValue(path, name, -1), expected) << name << expected;
  }
  for (const char* name : {"x", "s", "f"}) {
    EXPECT_EQ(a->getValue("", name, 9), *name == 'x' ? 5 : 9);
    EXPECT_STREQ(a->getValue("", name, "default"), *name == 's' ? "text" : "default");
    EXPECT_EQ(a->getValueF("", name, 9.F), *name == 'f' ? 2.5F : 9.F);
  }
  EXPECT_EQ(a->getChild("B", 1)->getValue("y")->value.integer, 2);
  EXPECT_STREQ(a->getChild(nullptr, 2)->name, "");
  for (const int index : {2, -1}) EXPECT_EQ(a->getChild("B", index), nullptr);
  EXPECT_EQ(vtGetValue(&info, "A.B", "y", -1), 1);
  EXPECT_EQ(vtGetNode(&info, "A", 1)->getValue("x")->value.integer, 6);
  EXPECT_EQ(vtGetNode(&info, nullptr, 9), tree.get());
  VtExecInfo noTree{-1, -1, -1, nullptr, nullptr};
  for (VtExecInfo* nothing : {&noTree, static_cast<VtExecInfo*>(nullptr)}) {
    EXPECT_EQ(vtGetNode(nothing, "A", 0), nullptr);
    EXPECT_EQ(vtGetValue(nothing, "A", "x", 7), 7);
  }
}

TEST(VarTree, HasNoLimitOfDepth) {
  constexpr int kDepth = 200000;
  const std::string opened = times(kDepth, "(n\n") + "x:i=5\n", path = times(kDepth, "n.");
  const Tree tree = parse(opened + times(kDepth, ")\n"));
  ASSERT_NE(tree, nullptr);
  const Tree again = parse(dump(*tree->children));
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->getValue(path.c_str(), "x", -1), 5);
  EXPECT_EQ(dump(*parse(opened)), "(\n)\n") << "never closed";
}

TEST(VarTree, CutsLongLines) {
  constexpr std::size_t kLongest = 102399, kBuffer = 409600;
  // What fills the buffer is the last line there is.
  const std::pair<std::size_t, int> cases[] = {{kLongest + 1, 1}, {kBuffer - 1, 1}, {kBuffer, -1}};
  for (const auto& [size, next] : cases) {
    const Tree tree = parse("n:s=" + std::string(size - 4, 'x') + "\ny:i=1\n");
    EXPECT_EQ(std::strlen(tree->getValue("", "n", "")), kLongest - 4) << size;
    EXPECT_EQ(tree->getValue("", "y", -1), next) << size;
  }
}

TEST(VarTree, GivesOutLines) {
  TextStream stream("one\r\ntwo\rmore\n\nthe last");
  const auto lines = std::make_unique<VtILineStream>(&stream);
  char line[4];
  EXPECT_EQ(lines->get_next_line(), nullptr);
  EXPECT_STREQ(lines->getline(line, sizeof line, 0), "one");
  EXPECT_STREQ(lines->get_next_line(), "two");
  EXPECT_EQ(lines->getline(nullptr, 4, 0), nullptr);
  EXPECT_STREQ(lines->getline(line, sizeof line, 0), "the");
  EXPECT_EQ(lines->getline(line, sizeof line, 0), nullptr);
}

TEST(VarTree, ConvertsUtf8) {
  const std::tuple<std::wstring, std::string, unsigned long> cases[] = {
      {{0x7F, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x1FFFFF},
       "\x7F\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF7\xBF\xBF\xBF",
       99},
      {{0x200000, 0x3FFFFFF, 0x4000000, 0x7FFFFFFF},
       "\xF8\x88\x80\x80\x80\xFB\xBF\xBF\xBF\xBF\xFC\x84\x80\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF",
       99},
      {{0x20AC, 'a', -1, 'b'}, "ab", 3},  // what does not fit, or is none, is left out
      {L"ab", "", 1},
  };
  for (const auto& [wide, bytes, size] : cases) {
    unsigned char made[99];
    wchar_t again[99];
    const unsigned long characters = stringToUTF8(made, size, wide.c_str());
    EXPECT_EQ(reinterpret_cast<char*>(made), bytes);
    EXPECT_EQ(utf8ToWideChar(again, 99, made), characters);
    EXPECT_EQ(again, size == 99 ? wide : std::wstring(bytes.begin(), bytes.end()));
  }
  for (const char* cut : {"ab\xC3", "ab\xFF\x80", "abc"}) {
    wchar_t wide[3];
    EXPECT_EQ(utf8ToWideChar(wide, 3, reinterpret_cast<const unsigned char*>(cut)), 2U) << cut;
  }
}

}  // namespace
}  // namespace invscan
