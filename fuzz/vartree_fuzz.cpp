// Hostile answers of helpers: response line and dump, read at once and in small pieces; and
// what was read, written and read again, which has to be the same.
#include <climits>
#include <cstdio>

#include <invscan/helper.h>

#include "../tests/WrittenText.h"
#include "FuzzTarget.h"
#include "common/vartree/Release.h"
#include "common/vartree/TextStream.h"

namespace {

using namespace invscan;

// Gives out a text in pieces of that size.
struct PieceStream : TextStream {
  PieceStream(std::string_view text, unsigned long size) : TextStream(text), piece(size) {}
  long read(char* buffer, unsigned long size) override {
    return TextStream::read(buffer, std::min(size, piece));
  }
  const unsigned long piece;
};

Tree parse(std::string_view text, unsigned long piece, int& result) {
  // The same buffer for all: making it costs more than reading a short text.
  static auto* const lines = new VtILineStream(nullptr);
  PieceStream stream(text, piece);
  lines->in = &stream;
  lines->ended = lines->position = lines->count = lines->searched = 0;
  Tree root(new VtNode(""));
  result = vtParseNodeDump(lines, root.get());
  return root;
}

// Trees are equal when their dumps are; only wide strings get shorter each time.
void checkRoundTrip(const VtNode& root) {
  int result = 0;
  const std::string written = dump(root);
  const Tree read = parse(written, ULONG_MAX, result);
  require(result == kVtParsed && read->children && !read->children->next);
  const std::string again = dump(*read->children);
  require(again == written ||
          (again.size() < written.size() && written.find(":u=") != written.npos));
}

void readAnswer(std::string_view text) {
  TextStream stream(text);
  const Answer info(vtParseProgramOutput(&stream));
  require((info->result >= 0) == (info->message != nullptr));
  require(info->message || !info->tree);
}

void convert(const std::string& text) {
  wchar_t wide[40];
  unsigned char utf8[40];
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.c_str());
  const unsigned long characters = utf8ToWideChar(wide, std::size(wide), bytes);
  require(characters < std::size(wide));
  require(stringToUTF8(utf8, std::size(utf8), wide) <= characters);
}

}  // namespace

void invscan::tryInput(std::string_view text) {
  int result = 0, resultOfPieces = 0;
  const Tree tree = parse(text, ULONG_MAX, result);
  const Tree same = parse(text, 5, resultOfPieces);
  require(result == resultOfPieces && dump(*tree) == dump(*same));
  checkRoundTrip(*tree);
  readAnswer(text);
  convert(std::string(text));
}
