#include <string>
#include <vector>

#include "cli/TxClip.h"

int main(int argc, char** argv) {
    return Tessarix::Cli::RunTxClip(std::vector<std::string>(argv + 1, argv + argc));
}
