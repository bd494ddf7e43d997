#include "bench/PeakMemory.h"

#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> g_inUse{0};
std::atomic<std::size_t> g_peak{0};
constexpr std::size_t kHeader = 16; // keeps the allocation's alignment

void* CountedAlloc(std::size_t size) {
    void* block = std::malloc(size + kHeader);
    if (!block)
        throw std::bad_alloc();
    *static_cast<std::size_t*>(block) = size;
    const std::size_t now = g_inUse.fetch_add(size) + size;
    std::size_t peak = g_peak.load();
    while (now > peak && !g_peak.compare_exchange_weak(peak, now)) {
    }
    return static_cast<char*>(block) + kHeader;
}

void CountedFree(void* pointer) noexcept {
    if (!pointer)
        return;
    void* block = static_cast<char*>(pointer) - kHeader;
    g_inUse.fetch_sub(*static_cast<std::size_t*>(block));
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) {
    return CountedAlloc(size);
}
void* operator new[](std::size_t size) {
    return CountedAlloc(size);
}
void operator delete(void* pointer) noexcept {
    CountedFree(pointer);
}
void operator delete[](void* pointer) noexcept {
    CountedFree(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    CountedFree(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept {
    CountedFree(pointer);
}

namespace Tessarix::Bench {

std::size_t HeapInUse() {
    return g_inUse.load();
}

std::size_t HeapPeak() {
    return g_peak.load();
}

void ResetHeapPeak(std::size_t inUse) {
    g_peak.store(inUse);
}

void ReportBytesAndPeak(benchmark::State& state, std::size_t bytes, double peakMiB) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
    state.counters["peak_heap_MB"] = peakMiB;
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    state.counters["max_rss_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

} // namespace Tessarix::Bench
