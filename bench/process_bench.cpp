// What the pipes to children cost.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <vector>

#include <invscan/process.h>
#include <invscan/statistics.h>

namespace {

// One question and its answer, through the child.
void statisticsCalls(benchmark::State& state) {
  orv_statvfs_info_t info;
  for (auto _ : state) {
    if (timeout_statvfs("/", info, 5'000'000, false) != 0) state.SkipWithError("no answer");
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(statisticsCalls)->UseRealTime();

// Reading as many lines as a command prints, of that many bytes each.
void pipedLines(benchmark::State& state) {
  const std::string line(static_cast<std::size_t>(state.range(0)) - 1, 'x');
  std::vector<char> buffer(line.size() + 16);
  long lines = 0;
  for (auto _ : state) {
    void* handle = slm_popen("sh", 0, "-c", "yes \"$0\" | head -c 64000000", line.c_str(),
                             static_cast<char*>(nullptr));
    int answer;
    while ((answer = slm_pgets(buffer.data(), static_cast<int>(buffer.size()), handle)) >= 0) {
      lines += answer;
    }
    slm_pclose(handle);
  }
  if (lines != state.iterations() * (64'000'000 / state.range(0)))
    state.SkipWithError("lost lines");
  state.SetItemsProcessed(lines);
  state.SetBytesProcessed(lines * state.range(0));
}

BENCHMARK(pipedLines)->Arg(8)->Arg(80)->Arg(8000)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
