#include "bench/BenchSupport.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <system_error>

namespace Tessarix::Bench {

std::string RandomBytes(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t x = 2463534242u;
    for (char& c : bytes) {
        x ^= x << 13, x ^= x >> 17, x ^= x << 5;
        c = static_cast<char>(x);
    }
    return bytes;
}

int RunInScratchFolder(int argc, char** argv, const std::string& name,
                       const std::function<void(const std::filesystem::path&)>& prepare) {
    const auto folder = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directories(folder);
    // The log and its dump of each document go there, not into the user's folders.
    ::setenv("XDG_STATE_HOME", folder.string().c_str(), 1);
    if (prepare)
        prepare(folder);

    benchmark::Initialize(&argc, argv);
    const bool unrecognized = benchmark::ReportUnrecognizedArguments(argc, argv);
    if (!unrecognized)
        benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return unrecognized ? 1 : 0;
}

} // namespace Tessarix::Bench
