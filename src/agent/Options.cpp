#include "agent/Options.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>
#include <system_error>

#include "agent/Environment.h"
#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/Version.h"
#include "agent/commands/Commands.h"
#include "base/Trim.h"

namespace invscan::agent {
namespace {

[[noreturn]] void failUsage(const std::string& problem) {
  throw Failure(problem + "  (\"invscan --help\" tells more)");
}

using Value = OptionValue;

[[noreturn]] void failValue(const Value& value, const std::string& problem) {
  failUsage(std::string("--") + value.option + ": " + problem);
}

std::string named(const Value& value) {
  if (!*value.text) failValue(value, "the name is empty");
  return value.text;
}

[[noreturn]] void failNumber(const Value& value, const char* limits) {
  failValue(value, "\"" + std::string(value.text) + "\" is not a number from " + limits);
}

int jobsIn(const Value& value) {
  int jobs = 0;
  const char* end = value.text + std::strlen(value.text);
  const auto [rest, error] = std::from_chars(value.text, end, jobs);
  if (error == std::errc() && rest == end && jobs >= 1 && jobs <= 1024) return jobs;
  failNumber(value, "1 to 1024");
}

double secondsIn(const Value& value) {
  const bool isPlain = value.text[std::strspn(value.text, "0123456789.")] == '\0';
  char* end = nullptr;
  const double seconds = std::strtod(value.text, &end);
  if (isPlain && *end == '\0' && seconds >= 0.001 && seconds <= 86400) return seconds;
  failNumber(value, "0.001 to 86400 seconds");
}

CcLogWrapper::Level traceLevel(const Value& value) {
  const std::string level = value.text;
  if (level == "min") return CcLogWrapper::kMin;
  if (level == "mid") return CcLogWrapper::kMid;
  if (level == "max") return CcLogWrapper::kMax;
  failValue(value, "\"" + level + "\" is none of min, mid, max");
}

Colour colourIn(const Value& value) {
  const std::string when = value.text;
  if (when == "auto") return Colour::Auto;
  if (when == "always") return Colour::Always;
  if (when == "never") return Colour::Never;
  failValue(value, "\"" + when + "\" is none of auto, always, never");
}

constexpr auto kAlways = [](const Command&) { return true; };
constexpr auto kScans = [](const Command& command) { return command.scans; };
constexpr auto kHasFigures = [](const Command& command) { return command.hasFigures; };
constexpr auto kReadsDumps = [](const Command& command) { return command.readsDumps; };

const Option kOptions[] = {
    {"format", "NAME",
     "How to write: text, json, jsonl, csv, prometheus, summary (describe: text, json, markdown, "
     "schema; explain and diff: text, json)",
     [](Options& options, const Value& value) { options.format = named(value); },
     [](const Command& command) { return !command.formats.empty(); }},
    {"output", "FILE",
     "Write to a file, which appears whole or not at all; \"-\" is standard output",
     [](Options& options, const Value& value) {
       options.output = named(value) == "-" ? "" : value.text;
     },
     kAlways},
    {"timeout", "S", "Time limit of each group in seconds (30)",
     [](Options& options, const Value& value) { options.timeoutSeconds = secondsIn(value); },
     kScans},
    {"jobs", "N", "Groups to scan at a time (the processors and one)",
     [](Options& options, const Value& value) { options.jobs = jobsIn(value); }, kScans},
    {"machine", "MACHINE",
     "Scan a capture in place of this machine; scan and get also print a scan kept as JSON",
     [](Options& options, const Value& value) { options.machine = named(value); },
     [](const Command& command) { return !command.compares; }},
    {"classic", nullptr, "Read the classic sources rather than the kernel's own",
     [](Options& options, const Value&) { options.classic = true; }, kAlways},
    {"redact", nullptr, "Replace serial numbers, addresses and names by tokens",
     [](Options& options, const Value&) { options.redact = true; },
     [](const Command& command) { return command.redacts; }},
    {"reasons", nullptr, "Tell why attributes have no value (text and json)",
     [](Options& options, const Value&) { options.reasons = true; },
     [](const Command& command) { return command.tellsReasons; }},
    {"all", nullptr,
     "All groups, and also what is left out for brevity; diff: also what changes from scan to scan",
     [](Options& options, const Value&) { options.all = true; },
     [](const Command& command) { return command.hasAll; }},
    {"bytes", nullptr, "Exact figures in text, sizes in bytes",
     [](Options& options, const Value&) { options.bytes = true; }, kHasFigures},
    {"color", "auto|always|never",
     "Colours in text (auto: on a terminal that shows them, unless NO_COLOR is set)",
     [](Options& options, const Value& value) { options.colour = colourIn(value); }, kHasFigures},
    {"dump", "FILE", "smbios: write the table to a new file in place of printing",
     [](Options& options, const Value& value) { options.dump = named(value); }, kReadsDumps},
    {"read", "FILE", "smbios: take the table from a text or binary dump",
     [](Options& options, const Value& value) { options.read = named(value); }, kReadsDumps},
    {"force", nullptr, "smbios: let --dump replace a file",
     [](Options& options, const Value&) { options.force = true; }, kReadsDumps},
    {"config", "FILE", "Configuration file (/etc/invscan/invscan.conf)",
     [](Options& options, const Value& value) { options.config = named(value); }, kAlways},
    {"trace", "min|mid|max", "Trace to standard error",
     [](Options& options, const Value& value) { options.trace = traceLevel(value); }, kAlways},
    {"trace-file", "FILE", "Append the trace to a file",
     [](Options& options, const Value& value) { options.traceFile = named(value); }, kAlways},
    {"help", nullptr, "Print this help", nullptr, kAlways},
    {"version", nullptr, "Print the version", nullptr, kAlways},
};

constexpr ExitStatus kExitStatuses[] = {
    {"0", "every group answered (what is absent is an answer); diff: nothing differs"},
    {"1", "a group timed out or crashed; diff: something differs"},
    {"2",
     "wrong usage, unreadable input, a helper that gives no valid answer, or a group that a diff "
     "lost"},
    {"3",
     "something may not be read, did not answer in time, was never recorded or is not supported; "
     "the rest is there"},
    {"4", "get: there is no value"},
};

std::string spelt(const Option& option) {
  return std::string("--") + option.name;
}

std::string help() {
  Columns options;
  for (const Option& option : kOptions) {
    options.add(
        {spelt(option) + (option.value ? " " + std::string(option.value) : ""), option.help});
  }
  Columns all;
  for (const Command& command : commands()) {
    all.add({std::string(command.name) + " " + command.arguments, command.summary});
  }
  std::vector<std::string> statuses;
  for (const auto& [status, meaning] : kExitStatuses) {
    statuses.push_back(std::string(status) + " " + meaning);
  }
  return "Usage: invscan [COMMAND] [ARGUMENT...] [OPTION...]\n\nCommands:\n" +
         all.wrappedText("  ") + "\nOptions:\n" + options.wrappedText("  ") + "\n" +
         paragraph("Workers, and the programs that they start, get of the environment: " +
                       knownVariables() + ".",
                   "", "  ") +
         "ORV_HOMEDIR may name another directory whose bin holds the helper programs.\n"
         "\"smbios\" together with other groups, or with an option of scans, is the group.\n\n" +
         paragraph("Exit status: " + joined(statuses, ", ") + ".", "", "  ");
}

[[noreturn]] void failUnknown(std::string word) {
  word.resize(std::min(word.find('='), word.size()));
  std::vector<std::string> names;
  for (const Option& option : kOptions) names.push_back(spelt(option));
  std::vector<const char*> candidates;
  for (const std::string& name : names) candidates.push_back(name.c_str());
  failUsage("no option \"" + word + "\"" + suggestion(word, candidates));
}

// The words of a command line, and which options were met.
struct Line {
  std::vector<std::string> words;
  std::vector<const Option*> met;

  bool has(std::string_view name) const {
    return std::any_of(met.begin(), met.end(),
                       [name](const Option* option) { return option->name == name; });
  }
};

Line readLine(int argc, char** argv, Options& options) {
  // An option is known by its place in the table, beyond all characters.
  constexpr int kFirst = 1 << 8;
  constexpr int kWord = 1;
  std::array<option, std::size(kOptions) + 1> known{};  // the last one ends the list
  std::transform(std::begin(kOptions), std::end(kOptions), known.begin(), [](const Option& each) {
    const int place = static_cast<int>(&each - kOptions);
    return option{each.name, each.value ? required_argument : no_argument, nullptr, kFirst + place};
  });

  Line line;
  opterr = 0;
  for (int found; (found = getopt_long(argc, argv, "-:h", known.data(), nullptr)) != -1;) {
    const bool isWrong = found == '?' || found == ':';
    const int place = (isWrong ? optopt : found) - kFirst;
    if (found == kWord) {
      line.words.emplace_back(optarg);
    } else if (found == 'h') {
      line.met.push_back(
          std::find_if(std::begin(kOptions), std::end(kOptions),
                       [](const Option& each) { return each.name == std::string_view("help"); }));
    } else if (place < 0) {
      failUnknown(optopt != 0 ? std::string{'-', static_cast<char>(optopt)} : argv[optind - 1]);
    } else if (isWrong) {
      const Option& each = kOptions[place];
      failUsage(spelt(each) + (found == ':' ? " needs a value" : " takes no value"));
    } else {
      const Option& each = kOptions[place];
      line.met.push_back(&each);
      if (each.take) each.take(options, {each.name, optarg});
    }
  }
  line.words.insert(line.words.end(), argv + optind, argv + argc);
  return line;
}

// One name is a command's and a group's: it is the group where it stands with others, or with an
// option that scans have and the command does not.
bool isMeantForGroup(const Command& command, const Line& line) {
  const auto& groups = allGroups();
  const bool isGroup = std::any_of(groups.begin(), groups.end(), [&](const kelGroupDef* group) {
    return sameIgnoringCase(group->name, command.name);
  });
  const bool hasScansOption = std::any_of(line.met.begin(), line.met.end(), [&](const auto* each) {
    return each->applies(commands().front()) && !each->applies(command);
  });
  return isGroup && (line.words.size() > 1 || hasScansOption);
}

// Takes the command off the words; without one it is the first of the table, and a single wrong
// word may have been meant for a command.
const Command* takeCommand(Line& line) {
  std::vector<std::string>& words = line.words;
  if (words.empty()) return &commands().front();
  if (const Command* command = findCommand(words.front())) {
    if (isMeantForGroup(*command, line)) return &commands().front();
    words.erase(words.begin());
    return command;
  }
  std::vector<const char*> names;
  for (const kelGroupDef* group : allGroups()) {
    if (sameIgnoringCase(words.front(), group->name)) return &commands().front();
    names.push_back(group->name);
  }
  for (const Command& command : commands()) names.push_back(command.name);
  const char* meant = nearest(words.front(), names);
  if (meant && findCommand(meant)) {
    throw Failure("no command or group \"" + words.front() + "\"; did you mean \"" + meant +
                  "\"?  (\"invscan --help\" shows all commands)");
  }
  return &commands().front();
}

void checkWords(const Options& options) {
  const Command& command = *options.command;
  if (options.words.size() >= command.fewestWords && options.words.size() <= command.mostWords) {
    return;
  }
  const std::string usage = std::string("invscan ") + command.name + " " + command.arguments;
  failUsage(std::string("\"") + command.name + "\" has " +
            counted(options.words.size(), "argument") +
            "; usage: " + std::string(withoutTrailing(usage, kBlank)));
}

void checkFormat(const Options& options) {
  const auto& allowed = options.command->formats;
  const bool isAllowed = std::any_of(allowed.begin(), allowed.end(), [&options](const char* name) {
    return options.format == name;
  });
  if (isAllowed) return;
  failUsage("no format \"" + options.format + "\" for \"" + options.command->name + "\", only " +
            joined({allowed.begin(), allowed.end()}, ", "));
}

void checkApplicability(const Options& options, const Line& line) {
  for (const Option* option : line.met) {
    if (!option->applies(*options.command)) {
      failUsage(spelt(*option) + " has no meaning for \"" + options.command->name + "\"");
    }
  }
  if (line.has("format")) checkFormat(options);
  if (line.has("trace-file") && !line.has("trace")) failUsage("--trace-file needs --trace");
}

}  // namespace

std::span<const Option> optionTable() {
  return kOptions;
}

std::span<const ExitStatus> exitStatuses() {
  return kExitStatuses;
}

Options parseOptions(int argc, char** argv, std::string& information) {
  Options options;
  Line line = readLine(argc, argv, options);
  if (line.has("help")) information = help();
  if (line.has("version")) information = std::string("invscan ") + kVersion + "\n";
  if (!information.empty()) return options;
  options.command = takeCommand(line);
  options.words = std::move(line.words);
  checkWords(options);
  checkApplicability(options, line);
  return options;
}

}  // namespace invscan::agent
