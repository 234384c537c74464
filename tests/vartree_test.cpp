#include <invscan/vartree.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>

#include "common/vartree/Release.h"
#include "common/vartree/TextStream.h"
#include "common/vartree/TreeWriter.h"

namespace invscan {
namespace {

struct Release {
  void operator()(VtNode* node) const { releaseTree(node); }
};
using Tree = std::unique_ptr<VtNode, Release>;

// Gives out a text in pieces of that size, interrupted by a signal before each.
class SlowStream : public TextStream {
 public:
  SlowStream(std::string_view text, unsigned long piece) : TextStream(text), piece_(piece) {}

  long read(char* buffer, unsigned long size) override {
    interrupted_ = !interrupted_;
    if (!interrupted_) return TextStream::read(buffer, std::min(size, piece_));
    errno = EINTR;
    return -1;
  }

 private:
  unsigned long piece_;
  bool interrupted_ = false;
};

int parseInto(VtNode& root, std::string_view text) {
  TextStream stream(text);
  const auto lines = std::make_unique<VtILineStream>(&stream);
  return vtParseNodeDump(lines.get(), &root);
}

Tree parse(std::string_view text) {
  TextStream stream(text);
  const auto lines = std::make_unique<VtILineStream>(&stream);
  return Tree(vtParseNodeDump(lines.get()));
}

template <class Write>
std::string written(Write write) {
  char* text = nullptr;
  std::size_t size = 0;
  FILE* file = open_memstream(&text, &size);
  {
    TreeWriter writer(file);
    write(writer);
  }
  std::fclose(file);
  std::string result(text, size);
  std::free(text);
  return result;
}

std::string dump(const VtNode& node) {
  return written([&](TreeWriter& writer) { writer.node(node, 0); });
}

std::string dump(const VtVariant& variant) {
  return written([&](TreeWriter& writer) { writer.value(variant, 0); });
}

// A value made for the moment.
struct Value {
  template <class... Arguments>
  explicit Value(Arguments... arguments) : node("") {
    node.addValue(new VtVariant("n", arguments...));
  }
  ~Value() {
    auto* last = new VtNode("");
    std::swap(last->values, node.values);
    releaseTree(last);
    delete[] node.name;
  }
  VtNode node;
};

TEST(VarTree, WritesEachKind) {
  const unsigned char bytes[] = {0x0A, 0xFF};
  const double largest = std::numeric_limits<double>::max();
  EXPECT_EQ(dump(*Value(std::numeric_limits<int>::min()).node.values), "n:i=-2147483648\n");
  EXPECT_EQ(dump(*Value("a:b=(c)").node.values), "n:s=a:b=(c)\n");
  EXPECT_EQ(dump(*Value(-2.5).node.values), "n:f=-2.500000\n");
  EXPECT_EQ(dump(*Value(largest).node.values).size(), 4U + 309 + 7 + 1);
  EXPECT_EQ(dump(*Value(L"abc").node.values), "n:u=3,616263\n");
  EXPECT_EQ(dump(*Value(L"\u00e9").node.values), "n:u=1,c3\n");
  EXPECT_EQ(dump(*Value(bytes, 2UL).node.values), "n:d=2,0aff\n");
  EXPECT_EQ(dump(*Value(bytes, 0UL).node.values), "n:d=0,\n");
  Value odd(1);
  odd.node.values->kind = 9;
  char expected[64];
  std::snprintf(expected, sizeof expected, "n:?=%p\n", static_cast<void*>(odd.node.values));
  EXPECT_EQ(dump(*odd.node.values), expected);
}

TEST(VarTree, WritesWhatHostsPrint) {
  const Tree tree = parse("(A\nx:i=5\n(B\n)\n)\n");
  testing::internal::CaptureStdout();
  std::printf("head\n");
  vtDumpNode(tree->getChild("A", 0), 1);
  vtDumpNode(nullptr, 0);
  vtDumpValue(tree->getValue("A", "x"), 0);
  vtIndent(2);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "head\n   (A\n      x:i=5\n      (B\n      )\n   )\nx:i=5\n      ");
}

struct Line {
  const char* text;
  int result;
  const char* dump;  // of the value
};

TEST(VarTree, ReadsLines) {
  const Line lines[] = {
      {"n:i=12abc", 0, "n:i=12\n"},
      {"n:i=", 0, "n:i=0\n"},
      {" \t n:i= +7", 0, "n:i=7\n"},
      {"n:i=-99999999999999999999", 0, "n:i=-2147483648\n"},
      {"n:i=5\r", 0, "n:i=5\n"},
      {"1 x:s= a=b:c ", 0, "1 x:s= a=b:c \n"},
      {"n:s=", 0, "n:s=\n"},
      {"n:s=\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80|", 0,
       "n:s=\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80|\n"},
      {"n:s=cut\xFFoff", 0, "n:s=cut\n"},
      {"n:s=cut\xC0\xAFoff", 0, "n:s=cut\n"},
      {"n:s=cut\xED\xA0\x80off", 0, "n:s=cut\n"},
      {"n:s=cut\xE2\x82", 0, "n:s=cut\n"},
      {"n:f=2.5", 0, "n:f=2.500000\n"},
      {"n:f=-1e2x", 0, "n:f=-100.000000\n"},
      {"n:f=inf", 0, "n:f=inf\n"},
      {"n:d=2,0a0Bffff", 0, "n:d=2,0a0b\n"},
      {"n:d=1,:/", 0, "n:d=1,9f\n"},
      {"n:d=-1,", 0, "n:d=0,\n"},
      {"n:u=2,e282", 0, "n:u=0,\n"},  // the writer cuts characters
      {"n:u=3,E282AC", 0, "n:u=1,e2\n"},
      {"n:u=4,61006263", 0, "n:u=1,61\n"},
      {"n:d=3,0a0B", -9, nullptr},
      {"n:d=2", -9, nullptr},
      {"n:u=2,6", -9, nullptr},
      {"n:d=2147483647,00", -9, nullptr},
      {"n:d=99999999999999,00", -9, nullptr},
      {"-", -1, nullptr},
      {"\xC3\xBC:i=1", -1, nullptr},
      {"x:=1", -5, nullptr},
      {"x", -5, nullptr},
      {"x:i", -5, nullptr},
      {"a=b:i=1", -5, nullptr},
      {"x:ii=1", -5, nullptr},
      {"x:q=1", -6, nullptr},
      {")", -4, nullptr},
      {"  ;-", 0, nullptr},
      {"", 0, nullptr},
  };
  for (const Line& line : lines) {
    SCOPED_TRACE(line.text);
    const Tree root(new VtNode(""));
    EXPECT_EQ(parseInto(*root, line.text), line.result);
    EXPECT_EQ(root->values ? dump(*root->values) : "", line.dump ? line.dump : "");
  }
}

TEST(VarTree, KeepsWhatWasClosedBeforeAnError) {
  const Tree root(new VtNode(""));
  EXPECT_EQ(parseInto(*root, "(A\n)\nx:i=1\n(open\n(B\n)\n-\n"), -1);
  EXPECT_EQ(dump(*root), "(\n   x:i=1\n   (A\n   )\n)\n");
  EXPECT_EQ(parse("(A\n)\n-\n"), nullptr);
  EXPECT_EQ(dump(*parse("(A\n)\n(open\nx:i=1\n")), "(\n   (A\n   )\n)\n");
}

TEST(VarTree, LooksThingsUp) {
  const Tree tree = parse(
      "(A\nx:i=5\nf:f=2.5\ns:s=text\n(B\ny:i=1\n)\n(B\ny:i=2\n)\n(\nz:i=3\n)\n)\n"
      "(A\nx:i=6\n)\n");
  VtExecInfo info{0, 1, 0, nullptr, tree.get()};
  VtExecInfo noTree{-1, -1, -1, nullptr, nullptr};
  const VtNode* a = vtGetNode(&info, "A", -3);
  ASSERT_NE(a, nullptr);
  const struct {
    const char* path;
    const char* name;
    int expected;
  } numbers[] = {{"", "x", 5},  {nullptr, "x", 5}, {"B", "y", 1},  {"B.", "y", 1}, {"B.B", "y", -1},
                 {".", "z", 3}, {"B..", "y", -1},  {"b", "y", -1}, {"", "s", -1},  {"", "f", -1}};
  for (const auto& [path, name, expected] : numbers) {
    EXPECT_EQ(a->getValue(path, name, -1), expected) << (path ? path : "null") << " " << name;
  }
  EXPECT_STREQ(a->getValue("", "s", "none"), "text");
  EXPECT_STREQ(a->getValue("", "x", "none"), "none");
  EXPECT_EQ(a->getValueF("", "f", 0.F), 2.5F);
  EXPECT_EQ(a->getValueF("", "x", 1.F), 1.F);
  EXPECT_EQ(a->getChild("B", 1)->getValue("y")->value.integer, 2);
  EXPECT_STREQ(a->getChild(nullptr, 2)->name, "");
  EXPECT_EQ(a->getChild("B", 2), nullptr);
  EXPECT_EQ(a->getChild(nullptr, -1), nullptr);
  EXPECT_EQ(vtGetValue(&info, "A.B", "y", -1), 1);
  EXPECT_STREQ(vtGetValue(&info, "A", "s", ""), "text");
  EXPECT_EQ(vtGetNode(&info, "A", 1)->getValue("x")->value.integer, 6);
  EXPECT_EQ(vtGetNode(&info, "A.B", 0), nullptr);
  EXPECT_EQ(vtGetNode(&info, nullptr, 9), tree.get());
  for (VtExecInfo* nothing : {&noTree, static_cast<VtExecInfo*>(nullptr)}) {
    EXPECT_EQ(vtGetNode(nothing, "A", 0), nullptr);
    EXPECT_EQ(vtGetValue(nothing, "A", "x"), nullptr);
    EXPECT_EQ(vtGetValue(nothing, "A", "x", 7), 7);
  }
}

// Random trees of all that the form can hold: it has no line ends, no CR, six decimals, and wide
// strings survive in ASCII.
class Grower {
 public:
  explicit Grower(unsigned seed) : random_(seed) {}

  VtNode* node(int depth) {
    auto* made = new VtNode(text("(;)\" .,-").c_str());
    for (int i = below(5); i > 0; --i) made->addValue(value());
    for (int i = depth > 0 ? below(5) : 0; i > 0; --i) made->addChild(node(depth - 1));
    return made;
  }

 private:
  int below(int most) { return static_cast<int>(random_() % static_cast<unsigned>(most)); }

  std::string text(const std::string& more) {
    static const std::string kParts[] = {"a", "Z", "7", "\u00fc", "\u20ac", "\U0001F600", "\x7F"};
    std::string made;
    for (int i = below(9); i > 0; --i) {
      const int part = below(9);
      made += part < 7
                  ? kParts[part]
                  : std::string(
                        1, more[static_cast<std::size_t>(below(static_cast<int>(more.size())))]);
    }
    return made;
  }

  VtVariant* value() {
    const std::string name = "v" + text("(;) .,-");
    const std::string string = text("(;)=:\t ");
    switch (below(5)) {
      case 0:
        return new VtVariant(name.c_str(), static_cast<int>(random_()));
      case 1:
        return new VtVariant(name.c_str(), string.c_str());
      case 2:
        return new VtVariant(name.c_str(), std::ldexp(below(1 << 20) - (1 << 19), below(80) - 6));
      case 3:
        return new VtVariant(name.c_str(),
                             std::wstring(static_cast<std::size_t>(below(40)), L'w').c_str());
      default:
        return new VtVariant(name.c_str(), reinterpret_cast<const unsigned char*>(string.data()),
                             string.size());
    }
  }

  std::mt19937 random_;
};

bool sameValues(const VtVariant* one, const VtVariant* other) {
  while (one && other) {
    if (one->kind != other->kind || dump(*one) != dump(*other)) return false;
    if (one->kind == kVtDouble && one->value.real != other->value.real) return false;
    one = one->next;
    other = other->next;
  }
  return !one && !other;
}

bool sameTree(const VtNode* one, const VtNode* other) {
  if (std::strcmp(one->name, other->name) != 0 || !sameValues(one->values, other->values)) {
    return false;
  }
  const VtNode* a = one->children;
  const VtNode* b = other->children;
  for (; a && b; a = a->next, b = b->next) {
    if (!sameTree(a, b)) return false;
  }
  return !a && !b;
}

TEST(VarTree, ReadsBackWhatItWrote) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    const Tree made(Grower(seed).node(4));
    const std::string text = dump(*made);
    const Tree read = parse(text);
    ASSERT_TRUE(read && read->children && !read->children->next) << text;
    ASSERT_TRUE(sameTree(made.get(), read->children)) << text;
    for (const unsigned long piece : {1UL, 7UL, 4096UL}) {
      SlowStream stream(text, piece);
      const auto lines = std::make_unique<VtILineStream>(&stream);
      const Tree again(vtParseNodeDump(lines.get()));
      ASSERT_TRUE(again && sameTree(read.get(), again.get())) << text;
    }
  }
}

TEST(VarTree, HasNoLimitOfDepth) {
  constexpr int kDepth = 200000;
  std::string text;
  std::string path;
  for (int i = 0; i < kDepth; ++i) text += "(n\n";
  text += "x:i=5\n";
  for (int i = 0; i < kDepth; ++i) text += ")\n";
  for (int i = 0; i < kDepth; ++i) path += "n.";
  const Tree tree = parse(text);
  ASSERT_NE(tree, nullptr);
  EXPECT_EQ(tree->getValue(path.c_str(), "x", -1), 5);
  const Tree again = parse(dump(*tree->children));
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->getValue(path.c_str(), "x", -1), 5);
  EXPECT_NE(parse(text.substr(0, text.size() / 2)), nullptr);
}

TEST(VarTree, CutsLongLines) {
  constexpr std::size_t kLongest = 102399, kBuffer = 409600;
  const std::string longText(kLongest, 'x');
  EXPECT_EQ(std::strlen(parse("n:s=" + longText + "\ny:i=1\n")->getValue("", "n", "")),
            kLongest - 4);
  EXPECT_EQ(parse("n:s=" + longText + "\ny:i=1\n")->getValue("", "y", -1), 1);
  // What fills the buffer is the last line there is.
  const Tree full = parse("n:s=" + std::string(kBuffer - 4, 'x') + "\ny:i=1\n");
  EXPECT_EQ(std::strlen(full->getValue("", "n", "")), kLongest - 4);
  EXPECT_EQ(full->getValue("", "y", -1), -1);
  const Tree almost = parse("n:s=" + std::string(kBuffer - 5, 'x') + "\ny:i=1\n");
  EXPECT_EQ(almost->getValue("", "y", -1), 1);
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
  const struct {
    std::wstring wide;
    std::string bytes;
    unsigned long size;
    unsigned long characters;
  } cases[] = {
      {L"a\u00fc\u20ac\U0001F600", "a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80", 99, 4},
      {{0x7FF, 0x800, 0xFFFF, 0x10000, 0x1FFFFF},
       "\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF7\xBF\xBF\xBF",
       99,
       5},
      {{0x200000, 0x3FFFFFF, 0x4000000, 0x7FFFFFFF},
       "\xF8\x88\x80\x80\x80\xFB\xBF\xBF\xBF\xBF\xFC\x84\x80\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF",
       99,
       4},
      {L"\u20acab", "ab", 3, 2},  // what does not fit is left out
      {L"ab", "", 1, 0},
      {{L'a', -1, L'b'}, "ab", 9, 2},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.bytes);
    unsigned char bytes[99];
    EXPECT_EQ(stringToUTF8(bytes, test.size, test.wide.c_str()), test.characters);
    EXPECT_STREQ(reinterpret_cast<char*>(bytes), test.bytes.c_str());
    wchar_t wide[99];
    EXPECT_EQ(utf8ToWideChar(wide, 99, bytes), test.characters);
    if (test.size == 99) {
      EXPECT_EQ(wide, test.wide);
    }
  }
  wchar_t wide[3];
  for (const char* cut : {"ab\xC3", "ab\xFF\x80", "abc"}) {
    EXPECT_EQ(utf8ToWideChar(wide, 3, reinterpret_cast<const unsigned char*>(cut)), 2U) << cut;
  }
  EXPECT_EQ(utf8ToWideChar(wide, 3, reinterpret_cast<const unsigned char*>("\xF7")), 0U);
}

}  // namespace
}  // namespace invscan
