#include <unistd.h>

#include <gtest/gtest.h>

namespace {
pid_t gTestProgramPid = 0;
}

// Forked children leave through exit() with the parent's heap still mapped;
// the leak check belongs to the test program itself, not to its children.
extern "C" int __lsan_is_turned_off()
{
    return gTestProgramPid != 0 && getpid() != gTestProgramPid;
}

int main(int argc, char** argv)
{
    gTestProgramPid = getpid();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
