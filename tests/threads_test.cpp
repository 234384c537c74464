// A host whose threads collect all groups at the same time, for the thread sanitizer to watch:
// cmake --preset tsan && ninja -C build/tsan threads_test && build/tsan/tests/threads_test
#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include <invscan/base/OrvCfg.h>
#include <invscan/catalogue.h>
#include <invscan/collectors.h>
#include <invscan/factory.h>
#include <invscan/group.h>
#include <invscan/table.h>

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 25;

std::atomic<unsigned long> tables = 0;

// Each thread begins with another group, so that all meet in time.
void collectAll(std::size_t first) {
  const auto all = invscan::collectors();
  for (std::size_t i = 0; i < all.size() * kRounds; ++i) {
    const char* const name = getGroupNameFromId(all[(first + i) % all.size()].id);
    const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getGroup(name));
    group->getGroupAttr(L"any");
    group->iteration();
    const std::unique_ptr<KelTable> table(group->getTable());
    if (table) ++tables;
  }
}

}  // namespace

int main() {
  OrvCfg::setKey("hwscanner.sources", "native");
  GroupFactory* const factory = GroupFactory::getInstance();
  factory->initialise();
  factory->getCpuThreshold().initialize("99");
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) threads.emplace_back(collectAll, 2 * i);
  for (std::thread& thread : threads) thread.join();
  std::printf("%lu tables\n", tables.load());
  return tables > 0 ? 0 : 1;
}
