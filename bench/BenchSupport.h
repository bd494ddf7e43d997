#pragma once
// Set-up the benchmark programs share: incompressible bytes of a chosen size, and a main that runs
// the benchmarks in a scratch folder of their own.
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

namespace Tessarix::Bench {

// Pseudo-random bytes (xorshift), the same on every run: like a compressed file, nothing to gain by
// packing them.
std::string RandomBytes(std::size_t size);

// The whole main of a benchmark program: a scratch folder under the temporary folder (`name`) that
// also holds the log and its dumps (XDG_STATE_HOME), `prepare(folder)`, the benchmarks the command
// line selects, then the folder removed. Returns the exit status.
int RunInScratchFolder(int argc, char** argv, const std::string& name,
                       const std::function<void(const std::filesystem::path&)>& prepare = {});

} // namespace Tessarix::Bench
