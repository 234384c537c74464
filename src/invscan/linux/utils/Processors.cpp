#include "invscan/linux/utils/Processors.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>

#include <invscan/processor.h>

#include "common/text/Lines.h"
#include "invscan/linux/utils/CpuList.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr std::size_t kTextMost = 64 << 20, kLineMost = 1 << 13;

constexpr struct {
  std::string_view key;
  long LogicalProcessor::*number;
} kNumbers[] = {
    {"cpu family", &LogicalProcessor::family},
    {"model", &LogicalProcessor::model},
    {"stepping", &LogicalProcessor::stepping},
    {"physical id", &LogicalProcessor::package},
    {"core id", &LogicalProcessor::core},
    {"apicid", &LogicalProcessor::apicId},
    {"initial apicid", &LogicalProcessor::initialApicId},
    {"cpu cores", &LogicalProcessor::coresPerPackage},
    {"siblings", &LogicalProcessor::threadsPerCore},  // of the package; divided at the end
};

constexpr struct {
  std::string_view key;
  std::string LogicalProcessor::*text;
} kTexts[] = {
    {"vendor_id", &LogicalProcessor::vendor},
    {"model name", &LogicalProcessor::modelName},
    {"microcode", &LogicalProcessor::microcode},
};

bool hasWord(std::string_view list, std::string_view wanted) {
  for (std::string_view word; !(word = nextField(list, " \t\n")).empty();) {
    if (word == wanted) return true;
  }
  return false;
}

// Features come in long lists, which are mostly the same from processor to processor.
class FeatureReader {
 public:
  void read(std::string_view flags, LogicalProcessor& processor) {
    if (flags != flags_) {
      flags_ = flags;
      std::string text(flags);
      features_ = makeCPUflagsFromString(text.data());
      isLongMode_ = hasWord(flags, "lm");
      has3dNow_ = hasWord(flags, "3dnow");
    }
    processor.features = features_;
    processor.isLongMode = isLongMode_;
    processor.has3dNow = has3dNow_;
  }

 private:
  std::string_view flags_;
  unsigned long features_ = 0;
  bool isLongMode_ = false, has3dNow_ = false;
};

void takeValue(std::string_view key, std::string_view value, LogicalProcessor& processor) {
  for (const auto& [name, number] : kNumbers) {
    if (name == key) processor.*number = findInteger(value).value_or(-1);
  }
  for (const auto& [name, text] : kTexts) {
    if (name == key) processor.*text = squeezed(value);
  }
  if (key == "cpu MHz") processor.mhz = leadingReal(value);
}

long threadsOf(const LogicalProcessor& processor) {
  const long siblings = processor.threadsPerCore, cores = processor.coresPerPackage;
  return siblings > 0 && cores > 0 ? std::max(siblings / cores, 1L) : -1;
}

std::string pathOf(long number, const char* name) {
  return kCpuDirectory + ("cpu" + std::to_string(number)) + name;
}

// A file that the first processor lacks is not looked for at others.
class KernelFigure {
 public:
  explicit KernelFigure(const char* name) : name_(name) {}

  long of(long number) {
    if (!isThere_) return 0;
    const FileText file = machine().readFile(pathOf(number, name_), 64);
    if (file.error != 0 && isFirst_) isThere_ = false;
    isFirst_ = false;
    return std::max(leadingInteger(file.text), 0L);
  }

 private:
  const char* name_;
  bool isThere_ = true, isFirst_ = true;
};

// What /sys tells of processors that are online, asked once for all that share it.
class KernelView {
 public:
  explicit KernelView(const std::vector<LogicalProcessor>& processors) {
    std::size_t size = 0;
    for (const LogicalProcessor& processor : processors) {
      if (isNumbered(processor)) size = std::max(size, indexOf(processor) + 1);
    }
    isOnline_.resize(size);
    core_.resize(size, -1);
    caches_.resize(size);
    for (const LogicalProcessor& processor : processors) {
      if (isNumbered(processor)) isOnline_[indexOf(processor)] = processor.isOnline;
    }
  }

  void complete(std::vector<LogicalProcessor>& processors) {
    for (LogicalProcessor& processor : processors) {
      if (processor.isOnline && isNumbered(processor)) addOwn(processor);
    }
    for (LogicalProcessor& processor : processors) {
      if (processor.isOnline && isNumbered(processor)) addShared(processor);
    }
  }

 private:
  struct Core {
    long threads = 0;
    unsigned long nominalMhz = 0, maximumMhz = 0;
  };

  struct Caches {
    unsigned long kb[2] = {};  // of the second and the third level
  };

  static bool isNumbered(const LogicalProcessor& processor) {
    return processor.number >= 0 && processor.number < static_cast<long>(kMostProcessors);
  }
  static std::size_t indexOf(const LogicalProcessor& processor) {
    return static_cast<std::size_t>(processor.number);
  }

  void addOwn(LogicalProcessor& processor) {
    if (processor.package < 0) {
      processor.package = numberIn(processor, "/topology/physical_package_id");
    }
    if (processor.core < 0) processor.core = numberIn(processor, "/topology/core_id");
    if (core_[indexOf(processor)] < 0) addCore(processor);
    const int core = core_[indexOf(processor)];
    if (core >= 0) coresOfPackage_[processor.package].insert(core);
    // Whoever shares a cache of the second level shares the third, too.
    if (caches_[indexOf(processor)].kb[0] == 0) addCaches(processor);
  }

  void addShared(LogicalProcessor& processor) {
    if (const int core = core_[indexOf(processor)]; core >= 0) {
      const Core& shared = cores_[static_cast<std::size_t>(core)];
      processor.threadsPerCore = shared.threads;
      processor.nominalMhz = shared.nominalMhz;
      processor.maximumMhz = shared.maximumMhz;
      processor.coresPerPackage = static_cast<long>(coresOfPackage_[processor.package].size());
    }
    processor.level2Kb = caches_[indexOf(processor)].kb[0];
    processor.level3Kb = caches_[indexOf(processor)].kb[1];
  }

  static long numberIn(const LogicalProcessor& processor, const char* name) {
    return findInteger(machine().readFile(pathOf(processor.number, name), 64).text).value_or(-1);
  }

  // Kernels that list no threads still number packages and cores.
  void addCore(const LogicalProcessor& processor) {
    const auto members = siblingsOf(static_cast<unsigned>(processor.number), kCoreLists);
    const bool isPlaced = processor.package >= 0 && processor.core >= 0;
    if (!members && !isPlaced) return;
    const std::pair place(processor.package, processor.core);
    if (const auto known = byPlace_.find(place); !members && known != byPlace_.end()) {
      return addThread(known->second, indexOf(processor));
    }
    const auto core = static_cast<int>(cores_.size());
    cores_.push_back(readCore(processor.number));
    if (!members) {
      byPlace_.emplace(place, core);
      return addThread(core, indexOf(processor));
    }
    for (const unsigned member : *members) addThread(core, member);
  }

  void addThread(int core, std::size_t number) {
    if (number >= core_.size()) return;
    core_[number] = core;
    cores_[static_cast<std::size_t>(core)].threads += isOnline_[number];
  }

  Core readCore(long number) {
    const long base = baseFrequency_.of(number) / 1000;
    const long nominal = base > 0 ? base : nominalFrequency_.of(number);
    return {0, static_cast<unsigned long>(nominal),
            static_cast<unsigned long>(maximum_.of(number) / 1000)};
  }

  void addCaches(const LogicalProcessor& processor) {
    constexpr int kMostCaches = 16;
    for (int n = 0; n < kMostCaches; ++n) {
      const std::string path = pathOf(processor.number, "/cache/index") + std::to_string(n);
      const FileText text = machine().readFile(path + "/level", 64);
      if (text.error != 0) break;
      const long level = leadingInteger(text.text);
      if (level != 2 && level != 3) continue;
      if (machine().readFile(path + "/type", 64).text.starts_with("Instruction")) continue;
      const long size = std::max(leadingInteger(machine().readFile(path + "/size", 64).text), 0L);
      auto members = readCpuList(path + "/shared_cpu_list");
      if (!members) members.emplace(1, static_cast<unsigned>(processor.number));
      for (const unsigned member : *members) {
        if (member >= caches_.size()) break;
        unsigned long& known = caches_[member].kb[level - 2];
        if (known == 0) known = static_cast<unsigned long>(size);
      }
    }
  }

  std::vector<bool> isOnline_;  // by processor
  std::vector<Core> cores_;
  std::vector<int> core_;                         // by processor
  std::map<std::pair<long, long>, int> byPlace_;  // by package and core
  std::map<long, std::set<int>> coresOfPackage_;
  std::vector<Caches> caches_;  // by processor
  KernelFigure baseFrequency_{"/cpufreq/base_frequency"};
  KernelFigure nominalFrequency_{"/acpi_cppc/nominal_freq"};
  KernelFigure maximum_{"/cpufreq/cpuinfo_max_freq"};
};

LogicalProcessor offline(const LogicalProcessor& first, long number) {
  LogicalProcessor processor;
  processor.number = number;
  processor.isOnline = false;
  processor.vendor = first.vendor;
  processor.modelName = first.modelName;
  processor.family = first.family;
  processor.model = first.model;
  processor.stepping = first.stepping;
  processor.features = first.features;
  processor.isLongMode = first.isLongMode;
  processor.has3dNow = first.has3dNow;
  return processor;
}

// Puts those that the kernel has offline behind the others.
void addOffline(std::vector<LogicalProcessor>& processors) {
  const auto online = readCpuList(std::string(kCpuDirectory) + "online");
  const auto present = readCpuList(std::string(kCpuDirectory) + "present");
  if (!online || online->empty() || !present) return;
  const LogicalProcessor first = processors.front();
  std::erase_if(processors, [&](const LogicalProcessor& processor) {
    return processor.number >= 0 &&
           !std::binary_search(online->begin(), online->end(), processor.number);
  });
  for (const unsigned number : *present) {
    if (std::binary_search(online->begin(), online->end(), number)) continue;
    processors.push_back(offline(first, number));
  }
}

}  // namespace

std::vector<LogicalProcessor> parseCpuInfo(std::string_view text) {
  std::vector<LogicalProcessor> processors;
  FeatureReader features;
  TextLines lines(text, kLineMost);
  for (std::string_view line; lines.next(line);) {
    const std::size_t colon = line.find(':');
    if (colon == line.npos) continue;
    const std::string_view key = withoutTrailing(line.substr(0, colon), " \t");
    const std::string_view value = line.substr(colon + 1);
    if (key == "processor") {
      if (processors.size() == kMostProcessors) break;
      processors.emplace_back().number = findInteger(value).value_or(-1);
    } else if (processors.empty()) {
      continue;
    } else if (key == "flags") {
      features.read(value, processors.back());
    } else {
      takeValue(key, value, processors.back());
    }
  }
  for (LogicalProcessor& processor : processors) processor.threadsPerCore = threadsOf(processor);
  return processors;
}

std::vector<LogicalProcessor> readProcessors() {
  auto processors = parseCpuInfo(machine().readFile("/proc/cpuinfo", kTextMost).text);
  if (processors.empty() || !useNativeSources()) return processors;
  addOffline(processors);
  KernelView(processors).complete(processors);
  return processors;
}

unsigned signatureOf(long family, long model, long stepping) {
  const long base = std::min(family, 15L);
  return static_cast<unsigned>((family - base) << 20 | model >> 4 << 16 | base << 8 |
                               (model & 15) << 4 | (stepping & 15));
}

}  // namespace invscan
