// Every test program's main: a program that selected no test at all fails instead of passing.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

int main(int argc, char** argv) {
#ifndef _WIN32
    // The process log of a test never lands in the user's own state folder.
    std::string state = (std::filesystem::temp_directory_path() / "tx-test-state-XXXXXX").string();
    if (::mkdtemp(state.data()) != nullptr)
        ::setenv("XDG_STATE_HOME", state.c_str(), 1);
#endif
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    const auto* unit = testing::UnitTest::GetInstance();
    const bool listing = testing::GTEST_FLAG(list_tests);
#ifndef _WIN32
    std::error_code ignored;
    std::filesystem::remove_all(state, ignored);
#endif
    if (!listing && unit->test_to_run_count() == 0) {
        std::fprintf(stderr, "no test was run\n");
        return 1;
    }
    return status;
}
