#include "agent/Options.h"

#include <algorithm>
#include <map>

#include <CLI/CLI.hpp>

#include "agent/Commands.h"
#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/Version.h"

namespace invscan::agent {
namespace {

constexpr double kShortestTimeout = 0.001;
constexpr double kLongestTimeout = 86400;
constexpr int kMostJobs = 1024;

const std::map<std::string, CcLogWrapper::Level> kTraceLevels = {
    {"min", CcLogWrapper::kMin}, {"mid", CcLogWrapper::kMid}, {"max", CcLogWrapper::kMax}};

std::string commandHelp() {
  Columns columns;
  for (const Command& command : commands()) {
    columns.add({std::string(command.name) + " " + command.arguments, command.summary});
  }
  return "Commands:\n" + columns.text("  ") +
         "\nExit status: 0 every group answered, 1 a group timed out or crashed, 2 wrong usage, "
         "unreadable input, or a helper that gives no valid answer.";
}

// A validator that says in plain words what is accepted.
template <class Number>
CLI::Validator between(Number least, Number most, const char* range) {
  return CLI::Validator(
      [=](std::string& text) {
        Number number{};
        const bool isNumber = CLI::detail::lexical_cast(text, number);
        return isNumber && number >= least && number <= most
                   ? std::string()
                   : "\"" + text + "\" is not a number from " + range;
      },
      "");
}

CLI::Validator notEmpty() {
  return CLI::Validator(
      [](std::string& text) {
        return text.empty() ? std::string("the name is empty") : std::string();
      },
      "");
}

class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string) const override {
    return "Usage: invscan [COMMAND] [ARGUMENT...] [OPTION...]\n";
  }
};

class CommandLine {
 public:
  explicit CommandLine(Options& options) : options_(options) {
    app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app_.allow_extras();
    app_.formatter(std::make_shared<HelpFormatter>());
    app_.footer(commandHelp());
    app_.get_formatter()->column_width(24);
    app_.set_version_flag("--version", std::string("invscan ") + kVersion, "Print the version");
    app_.set_help_flag("-h,--help", "Print this help");
    addOptions();
  }

  void parse(int argc, char** argv) { app_.parse(argc, argv); }

  std::string help() const { return app_.help(); }
  std::vector<std::string> words() const { return words_; }
  bool has(const char* option) const { return app_.count(option) > 0; }

  // What looks like an option and is none, with the name that may have been meant; or nothing.
  std::string unknownOption() const {
    const auto unknown = app_.remaining();
    if (unknown.empty()) return "";
    const std::string word = unknown.front().substr(0, unknown.front().find('='));
    std::vector<std::string> names;
    for (const CLI::Option* option : app_.get_options()) names.push_back(option->get_name());
    std::vector<const char*> candidates;
    for (const std::string& name : names) {
      if (name.starts_with("--")) candidates.push_back(name.c_str());
    }
    return "no option \"" + word + "\"" + suggestion(word, candidates);
  }

 private:
  void addOptions() {
    // The words hide from the help: the usage lines show them.
    app_.add_option("words", words_)
        ->group("")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    addName("--format", options_.format,
            "How to write: text, json, jsonl, csv (describe: text, json, markdown, schema)",
            "NAME");
    addName("--output", options_.output, "Write to a file, which appears whole or not at all",
            "FILE");
    app_.add_option("--timeout", options_.timeoutSeconds,
                    "Time limit of each group in seconds (30)")
        ->type_name("S")
        ->check(between(kShortestTimeout, kLongestTimeout, "0.001 to 86400 seconds"));
    app_.add_option("--jobs", options_.jobs, "Groups to scan at a time (the processors)")
        ->type_name("N")
        ->check(between(1, kMostJobs, "1 to 1024"));
    addName("--machine", options_.machine, "Scan a capture in place of this machine", "DIR");
    app_.add_flag("--classic", options_.classic,
                  "Read the classic sources rather than the kernel's own");
    app_.add_flag("--redact", options_.redact,
                  "Replace serial numbers, addresses and names by tokens");
    addName("--dump", options_.dump, "smbios: write the table to a new file in place of printing",
            "FILE");
    addName("--read", options_.read, "smbios: take the table from a text or binary dump", "FILE");
    app_.add_flag("--force", options_.force, "smbios: let --dump replace a file");
    addName("--config", options_.config, "Configuration file (/etc/invscan/invscan.conf)", "FILE");
    app_.add_option("--trace", options_.trace, "Trace to standard error: min, mid, max")
        ->type_name("LEVEL")
        ->transform(CLI::Validator(traceLevel, ""));
    addName("--trace-file", options_.traceFile, "Append the trace to a file", "FILE");
  }

  void addName(const char* name, std::string& value, const char* description, const char* type) {
    app_.add_option(name, value, description)->type_name(type)->check(notEmpty());
  }

  static std::string traceLevel(std::string& text) {
    const auto level = kTraceLevels.find(text);
    if (level == kTraceLevels.end()) return "\"" + text + "\" is none of min, mid, max";
    text = std::to_string(static_cast<int>(level->second));
    return "";
  }

  Options& options_;
  std::vector<std::string> words_;
  CLI::App app_;
};

[[noreturn]] void failUsage(const std::string& problem) {
  throw Failure(problem + "  (\"invscan --help\" tells more)");
}

// Takes the command off the words; without one it is the first of the table, and a single wrong
// word may have been meant for a command.
const Command* takeCommand(std::vector<std::string>& words) {
  if (words.empty()) return &commands().front();
  if (const Command* command = findCommand(words.front())) {
    words.erase(words.begin());
    return command;
  }
  std::vector<const char*> names;
  for (const kelGroupDef* group : allGroups()) names.push_back(group->name);
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
            "; usage: " + usage.substr(0, usage.find_last_not_of(' ') + 1));
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

void checkApplicability(const Options& options, const CommandLine& line) {
  const Command& command = *options.command;
  const struct {
    const char* option;
    bool applies;
  } limits[] = {{"--format", !command.formats.empty()},
                {"--timeout", command.scans},
                {"--jobs", command.scans},
                {"--redact", command.redacts},
                {"--dump", command.readsDumps},
                {"--read", command.readsDumps},
                {"--force", command.readsDumps}};
  for (const auto& [option, applies] : limits) {
    if (line.has(option) && !applies) {
      failUsage(std::string(option) + " has no meaning for \"" + command.name + "\"");
    }
  }
  if (line.has("--format")) checkFormat(options);
  if (line.has("--trace-file") && !line.has("--trace")) failUsage("--trace-file needs --trace");
}

}  // namespace

Options parseOptions(int argc, char** argv, std::string& information) {
  Options options;
  CommandLine line(options);
  try {
    line.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    information = line.help();
    return options;
  } catch (const CLI::CallForVersion& version) {
    information = std::string(version.what()) + "\n";
    return options;
  } catch (const CLI::ParseError& error) {
    failUsage(error.what());
  }
  if (const std::string unknown = line.unknownOption(); !unknown.empty()) failUsage(unknown);
  options.words = line.words();
  options.command = takeCommand(options.words);
  checkWords(options);
  checkApplicability(options, line);
  return options;
}

}  // namespace invscan::agent
