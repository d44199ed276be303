#include <benchmark/benchmark.h>

#include <atomic>
#include <memory>

#include "QELRefCount.h"

namespace {

struct Counted : CRefCountNumber {
  int value = 1;
};

void HandleCopyAndDrop(benchmark::State& state) {
  const CRefCount<Counted> handle = new Counted;
  for (auto _ : state) {
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): that is what is measured
    const CRefCount<Counted> copy = handle;
    benchmark::DoNotOptimize(copy.Get());
  }
}
BENCHMARK(HandleCopyAndDrop);

void HandleCopyAndDrop_SharedPtr(benchmark::State& state) {
  const auto handle = std::make_shared<int>(1);
  for (auto _ : state) {
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): that is what is measured
    const std::shared_ptr<int> copy = handle;
    benchmark::DoNotOptimize(copy.get());
  }
}
BENCHMARK(HandleCopyAndDrop_SharedPtr);

void LockedHandleGet(benchmark::State& state) {
  CLockedRefCount<Counted> slot;
  slot.Set(new Counted);
  for (auto _ : state) benchmark::DoNotOptimize(slot.Get().Get());
}
BENCHMARK(LockedHandleGet);

void LockedHandleGet_AtomicSharedPtr(benchmark::State& state) {
  const std::atomic<std::shared_ptr<int>> slot(std::make_shared<int>(1));
  for (auto _ : state) benchmark::DoNotOptimize(slot.load().get());
}
BENCHMARK(LockedHandleGet_AtomicSharedPtr);

}  // namespace
