// Every test program's main: a program that selected no test at all fails instead of passing.
#include <gtest/gtest.h>

#include <cstdio>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    const auto* unit = testing::UnitTest::GetInstance();
    const bool listing = testing::GTEST_FLAG(list_tests);
    if (!listing && unit->test_to_run_count() == 0) {
        std::fprintf(stderr, "no test was run\n");
        return 1;
    }
    return status;
}
