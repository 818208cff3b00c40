// Diagnostics: the PL_DEBUG gate, the level tag and the ungated shapes.

#include "qrixDiag.h"
#include "testSupport.h"

namespace {

std::string printAtLevel(int level)
{
    CapturedStderr err;
    PL_DBG(level, "[PL_DBG]<%02d> [Test::gate] value %d\n", 7);
    return err.text();
}

struct GateCase {
    const char* value; // null: unset
    int threshold;
};

} // namespace

TEST(Diagnostics, ThresholdComesFromPlDebugEachTime)
{
    const GateCase cases[] = {{nullptr, 1}, {"0", 0}, {"-2", -2}, {"abc", 0}, {"", 0}, {"5", 5}, {"10000", 10000}};
    const int levels[] = {-1, 0, 1, 2, 5, 10, 20, 1000, 10000};
    for (const GateCase& c : cases) {
        ScopedEnv env("PL_DEBUG", c.value);
        for (int level : levels) {
            bool printed = !printAtLevel(level).empty();
            EXPECT_EQ(printed, level <= c.threshold)
                << "PL_DEBUG=" << (c.value ? c.value : "(unset)") << " level " << level;
        }
    }
}

TEST(Diagnostics, LevelTagShowsTheMessagesOwnLevel)
{
    ScopedEnv env("PL_DEBUG", "10000");
    EXPECT_EQ(printAtLevel(-1), "[PL_DBG]<-1> [Test::gate] value 7\n");
    EXPECT_EQ(printAtLevel(5), "[PL_DBG]<05> [Test::gate] value 7\n");
    EXPECT_EQ(printAtLevel(20), "[PL_DBG]<20> [Test::gate] value 7\n");
    EXPECT_EQ(printAtLevel(10000), "[PL_DBG]<10000> [Test::gate] value 7\n");
}

TEST(Diagnostics, ChangingTheVariableTakesEffectAtTheNextMessage)
{
    ScopedEnv env("PL_DEBUG", "-2");
    EXPECT_TRUE(printAtLevel(-1).empty());
    setenv("PL_DEBUG", "3", 1);
    EXPECT_FALSE(printAtLevel(3).empty());
    unsetenv("PL_DEBUG");
    EXPECT_TRUE(printAtLevel(2).empty());
    EXPECT_FALSE(printAtLevel(1).empty());
}

TEST(Diagnostics, ErrorReportsAndFreePrintsIgnoreTheGate)
{
    ScopedEnv env("PL_DEBUG", "-2");
    CapturedStderr err;
    PL_ERR("\n\n[DBGONLY][Test::report] failed errno: %d %s\n\n", 2, "No such file or directory");
    qrix_pl_debug_print("%s: free print %d\n", "pclose", -500);
    EXPECT_EQ(err.text(),
              "\n\n[DBGONLY][Test::report] failed errno: 2 No such file or directory\n\n"
              "pclose: free print -500\n");
}

// Each message is flushed at once, so it survives a process that dies
// without flushing stdio.
TEST(Diagnostics, EveryMessageReachesTheStreamBeforeAnAbruptExit)
{
    TempDir dir;
    std::string path = dir.file("stderr.txt");
    ScopedEnv env("PL_DEBUG", "1");
    std::fflush(nullptr);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::freopen(path.c_str(), "w", stderr);
        setvbuf(stderr, nullptr, _IOFBF, 4096);
        PL_DBG(1, "[PL_DBG]<%02d> [Test::flush] tagged\n");
        PL_ERR("\n\n[DBGONLY][Test::flush] report\n\n");
        qrix_pl_debug_print("free\n");
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(readFile(path), "[PL_DBG]<01> [Test::flush] tagged\n\n\n[DBGONLY][Test::flush] report\n\nfree\n");
}
