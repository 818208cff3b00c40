// Diagnostics: the PL_DEBUG gate, the level tag and the ungated shapes.
#include "qrixDiag.h"
#include "testSupport.h"

static std::string printAtLevel(int level)
{
    return stderrOf([&] { PL_DBG(level, "[PL_DBG]<%02d> [Test::gate] value %d\n", 7); });
}

// The threshold is read afresh at every message: each row changes it.
TEST(Diagnostics, ThresholdComesFromPlDebugEachTime)
{
    const std::pair<const char*, int> cases[] = {{nullptr, 1}, {"0", 0},  {"-2", -2},         {"abc", 0},
                                                 {"", 0},      {"5", 5}, {"10000", 10000}, {nullptr, 1}};
    for (const auto& c : cases) {
        ScopedEnv env("PL_DEBUG", c.first);
        EXPECT_EQ(qrix_pl_debug_threshold(), c.second);
        for (int level : {-1, 0, 1, 2, 5, 10, 20, 1000, 10000})
            EXPECT_EQ(!printAtLevel(level).empty(), level <= c.second)
                << "PL_DEBUG=" << (c.first ? c.first : "(unset)") << " level " << level;
    }
}

TEST(Diagnostics, LevelTagShowsTheMessagesOwnLevel)
{
    ScopedEnv env("PL_DEBUG", "10000");
    for (const auto& c : {std::make_pair(-1, "-1"), {5, "05"}, {20, "20"}, {10000, "10000"}})
        EXPECT_EQ(printAtLevel(c.first), std::string("[PL_DBG]<") + c.second + "> [Test::gate] value 7\n");
}

TEST(Diagnostics, ErrorReportsAndFreePrintsIgnoreTheGate)
{
    ScopedEnv env("PL_DEBUG", "-2");
    EXPECT_EQ(stderrOf([] {
                  PL_ERR("\n\n[DBGONLY][Test::report] failed errno: %d %s\n\n", 2, "No such file or directory");
                  qrix_pl_debug_print("%s: free print %d\n", "pclose", -500);
              }),
              "\n\n[DBGONLY][Test::report] failed errno: 2 No such file or directory\n\npclose: free print -500\n");
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
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_EQ(readFile(path), "[PL_DBG]<01> [Test::flush] tagged\n\n\n[DBGONLY][Test::flush] report\n\nfree\n");
}
