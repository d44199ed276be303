// Measures the pieces that tavok is made of, each beside the plain thing that it stands for.
// Options are Google Benchmark's; bench/micro runs this.

#include <unistd.h>

#include "Piece.h"
#include "QELThread.h"

// All runs on a library thread, as the daemon's work does; with a second thread in the process,
// every reference count is an atomic one.
int main(int argc, char** argv) {
  AddDaemonPieces();
  AddLibraryPieces();
  AddSocketPieces();
  AddThreadPieces();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  CRefCount<qel::QELThread> thread;
  unsigned (*const runAll)() = [] {
    benchmark::RunSpecifiedBenchmarks();
    return 0U;
  };
  qel::QELBeginThread(thread, runAll);
  while (thread->IsRunning()) ::usleep(1000);
  return 0;
}
