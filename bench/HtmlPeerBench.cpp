// The HTML engine's side of the comparison with a peer (bench/html-peer): `write <file> <bytes>`
// writes the generated mail, `run <file> <repeats>` loads, styles and serializes that file
// unbounded (decoding, repair and load from the text, then the serializer) and prints the best
// wall-clock and processor times in milliseconds and the output's length in UTF-16 units.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

#include "MailHtmlGenerator.h"
#include "core/Utf.h"
#include "html/DomLoader.h"
#include "html/Serializer.h"

using namespace Tessarix;

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (argc == 4 && mode == "write") {
        std::ofstream(argv[2], std::ios::binary)
            << Bench::MakeMailHtml(std::strtoull(argv[3], nullptr, 10), "file:///nowhere/");
        return 0;
    }
    if (argc != 4 || mode != "run") {
        std::fprintf(stderr, "usage: %s write <file> <bytes> | run <file> <repeats>\n", argv[0]);
        return 2;
    }
    std::string bytes;
    if (std::FILE* f = std::fopen(argv[2], "rb")) {
        char buffer[1 << 16];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;)
            bytes.append(buffer, n);
        std::fclose(f);
    }
    const std::u16string text = FromUtf8(bytes);
    double best = 1e300, bestCpu = 1e300;
    std::size_t units = 0;
    for (int i = 0; i < std::max(1, std::atoi(argv[3])); ++i) {
        const std::clock_t cpuStart = std::clock();
        const auto start = std::chrono::steady_clock::now();
        {
            const auto document = Global::CreateDOM(text);
            Clipper::NoteContentSerializer serializer(0);
            serializer.Serialize(*document);
            units = serializer.Output().size();
        }
        best = std::min(
            best,
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
        bestCpu = std::min(bestCpu, 1000.0 * static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC);
    }
    std::printf("%.1f %.1f %zu\n", best, bestCpu, units);
    return 0;
}
