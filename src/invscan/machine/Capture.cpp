#include "invscan/machine/Capture.h"

#include <algorithm>
#include <cstring>

#include <nlohmann/json.hpp>

#include "invscan/machine/CaptureDocument.h"

namespace invscan {
namespace {

int errorNumber(const CaptureValue& value) {
  constexpr int kMost = 4095;  // of what the kernel answers
  const std::string name = value.text();
  for (int error = 1; error <= kMost; ++error) {
    const char* known = strerrorname_np(error);
    if (known && name == known) return error;
  }
  value.refuse("the name of an error, such as EACCES");
}

bool isHang(const CaptureValue& value) {
  if (!value.isObject()) return false;
  const auto hang = value.find("hang");
  return hang && hang->flag();
}

// An answer of a machine that is said to hang may be left out.
PlainFacts::Fact readFact(const QuestionKind& kind, const CaptureValue& value) {
  PlainFacts::Fact fact{nullptr, isHang(value)};
  if (fact.hangs && value.memberCount() == 1) return fact;
  auto answer = kind.make();
  answer->read(value);
  fact.answer = std::move(answer);
  return fact;
}

void readEnvironment(const CaptureValue& value, CaptureFacts& facts) {
  value.forEachMember([&](const std::string& name, const CaptureValue& variable) {
    if (!isCapturedVariable(name)) variable.refuseName();
    facts.environment.erase(name);
    if (!variable.isNull()) facts.environment[name] = variable.text();
  });
}

void readLocales(const CaptureValue& value, CaptureFacts& facts) {
  value.forEachMember([&](const std::string& category, const CaptureValue& locale) {
    facts.locales[category] =
        locale.isNull() ? LocaleName{false, "C"} : LocaleName{true, locale.text()};
  });
}

template <class Form>
void readPrograms(const CaptureValue& value, CaptureFacts::Programs& programs) {
  value.forEachElement([&](const CaptureValue& element) {
    CapturedProgram program = readProgram(Form::kName, element);
    programs[element[Form::kName].text()].push_back(std::move(program));
  });
}

void readAbsent(const CaptureValue& value, CaptureFacts& facts) {
  auto& absent = facts.absent.emplace();
  absent.reserve(value.size());
  value.forEachElement([&](const CaptureValue& path) { absent.push_back(path.text()); });
  if (!std::is_sorted(absent.begin(), absent.end())) std::sort(absent.begin(), absent.end());
}

// The sections of machine.json beside those of plain questions. Those that no collector asks for
// yet are checked all the same, so that a capture is good or bad once and for all.
constexpr struct {
  const char* name;
  void (*read)(const CaptureValue& value, CaptureFacts& facts);
} kSections[] = {
    {"capture", [](const CaptureValue&, CaptureFacts&) {}},  // read before all others
    {"environment", readEnvironment},
    {"locales", readLocales},
    {"commands", [](const CaptureValue& value,
                    CaptureFacts& facts) { readPrograms<CommandForm>(value, facts.commands); }},
    {"helpers", [](const CaptureValue& value,
                   CaptureFacts& facts) { readPrograms<HelperForm>(value, facts.helpers); }},
    {"unreadable",
     [](const CaptureValue& value, CaptureFacts& facts) {
       value.forEachMember([&](const std::string& name, const CaptureValue& error) {
         facts.unreadable[name] = errorNumber(error);
       });
     }},
    {"absent", readAbsent},
    {"processors", [](const CaptureValue& value, CaptureFacts&) { value.number(); }}};

bool isSectionOf(const QuestionKind& kind, const std::string& name) {
  return std::find(kind.sections.begin(), kind.sections.end(), name) != kind.sections.end();
}

void readSection(const std::string& name, const CaptureValue& value, CaptureFacts& facts) {
  const auto* own = std::find_if(std::begin(kSections), std::end(kSections),
                                 [&name](const auto& section) { return name == section.name; });
  if (own != std::end(kSections)) return own->read(value, facts);
  const auto* kind = std::find_if(std::begin(kPlainQuestions), std::end(kPlainQuestions),
                                  [&name](const auto* each) { return isSectionOf(*each, name); });
  if (kind == std::end(kPlainQuestions)) value.refuseName();
  facts.plain.read(**kind, name, value);
}

}  // namespace

Json writeProgram(const char* nameKey, const std::string& name, const CapturedProgram& program) {
  Json json = {{nameKey, name}};
  if (isCaptureText(program.output)) {
    json["output"] = program.output;
  } else {
    json["output_hex"] = hexDigits(program.output);
  }
  if (program.status != 0) json["status"] = program.status;
  return json;
}

CapturedProgram readProgram(const char* nameKey, const CaptureValue& value) {
  value.checkNames({nameKey, "output", "output_hex", "status", "hang"});
  value[nameKey].text();
  CapturedProgram program;
  if (const auto output = value.find("output")) program.output = output->text();
  if (const auto output = value.find("output_hex")) program.output = output->bytes();
  if (const auto status = value.find("status"))
    program.status = static_cast<int>(status->number(255));
  if (const auto hang = value.find("hang")) program.hangs = hang->flag();
  return program;
}

PlainFacts::PlainFacts(std::initializer_list<std::shared_ptr<const Question>> questions) {
  for (const auto& question : questions) add(question);
}

void PlainFacts::add(const std::shared_ptr<const Question>& question) {
  facts_[question->kind().sections[question->section()]][question->key()] = {question, false};
}

void PlainFacts::read(const QuestionKind& kind, const std::string& section,
                      const CaptureValue& value) {
  ByKey& facts = facts_[section];
  if (!kind.isKeyed) {
    facts[""] = readFact(kind, value);
    return;
  }
  value.forEachMember([&](const std::string& name, const CaptureValue& answer) {
    facts.insert_or_assign(facts.end(), kind.readKey(name, answer), readFact(kind, answer));
  });
}

const PlainFacts::Fact* PlainFacts::find(const Question& question) const {
  const std::string key = question.key();
  for (std::size_t place = question.section() + 1; place-- > 0;) {
    const auto section = facts_.find(std::string_view(question.kind().sections[place]));
    if (section == facts_.end()) continue;
    const auto fact = section->second.find(key);
    if (fact != section->second.end()) return &fact->second;
  }
  return nullptr;
}

CaptureFacts readFacts(std::string text) {
  const CaptureDocument document(std::move(text));
  const CaptureValue whole = document.value();
  if (!whole.isObject()) throw CaptureError("machine.json: expected an object");
  if (whole["capture"].number() != 1) {
    throw CaptureError("machine.json: capture: this version reads format 1 only");
  }
  CaptureFacts facts;
  whole.forEachMember([&facts](const std::string& name, const CaptureValue& value) {
    readSection(name, value, facts);
  });
  return facts;
}

std::string errorName(int error) {
  const char* name = strerrorname_np(error);
  return name ? name : "EIO";
}

Json writeLocale(const LocaleName& locale) {
  return locale.known ? Json(locale.name) : Json(nullptr);
}

}  // namespace invscan
