#pragma once
// Heap use as the benchmarks count it: a program that links bench/PeakMemory.cpp has its own
// operator new and delete, which keep the bytes in use and the highest value since the last scope.
#include <benchmark/benchmark.h>

#include <cstddef>

namespace Tessarix::Bench {

std::size_t HeapInUse();
std::size_t HeapPeak();
// The peak starts again from what is in use now.
void ResetHeapPeak(std::size_t inUse);

// The heap growth at its peak while the scope lives (one scope at a time).
class PeakScope {
public:
    PeakScope() : base_(HeapInUse()) { ResetHeapPeak(base_); }
    std::size_t Bytes() const { return HeapPeak() - base_; }
    double MiB() const { return static_cast<double>(Bytes()) / (1024.0 * 1024.0); }

private:
    std::size_t base_;
};

// Throughput over `bytes` per iteration, the heap peak and the process's peak resident size.
void ReportBytesAndPeak(benchmark::State& state, std::size_t bytes, double peakMiB);

} // namespace Tessarix::Bench
