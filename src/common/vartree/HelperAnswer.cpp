#include <algorithm>
#include <climits>
#include <memory>
#include <new>
#include <string_view>

#include <invscan/helper.h>
#include <invscan/vartree.h>

#include "base/Trim.h"
#include "common/text/Numbers.h"
#include "common/vartree/HelperAnswer.h"
#include "common/vartree/ProgramOutput.h"
#include "common/vartree/Release.h"
#include "common/vartree/TextStream.h"

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kSpaces = " \t\n\v\f\r";

// Takes the digits off the front, and spaces behind them; -1 when there are none.
int takeNumber(std::string_view& text, std::string_view spaces = kSpaces) {
  const std::string_view digits = text.substr(0, text.find_first_not_of(kDigits));
  if (digits.empty()) return -1;
  text = invscan::withoutLeading(text.substr(digits.size()), spaces);
  return static_cast<int>(std::min<long>(invscan::leadingInteger(digits), INT_MAX));
}

// MAJOR.MINOR RESULT MESSAGE, where the message may be missing.
void parseResponse(std::string_view line, VtExecInfo& info) {
  const int versionMajor = takeNumber(line, "");
  if (!line.starts_with('.')) return;
  line.remove_prefix(1);
  const int versionMinor = takeNumber(line);
  const int result = takeNumber(line);
  if (versionMajor <= 0 || versionMinor < 0 || result < 0) return;
  info.versionMajor = versionMajor;
  info.versionMinor = versionMinor;
  info.result = result;
  info.message = vtStrDup(line.data());
}

}  // namespace

VtExecInfo* invscan::noResponse() {
  return new VtExecInfo{-1, -1, -1, nullptr, nullptr};
}

VtExecInfo* vtParseProgramOutput(VtIStream* in) {
  invscan::Answer info(invscan::noResponse());
  if (!in) return info.release();
  const auto lines = std::make_unique<VtILineStream>(in);
  char line[256];
  bool hasLine = false;
  do {
    hasLine = lines->getline(line, sizeof line, 0) != nullptr;
  } while (hasLine && *line == ';');
  if (hasLine) parseResponse(line, *info);
  if (info->message) info->tree = vtParseNodeDump(lines.get());
  return info.release();
}

VtExecInfo* vtExecProgram(const char* path, const char* arguments, const char* tracePath) {
  using namespace invscan;
  const auto text = readProgramOutput(path, arguments, tracePath, kProgramOutputLimit);
  if (!text) return nullptr;
  return readAnswer(*text);
}

VtExecInfo* invscan::readAnswer(std::string_view output) {
  // A line takes some hundred bytes as a node.
  constexpr std::ptrdiff_t kMostLines = 4 << 20;
  if (std::count(output.begin(), output.end(), '\n') > kMostLines) return noResponse();
  TextStream stream(output);
  try {
    return vtParseProgramOutput(&stream);
  } catch (const std::bad_alloc&) {
    return noResponse();
  }
}

void invscan::releaseAnswer(VtExecInfo* info) {
  if (!info) return;
  releaseTree(info->tree);
  delete[] info->message;
  delete info;
}
