#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "agent/ConfigurationKeys.h"
#include "agent/Environment.h"
#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "manual/Manual.h"
#include "manual/Roff.h"

namespace invscan::manual {
namespace {

namespace fs = std::filesystem;
using agent::Command;
using agent::Option;

std::string sentence(std::string text) {
  if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') {
    text.front() = static_cast<char>(text.front() - 'a' + 'A');
  }
  if (!text.ends_with('.')) text += '.';
  return text;
}

// "Of scan, get."; nothing for an option that every command has.
std::string whereItApplies(const Option& option) {
  std::vector<std::string> names;
  for (const Command& command : agent::commands()) {
    if (option.applies(command)) names.push_back(command.name);
  }
  if (names.size() == agent::commands().size()) return "";
  return " Of " + agent::joined(names, ", ") + ".";
}

std::string formatsOf(const Command& command) {
  if (command.formats.empty()) return "";
  return " Formats: " + agent::joined({command.formats.begin(), command.formats.end()}, ", ") + ".";
}

void addCommands(Page& page) {
  page.section("COMMANDS");
  for (const Command& command : agent::commands()) {
    page.entry(command.name, command.arguments, sentence(command.summary) + formatsOf(command));
  }
}

void addOptions(Page& page) {
  page.section("OPTIONS");
  for (const Option& option : agent::optionTable()) {
    page.entry("--" + std::string(option.name), option.value ? option.value : "",
               sentence(option.help) + whereItApplies(option));
  }
}

void addGroups(Page& page) {
  page.section("GROUPS");
  page.paragraph(
      "Groups with their attributes; upper and lower case are the same. invscan describe tells "
      "what each attribute is, in which unit, and where it comes from.");
  for (const kelGroupDef* group : agent::allGroups()) {
    std::vector<std::string> names;
    for (const kelAttribDef* each : agent::attributesOf(*group)) names.push_back(each->name);
    page.entry(group->name, "", agent::joined(names, ", ") + ".");
  }
}

void addStatuses(Page& page) {
  page.section("EXIT STATUS");
  for (const auto& [status, meaning] : agent::exitStatuses()) {
    page.entry(status, "", sentence(meaning));
  }
}

// The first paragraph of the comment at the top of a header.
std::string summaryOf(const fs::path& header) {
  std::ifstream file(header);
  std::string summary;
  for (std::string line; std::getline(file, line) && line.starts_with("// ");) {
    summary += (summary.empty() ? "" : " ") + line.substr(3);
  }
  if (summary.empty()) throw std::runtime_error(header.string() + " does not say what it is");
  return summary;
}

void addHeaders(Page& page, const fs::path& includes) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(includes)) {
    if (entry.is_regular_file() && entry.path().filename() != "export.h") {
      names.push_back(fs::relative(entry.path(), includes).string());
    }
  }
  std::sort(names.begin(), names.end());
  page.section("HEADERS");
  for (const std::string& name : names)
    page.entry("<" + name + ">", "", summaryOf(includes / name));
}

// What the hardware configuration file may say, by the element that says it.
constexpr struct {
  const char* element;
  const char* attribute;
  const char* help;
} kHardware[] = {
    {"Hardware", "cpuThreshold",
     "Share of one processor in percent that a scan may take; empty for no limit."},
    {"Hardware", "priority", "Left to the host of the library; the agent has no use for it."},
    {"Group", "Name", "The group, as the catalogue has it, that the other attributes are for."},
    {"Group", "skipRemote", "Of Partition: true, yes or on leaves out file systems of servers."},
    {"Processor", "Manufactor", "INTEL, AMD or CYRIX."},
    {"Processor", "BrandID", "Brand index of the processor."},
    {"Processor", "Signature", "Signature of the processor."},
    {"Processor", "Type", "Type of the processor; Intel's is 0."},
    {"Processor", "Family", "Family, decimal."},
    {"Processor", "Model", "Model, decimal."},
    {"Processor", "PCX", "Of an Intel processor: 1 for a Celeron, 2 for a Xeon, else 0."},
    {"Processor", "Description", "What people call the family."},
    {"Processor", "TypeEnum", "What a scan calls the family."},
    {"QCM", "Family", "Family of processors, for hosts of the library."},
    {"QCM", "CC", "Left to hosts as well."},
    {"QCM", "NewFamily", "Left to hosts as well."},
    {"QCM", "CoresPerPackage",
     "Cores of a package: decimal, hexadecimal behind 0x, octal behind 0."},
};

}  // namespace

std::string programPage(const Source& source) {
  Page page("invscan", 1, source.date, "hardware inventory of this machine");
  page.section("SYNOPSIS");
  for (const Command& command : agent::commands()) {
    page.synopsis("invscan " + std::string(command.name),
                  command.arguments + std::string(*command.arguments ? " " : "") + "[OPTION...]");
  }
  page.section("DESCRIPTION");
  page.paragraph(
      "Tells what this machine is made of: operating system, memory, processors, disks, "
      "addresses, firmware. What a source does not tell is left out or at its default, and fails "
      "nothing; invscan explain says why and what would help. Without a command groups are "
      "scanned, all of them unless some are named.");
  addCommands(page);
  addOptions(page);
  addGroups(page);
  addStatuses(page);
  page.section("ENVIRONMENT");
  page.paragraph("Workers, and the programs that they start, get of the environment: " +
                 agent::knownVariables() + ".");
  page.entry("ORV_HOMEDIR", "", "Another directory whose bin holds the helper programs.");
  page.entry("INVSCAN_CONFIG", "", "Another configuration file, unless --config names one.");
  page.entry("NO_COLOR", "", "Unless empty, text has no colours on a terminal either.");
  page.section("FILES");
  page.entry("/etc/invscan/invscan.conf", "", "The configuration file: invscan.conf(5).");
  page.entry("/etc/invscan/OrvHWConfig.xml", "",
             "The hardware configuration file: OrvHWConfig.xml(5).");
  page.entry(
      "/run/invscan/scan.json", "",
      "What invscan-scan.service, where it is enabled, found when the machine started; for root "
      "and the group adm.");
  page.section("EXAMPLES");
  page.example(
      "invscan memory \"operating system\"\n"
      "invscan get Memory \"Total Physical\"\n"
      "invscan --format json --output scan.json\n"
      "invscan diff scan.json -\n"
      "invscan capture DIR && invscan --machine DIR");
  page.section("SEE ALSO");
  page.paragraph("invscan.conf(5), OrvHWConfig.xml(5), libinvscan(3)");
  return page.text();
}

std::string libraryPage(const Source& source) {
  Page page("libinvscan", 3, source.date, "hardware inventory for programs");
  page.section("SYNOPSIS");
  page.example(
      "#include <invscan/invscan.h>\n\nc++ host.cpp $(pkg-config --cflags --libs invscan)");
  page.section("DESCRIPTION");
  page.paragraph(
      "Answers a host program with tables of typed rows. The headers are the manual: they tell "
      "what every function returns, in which unit, who owns it, and which source it comes from. "
      "CMake finds the library as the package invscan, target invscan::invscan.");
  page.example(
      "GroupFactory::getInstance()->initialise();\n"
      "for (const invscan::RowView& row : invscan::collect(\"Memory\")) {\n"
      "  const auto total = row[\"Total Physical\"].number();\n"
      "  if (total) std::printf(\"%lu KiB\\n\", *total);\n"
      "}");
  addHeaders(page, source.includes);
  page.section("SEE ALSO");
  page.paragraph("invscan(1), invscan.conf(5), OrvHWConfig.xml(5)");
  return page.text();
}

std::string configurationPage(const Source& source) {
  Page page("invscan.conf", 5, source.date, "settings of invscan");
  page.section("DESCRIPTION");
  page.paragraph(
      "Lines of the form name = value, with blanks around both left aside, below a line "
      "[section] or above the first of these. A line that begins with ; or # is a comment; there "
      "are none behind values, no quotes and no continued lines. The last of equal names counts. "
      "A key that is not known is told on standard error and changes nothing.");
  page.paragraph(
      "The file is /etc/invscan/invscan.conf, or what INVSCAN_CONFIG or --config names. It need "
      "not be there.");
  page.section("KEYS");
  page.paragraph("What stands before a dot is the section. Presets are those of the program.");
  for (const auto& [name, preset, help] : agent::configurationKeys()) {
    page.entry(name, "",
               help + std::string(*preset ? " Preset: " : "") + preset + (*preset ? "." : ""));
  }
  page.section("EXAMPLES");
  page.example("config_dir = /etc/invscan\n[hwscanner]\ncputhreshold = 50");
  page.section("SEE ALSO");
  page.paragraph("invscan(1), OrvHWConfig.xml(5)");
  return page.text();
}

std::string hardwarePage(const Source& source) {
  Page page("OrvHWConfig.xml", 5, source.date, "hardware configuration of invscan");
  page.section("DESCRIPTION");
  page.paragraph(
      "An XML file that holds a scan to a share of a processor, sets switches for one group or "
      "for all, and describes processors. Names are exact, case included; what is not listed "
      "here is ignored. Every attribute of the root is one for all groups, every one of a Group "
      "element but Name is one for that group. The file need not be there; one that is not "
      "well-formed ends the program. invscan.conf(5) says where it is.");
  const char* element = "";
  for (const auto& row : kHardware) {
    if (std::string_view(element) != row.element) {
      element = row.element;
      page.section("ELEMENT " + std::string(element));
    }
    page.entry(row.attribute, "", row.help);
  }
  page.section("EXAMPLES");
  page.example(
      "<Hardware cpuThreshold=\"20\">\n"
      "  <Group Name=\"Partition\" skipRemote=\"true\"/>\n"
      "  <Processors>\n"
      "    <Processor Manufactor=\"INTEL\" Type=\"0\" Family=\"6\" Model=\"85\"\n"
      "               PCX=\"2\" TypeEnum=\"Xeon\"/>\n"
      "  </Processors>\n"
      "</Hardware>");
  page.section("SEE ALSO");
  page.paragraph("invscan(1), invscan.conf(5), libinvscan(3)");
  return page.text();
}

}  // namespace invscan::manual
