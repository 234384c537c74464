#include "common/text/Lines.h"
#include "helpers/cpuid/Processor.h"

namespace invscan::cpuid {
namespace {

constexpr std::uint32_t kMostCaches = 16;

class Findings {
 public:
  // Of several caches of a level the first counts.
  void add(std::uint64_t level, std::uint64_t sizeKb) {
    isAny_ = true;
    if (level == 2 && sizes_.level2 == 0) sizes_.level2 = sizeKb;
    if (level == 3 && sizes_.level3 == 0) sizes_.level3 = sizeKb;
  }

  std::optional<CacheSizes> sizes() const { return isAny_ ? std::optional(sizes_) : std::nullopt; }

 private:
  CacheSizes sizes_;
  bool isAny_ = false;
};

// The form of leaf 4 and of its AMD twin.
std::optional<CacheSizes> fromCacheLeaf(const Leaves& leaves, std::uint32_t leaf) {
  Findings findings;
  for (std::uint32_t n = 0; n < kMostCaches; ++n) {
    const CpuidRegisters cache = leaves.get(leaf, n);
    constexpr std::uint32_t kNone = 0, kInstructions = 2;
    const std::uint32_t kind = bitsOf(cache.eax, 0, 4);
    if (kind == kNone) break;
    if (kind == kInstructions) continue;
    const std::uint64_t line = bitsOf(cache.ebx, 0, 11) + 1;
    const std::uint64_t partitions = bitsOf(cache.ebx, 12, 21) + 1;
    const std::uint64_t ways = bitsOf(cache.ebx, 22, 31) + 1;
    findings.add(bitsOf(cache.eax, 5, 7), line * partitions * ways * (cache.ecx + 1ULL) >> 10);
  }
  return findings.sizes();
}

std::optional<CacheSizes> fromOldAmdLeaf(const Leaves& leaves) {
  const auto caches = leaves.find(0x80000006);
  if (!caches || caches->ecx == 0) return std::nullopt;
  return CacheSizes{bitsOf(caches->ecx, 16, 31), bitsOf(caches->edx, 18, 31) * 512ULL};
}

std::optional<CacheSizes> fromLeaves(const Leaves& leaves) {
  for (const std::uint32_t leaf : {4U, 0x8000001DU}) {
    if (const auto sizes = fromCacheLeaf(leaves, leaf)) return sizes;
  }
  return fromOldAmdLeaf(leaves);
}

std::optional<CacheSizes> fromKernel() {
  Findings findings;
  for (std::uint32_t n = 0; n < kMostCaches; ++n) {
    const std::string path = "/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(n);
    const FileText size = machine().readFile(path + "/size");  // such as "1024K"
    if (size.error != 0) break;
    if (machine().readFile(path + "/type").text.starts_with("Instruction")) continue;
    const long level = leadingInteger(machine().readFile(path + "/level").text);
    const long sizeKb = leadingInteger(size.text);
    if (level > 0 && sizeKb > 0) {
      findings.add(static_cast<std::uint64_t>(level), static_cast<std::uint64_t>(sizeKb));
    }
  }
  return findings.sizes();
}

}  // namespace

// Leaves cost less than the kernel's files, but those of a hybrid tell of the core that this
// happens to run on: there the kernel's first processor comes first, which is one of the large
// kind.
std::optional<CacheSizes> readCaches(const Leaves& leaves, const Processor& processor) {
  const auto first = processor.isHybrid ? fromKernel() : fromLeaves(leaves);
  if (first) return first;
  return processor.isHybrid ? fromLeaves(leaves) : fromKernel();
}

}  // namespace invscan::cpuid
