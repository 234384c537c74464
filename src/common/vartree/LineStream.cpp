#include <algorithm>
#include <cerrno>
#include <cstring>

#include <invscan/helper.h>
#include <invscan/vartree.h>

namespace {

// Ends a terminated line at its first CR or NUL, and tells its length.
unsigned long cut(char* line) {
  char* end = strchrnul(line, '\r');
  *end = 0;
  return static_cast<unsigned long>(end - line);
}

// The next line of a stream's buffer, moved past its end; null when no line ends there.
char* takeLine(VtILineStream& stream, unsigned long& length) {
  char* line = stream.buffer + stream.position;
  const auto unsearched = static_cast<std::size_t>(stream.count - stream.searched);
  auto* end = static_cast<char*>(std::memchr(stream.buffer + stream.searched, '\n', unsearched));
  stream.searched = end ? static_cast<int>(end + 1 - stream.buffer) : stream.count;
  if (!end) return nullptr;
  *end = 0;
  stream.position = stream.searched;
  length = cut(line);
  return line;
}

char* takeRest(VtILineStream& stream, unsigned long& length) {
  if (stream.count == 0) return nullptr;
  const auto isEnd = [](char letter) { return letter == '\r' || letter == 0; };
  const char* end = std::find_if(stream.buffer, stream.buffer + stream.count, isEnd);
  length = static_cast<unsigned long>(end - stream.buffer);
  stream.count = stream.searched = 0;
  return stream.buffer;
}

// Moves what was not given out to the front.
void makeRoom(VtILineStream& stream) {
  const int rest = stream.count - stream.position;
  std::memmove(stream.buffer, stream.buffer + stream.position, static_cast<std::size_t>(rest));
  stream.searched -= stream.position;
  stream.position = 0;
  stream.count = rest;
}

void fill(VtILineStream& stream) {
  const int room = VtILineStream::kBufferSize - stream.count;
  long count = 0;
  do {
    errno = 0;
    count = room > 0 && stream.in
                ? stream.in->read(stream.buffer + stream.count, static_cast<unsigned long>(room))
                : 0;
  } while (count < 0 && errno == EINTR);
  stream.ended = count <= 0;
  stream.count += static_cast<int>(std::clamp<long>(count, 0, room));
}

}  // namespace

VtILineStream::VtILineStream(VtIStream* stream)
    : in(stream), ended(0), position(0), count(0), searched(0) {
  buffer[0] = 0;
}

char* VtILineStream::nextInPlace(unsigned long& length) {
  char* line = takeLine(*this, length);
  if (line) return line;
  makeRoom(*this);
  while (!ended) {
    fill(*this);
    line = takeLine(*this, length);
    if (line) return line;
  }
  return takeRest(*this, length);
}

char* VtILineStream::getline(char* line, unsigned long size, int) {
  unsigned long length = 0;
  const char* next = nextInPlace(length);
  if (!next) return nullptr;
  if (!line || size == 0) return line;
  length = std::min(length, size - 1);
  std::memcpy(line, next, length);
  line[length] = 0;
  return line;
}

char* VtILineStream::get_next_line() {
  unsigned long length = 0;
  return takeLine(*this, length);
}
