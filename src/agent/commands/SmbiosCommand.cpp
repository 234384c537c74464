#include <algorithm>
#include <memory>
#include <vector>

#include <invscan/machine.h>
#include <invscan/smbios.h>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/reasons/Reasons.h"
#include "agent/redact/FirmwareRedaction.h"
#include "agent/redact/Redactor.h"
#include "agent/smbios/SmbiosDump.h"
#include "agent/smbios/SmbiosText.h"

namespace invscan::agent {
namespace {

// What the machine answered instead of a table, and what helps.
std::string reasonForNoTable() {
  std::vector<std::string> failed;
  for (const Access& access : accessLog()) {
    const std::string text = access.source + ": " + access.outcome;
    const bool isNew = std::find(failed.begin(), failed.end(), text) == failed.end();
    if (access.outcome != "ok" && isNew) failed.push_back(text);
  }
  if (failed.empty()) return "its memory shows none";
  const std::string help = helpAgainst(failed);
  return joined(failed, ", ") + (help.empty() ? "" : "; " + help);
}

std::unique_ptr<SMBIOSTable> readMachine() {
  startAccessLog();
  auto table = std::make_unique<SMBIOSTable>();
  if (!table->isAvailable()) {
    throw Failure("no firmware table of this machine: " + reasonForNoTable());
  }
  table->parseData();
  return table;
}

std::unique_ptr<SMBIOSTable> redacted(const SMBIOSTable& table, const Redactor& redactor,
                                      bool isNative) {
  const std::string bytes(reinterpret_cast<const char*>(table.getData()),
                          static_cast<std::size_t>(table.getTotalLength()));
  Replacements replacements(redactor);
  replacements.addHost(hostName());
  learnTable(bytes, replacements);
  return decodeStructures(redactTable(bytes, replacements), table.getRevision(),
                          table.getNumTables(), isNative);
}

void checkUsage(const Options& options) {
  if (!options.read.empty() && !options.machine.empty()) {
    throw Failure("--read names a file in place of a machine; leave out --machine");
  }
  if (!options.dump.empty() && !options.output.empty()) {
    throw Failure("--dump writes the table in place of the text; leave out --output");
  }
  if (options.force && options.dump.empty()) throw Failure("--force needs --dump");
}

}  // namespace

int runSmbios(const Options& options) {
  checkUsage(options);
  const std::optional<Redactor> redactor = makeRedactor(options);
  auto table = options.read.empty() ? readMachine() : readDump(options.read, options.classic);
  if (redactor) table = redacted(*table, *redactor, !options.classic);
  if (options.dump.empty()) {
    writeOutput(options.output, describeTable(*table));
  } else {
    writeDump(options.dump, *table, options.force);
  }
  return kAnswered;
}

}  // namespace invscan::agent
