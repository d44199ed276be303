#pragma once

#include <benchmark/benchmark.h>

/// Registers a benchmark. `make` returns what is repeated, an object with all that it needs. The
/// plain thing that Piece is compared with is called Piece_Plain. `argument`, if any, is shown.
template <class Make>
benchmark::internal::Benchmark* Piece(const char* name, Make make, int argument = -1) {
  auto* const piece = benchmark::RegisterBenchmark(name, [make](benchmark::State& state) {
    auto step = make();
    for (auto _ : state) benchmark::DoNotOptimize(step());
  });
  return argument == -1 ? piece : piece->Arg(argument);
}

// These register the pieces of one kind.
void AddDaemonPieces();
void AddLibraryPieces();
void AddSocketPieces();
void AddThreadPieces();
