// Hostile files and command outputs: through the text functions, and as the answers of a machine
// that every collector asks.
#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/base/OrvCfg.h>
#include <invscan/groups.h>
#include <invscan/print.h>

#include "invscan/linux/utils/Text.h"
#include "invscan/machine/Machine.h"

namespace {

using namespace invscan;

void require(bool holds) {
  if (!holds) std::abort();
}

bool isUtf8(std::string_view text) {
  const String wide{std::string(text)};
  const std::wstring_view characters(wide.toWide(), wide.length());
  return std::none_of(characters.begin(), characters.end(),
                      [](wchar_t character) { return character >= 0xDC80 && character <= 0xDCFF; });
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
  std::size_t total = 0;
  std::string_view rest = text;
  for (auto field = nextField(rest, delimiters); !field.empty();
       field = nextField(rest, delimiters)) {
    require(field.find_first_of(delimiters) == field.npos);
    total += field.size();
    static_cast<void>(leadingReal(field));
    if (const auto number = findInteger(field)) require(leadingInteger(field) == *number);
  }
  const auto isDelimiter = [&](char byte) { return delimiters.find(byte) != delimiters.npos; };
  const auto left = std::count_if(text.begin(), text.end(), isDelimiter);
  require(total + static_cast<std::size_t>(left) == text.size());
}

void checkCut(std::string_view text, std::size_t most) {
  const std::string_view cut = cutText(text, most);
  require(cut.size() <= most && text.substr(0, cut.size()) == cut);
  require(!isUtf8(text) || isUtf8(cut));
}

// The input is a list of answers, each ended by a form feed, and given in the order of the
// questions. An empty one says that the machine does not tell.
class HostileMachine : public Machine {
 public:
  void answerWith(std::string_view answers) { rest_ = answers; }

 private:
  std::string answer() {
    const std::string text(rest_.substr(0, rest_.find('\f')));
    rest_.remove_prefix(std::min(text.size() + 1, rest_.size()));
    return text;
  }

  std::optional<long> number() { return findInteger(answer()); }
  unsigned long count() { return static_cast<unsigned long>(number().value_or(0)); }

  FileText doReadFile(const std::string&, std::size_t limit) override {
    const std::string text = answer();
    return {text.empty() ? ENOENT : 0, text.substr(0, limit)};
  }
  int doExists(const std::string&) override { return answer().empty() ? ENOENT : 0; }
  std::optional<std::string> doReadLink(const std::string&) override {
    const std::string target = answer();
    return target.empty() ? std::nullopt : std::optional(target);
  }
  std::vector<std::string> doListDirectory(const std::string&) override {
    const std::string name = answer();
    return name.empty() ? std::vector<std::string>() : std::vector<std::string>{name};
  }
  FileText doReadMemory(unsigned long, unsigned long length) override {
    std::string bytes = answer();
    bytes.resize(length);
    return {bytes.empty() ? ENOENT : 0, bytes};
  }
  CommandOutput doRunCommand(const std::string&, std::size_t limit) override {
    const std::string text = answer();
    return {!text.empty(), 0, text.substr(0, limit)};
  }
  HelperOutput doRunHelper(const std::string&, const char*, const char*) override {
    return {true, answer()};
  }
  std::optional<CpuidRegisters> doCpuid(std::uint32_t, std::uint32_t) override {
    const auto value = number();
    if (!value) return std::nullopt;
    const auto bits = static_cast<std::uint32_t>(*value);
    return CpuidRegisters{bits, ~bits, bits >> 7, bits * 5};
  }
  std::optional<struct statvfs> doFileSystemStatistics(const std::string&,
                                                       StatisticsCall) override {
    struct statvfs statistics {};
    statistics.f_frsize = statistics.f_blocks = statistics.f_bavail = count();
    return statistics;
  }
  std::optional<KernelIdentity> doKernelIdentity() override {
    KernelIdentity kernel;
    for (std::string* field :
         {&kernel.sysname, &kernel.nodename, &kernel.release, &kernel.version, &kernel.machine}) {
      *field = answer();
    }
    if (kernel.sysname.empty()) return std::nullopt;
    return kernel;
  }
  std::optional<MemoryFigures> doMemoryFigures() override {
    return MemoryFigures{count(), count(), count(), count()};
  }
  unsigned long doPageSize() override { return count(); }
  std::optional<unsigned long> doWordSize() override { return number(); }
  long doCurrentTime() override { return number().value_or(0); }
  std::optional<RunLevelRecord> doRunLevelRecord() override {
    const std::string line = answer();
    if (line.empty()) return std::nullopt;
    const long time = number().value_or(0);
    return RunLevelRecord{line, time, line.back()};
  }
  LocaleName doSetLocale(int) override {
    const std::string name = answer();
    return {!name.empty(), name};
  }
  void doSetTimeZone() override {}

  std::string_view rest_;
};

// Machines are kept to the end of the process, so there is one for all inputs.
HostileMachine& hostileMachine() {
  static HostileMachine* const instance = [] {
    auto made = std::make_unique<HostileMachine>();
    HostileMachine* const kept = made.get();
    setMachine(std::move(made));
    return kept;
  }();
  return *instance;
}

void print(KelTable& table) {
  static FILE* const sink = std::fopen("/dev/null", "w");
  while (KelTableRow* row = table.getNext()) {
    while (const KelTableAttrib* attrib = row->getNext()) {
      PrintKelAttribValueToFile(sink, attrib->getAttribPtr());
    }
  }
}

template <class Group>
void collect(std::string_view answers) {
  hostileMachine().answerWith(answers);
  const std::unique_ptr<KelTable> table(Group().getTable());
  require(table && table->getRowCount() == 1);
  print(*table);
}

void collectAll(std::string_view answers) {
  collect<OperatingSystemGroup>(answers);
  collect<MemoryGroup>(answers);
  collect<RegionalGroup>(answers);
  collect<ScanInfoGroup>(answers);
  collect<UnixSystemParamsGroup>(answers);
  collect<CpuMeterGroup>(answers);
  collect<UnixCpuMeterGroup>(answers);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const char* const locale = std::setlocale(LC_ALL, "C.UTF-8");
  require(locale != nullptr);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const std::size_t most : {4UL, 80UL, 256UL}) {
    checkLines(text, most);
    checkCut(text, most);
  }
  checkFields(text, " \t\n");
  checkFields(text, ":");
  for (const char* sources : {"classic", "native"}) {
    OrvCfg::setKey("hwscanner.sources", sources);
    collectAll(text);
  }
  return 0;
}
