// Measures the pieces that tavok is made of, each beside the plain thing that it stands for.
// Options are Google Benchmark's; bench/micro runs this.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "QELThread.h"

namespace {

unsigned RunAll() {
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

}  // namespace

// All runs on a library thread, as the daemon's work does; with a second thread in the process,
// every reference count is an atomic one.
int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  CRefCount<qel::QELThread> thread;
  qel::QELBeginThread(thread, &RunAll);
  while (thread->IsRunning()) ::usleep(1000);
  return 0;
}
