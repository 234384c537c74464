// Hostile files and command outputs: through the text functions, and as the answers of a machine
// that every collector asks.
#include <algorithm>
#include <clocale>

#include <invscan/base/OrvCfg.h>
#include <invscan/collectors.h>

#include "../tests/TestMachine.h"
#include "FuzzTarget.h"
#include "common/text/Lines.h"
#include "common/vartree/Utf8.h"
#include "invscan/machine/CaptureDocument.h"

namespace {

using namespace invscan;

bool isUtf8(std::string_view text) {
  return utf8Prefix(text) == text.size();
}

void checkLines(std::string_view text, std::size_t most) {
  const bool isSane = isUtf8(text) && text.find('\0') == text.npos;
  std::string joined;
  TextLines lines(text, most);
  for (std::string_view line; lines.next(line);) {
    require(line.size() <= most && line.find('\0') == line.npos);
    require(line.find('\n') >= line.size() - 1);
    require(!isSane || isUtf8(line));
    joined += line;
  }
  require(!isSane || joined == text);
}

void checkFields(std::string_view text, std::string_view delimiters) {
  std::string joined, expected(text);
  std::erase_if(expected, [&](char byte) { return delimiters.find(byte) != delimiters.npos; });
  while (true) {
    const std::string_view field = nextField(text, delimiters);
    if (field.empty()) break;
    joined += field;
    static_cast<void>(leadingReal(field));
    if (const auto number = findInteger(field)) require(leadingInteger(field) == *number);
  }
  require(joined == expected);
}

// The input is a list of answers, each ended by a form feed, and given in the order of the
// questions. An empty one says that the machine does not tell; plain questions take JSON.
class HostileMachine : public TestMachine {
 public:
  explicit HostileMachine(std::string_view answers) : TestMachine(Answers{}), rest_(answers) {}

 private:
  std::string answer() {
    const std::string text(rest_.substr(0, rest_.find('\f')));
    rest_.remove_prefix(std::min(text.size() + 1, rest_.size()));
    return text;
  }
  std::optional<std::string> fact() {
    const std::string text = answer();
    return text.empty() ? std::nullopt : std::optional(text);
  }
  FileText doReadFile(const std::string&, std::size_t limit) override {
    const auto text = fact();
    return {text ? 0 : ENOENT, text.value_or("").substr(0, limit)};
  }
  int doExists(const std::string&) override { return fact() ? 0 : ENOENT; }
  FileText doReadLink(const std::string& path) override { return doReadFile(path, SIZE_MAX); }
  CommandOutput doRunCommand(const std::string&, const CommandLimits& limits) override {
    const auto text = fact();
    return {text.has_value(), 0, text.value_or("").substr(0, limits.bytes)};
  }
  // As a capture holds it.
  void doAsk(Question& question) override {
    try {
      question.read(CaptureDocument(answer()).value());
    } catch (const CaptureError&) {
    }
  }
  LocaleName doSetLocale(int) override {
    const auto name = fact();
    return {name.has_value(), name.value_or("")};
  }

  std::string_view rest_;
};

// Loads drivers and waits for them; storage_fuzz has what it reads.
constexpr unsigned long kStorage = 5;

// Processors, addresses, adapters, file systems, devices, what diskscan tells, and what only a
// guest has; the other groups tell of one machine.
bool hasAnyNumberOfRows(unsigned long group) {
  constexpr unsigned long kGroups[] = {2, 6, 7, 27, 29, 44, 45, 50, 51, 53, 54};
  return std::find(std::begin(kGroups), std::end(kGroups), group) != std::end(kGroups);
}

void collectAll(std::string_view answers) {
  for (const Collector& collector : collectors()) {
    if (collector.id == kStorage) continue;
    setMachine(std::make_shared<HostileMachine>(answers));
    const std::unique_ptr<KelGroup> group(collector.make());
    const std::unique_ptr<KelTable> table(group->getTable());
    // There is no firmware table here; smbios_fuzz has those.
    const bool isListing = hasAnyNumberOfRows(collector.id);
    require(table || (collector.needs & kNeedsFirmware) != 0 || isListing);
    require(!table || isListing || table->getRowCount() == 1);
  }
}

}  // namespace

void invscan::tryInput(std::string_view text) {
  static const char* const locale = std::setlocale(LC_ALL, "C.UTF-8");
  require(locale != nullptr);
  for (const std::size_t most : {4UL, 80UL, 256UL}) {
    checkLines(text, most);
    require(text.starts_with(cutText(text, most)) && cutText(text, most).size() <= most);
    require(!isUtf8(text) || isUtf8(cutText(text, most)));
  }
  checkFields(text, " \t\n");
  checkFields(text, ":");
  for (const char* sources : {"classic", "native"}) {
    OrvCfg::setKey("hwscanner.sources", sources);
    collectAll(text);
  }
}
