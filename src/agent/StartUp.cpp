#include "agent/StartUp.h"

#include <fcntl.h>
#include <sys/auxv.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <invscan/base/CcLogWrapper.h>
#include <invscan/base/OrvCfg.h>
#include <invscan/helper.h>
#include <invscan/machine.h>

#include "agent/ConfigurationKeys.h"
#include "agent/Failure.h"
#include "agent/Names.h"
#include "agent/Output.h"
#include "agent/Text.h"
#include "agent/commands/Commands.h"
#include "agent/saved/SavedScan.h"
#include "agent/scan/SignalWatch.h"
#include "base/ConfigurationFile.h"
#include "base/Descriptor.h"
#include "base/TrustedPath.h"
#include "base/WrittenFile.h"

namespace invscan::agent {
namespace {

constexpr char kSystemPath[] = "/usr/sbin:/usr/bin:/sbin:/bin";

// <prefix>/lib/invscan of the <prefix>/bin/invscan that runs; when the kernel does not tell, of the
// prefix that it was built for.
std::string ownHome() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0 || length == sizeof path) return INVSCAN_HOME;
  std::string prefix(path, static_cast<std::size_t>(length));
  for (int i = 0; i < 2; ++i) prefix.resize(std::min(prefix.rfind('/'), prefix.size()));
  return prefix + "/lib/invscan";
}

constexpr char kLibraryPath[] = "LD_LIBRARY_PATH";

// The parts of the loader's search path that do not depend on the current directory. An empty part
// is that directory.
std::string absoluteParts(std::string_view path) {
  std::string kept;
  while (!path.empty()) {
    const std::string_view part = path.substr(0, path.find_first_of(":;"));
    if (part.starts_with('/')) kept.append(kept.empty() ? "" : ":").append(part);
    path.remove_prefix(std::min(part.size() + 1, path.size()));
  }
  return kept;
}

// Not so when the loader was called as a program: then /proc/self/exe is the loader, which would
// take the first argument for the program to load.
bool isStartedByTheKernel() {
  return getauxval(AT_BASE) != 0;
}

// The directory that the caller's environment names; empty when it is not to be trusted.
std::string homeSetByCaller() {
  const char* const set = secure_getenv("ORV_HOMEDIR");
  return set && *set == '/' ? trustedPath(set) : "";
}

std::string helperHome() {
  const std::string set = homeSetByCaller();
  return set.empty() ? ownHome() : set;
}

// Neither the caller's PATH nor a dead name server matters to a scan of this machine.
void setEnvironment() {
  setenv("PATH", kSystemPath, 1);
  setenv("RES_OPTIONS", "timeout:1 attempts:1", 0);
  const char* const set = getenv("ORV_HOMEDIR");
  if (set && *set && homeSetByCaller().empty()) {
    reportLine(
        "ORV_HOMEDIR is left aside: it has to be absolute, and for root a directory that nobody "
        "else could change, nor any above it");
  }
  setHelperHome(helperHome());
}

int openTraceFile(const std::string& path) try {
  Descriptor file = openOwnFile(path);
  if (fcntl(file.get(), F_SETFL, O_APPEND | O_NONBLOCK) != 0) throw WriteError(errno);
  return file.release();
} catch (const WriteError& error) {
  throw Failure(path + ": " + error.what() + "; --trace-file needs a file of yours to append to");
}

// A worker that is killed leaves a child for the statistics of file systems. In a container the
// first process, to which it would go, may never reap any.
void adoptOrphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void setTrace(const Options& options) {
  if (options.trace == CcLogWrapper::kOff) return;
  const int sink = options.traceFile.empty() ? STDERR_FILENO : openTraceFile(options.traceFile);
  CcLogWrapper::setSink(sink, options.trace);
}

// The store is also that of hosts of the library, which keep what they like in sections of their
// own, and above all sections. There, only what looks like a slip is worth a line.
bool isWorthALine(std::string_view key, const std::string& suggested) {
  const std::size_t dot = key.find('.');
  if (dot == key.npos) return !suggested.empty();
  return nearest(key.substr(0, dot), {"agent", "hwscanner"}) != nullptr;
}

// An unknown key stops nothing: another version may know it.
void warnOfUnknownKeys() {
  std::vector<const char*> known;
  for (const ConfigurationKey& key : configurationKeys()) known.push_back(key.name);
  const ConfigurationFile& file = configurationFile();
  std::map<int, std::string> complaints;  // by line
  for (const auto& [key, entry] : file.entries) {
    if (std::find(known.begin(), known.end(), key) != known.end()) continue;
    const std::string suggested = suggestion(key, known);
    if (!isWorthALine(key, suggested)) continue;
    complaints[entry.line] = "unknown key \"" + key + "\"" + suggested;
  }
  for (const auto& [line, complaint] : complaints) {
    reportLine(file.path + ":" + std::to_string(line) + ": " + complaint);
  }
}

void setDefault(const char* key, const char* value) {
  if (OrvCfg::getKey(key).isEmpty()) OrvCfg::setKey(key, value);
}

// What a group may take is also what its questions share.
std::string deadline(double seconds) {
  constexpr double kMonth = 30.0 * 24 * 60 * 60;
  return std::to_string(static_cast<long>(std::min(seconds, kMonth) * 1000));
}

void setStore(const Options& options) {
  if (!options.config.empty()) OrvCfg::load(options.config);
  if (OrvCfg::getError() != 0) throw Failure(OrvCfg::getErrorText());
  warnOfUnknownKeys();
  if (options.classic) OrvCfg::setKey("hwscanner.sources", "classic");
  setDefault("hwscanner.sources", "native");
  setDefault("config_dir", "/etc/invscan");
  setDefault("hwscanner.deadline", deadline(options.timeoutSeconds).c_str());
}

void setMachine(const Options& options) {
  if (isSavedScan(options.machine)) {
    if (options.command->readsScans) return;
    throw Failure(options.machine + " is no directory; " + options.command->name +
                  " needs the directory of a capture");
  }
  std::string error;
  if (!options.machine.empty() && !replayMachine(options.machine, error)) throw Failure(error);
}

}  // namespace

void openStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // The lowest free number is this one's. Read-only also for the outputs: what is written to a
    // closed one must fail, not vanish.
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDONLY);
  }
}

std::string helperPath(const std::string& name) {
  return helperHome() + "/bin/" + name;
}

bool hasOwnHelpers() {
  return homeSetByCaller().empty();
}

void dropRelativeLibraryPaths(char** arguments) {
  const char* path = getenv(kLibraryPath);
  if (!path || !*path) return;
  const std::string kept = absoluteParts(path);
  if (kept == path) return;
  unsetenv(kLibraryPath);  // however often it is there
  if (!kept.empty()) setenv(kLibraryPath, kept.c_str(), 1);
  if (isStartedByTheKernel()) {
    execv("/proc/self/exe", arguments);
  } else {
    errno = ENOEXEC;
  }
  throw Failure(std::string("LD_LIBRARY_PATH has parts that are no absolute paths, and starting "
                            "again without them fails: ") +
                errorText(errno));
}

void setUp(const Options& options) {
  keepFilesPrivate();
  surviveFailedWrites();
  adoptOrphans();
  if (options.machine.empty()) setEnvironment();  // a replay starts our own helpers only, by path
  setTrace(options);
  setStore(options);
  setMachine(options);
}

}  // namespace invscan::agent
