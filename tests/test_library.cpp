// PLibrary: real system libraries, the program itself, refusals, keeping a
// library loaded, and the name rule.
#include <unistd.h>

#include <cmath>
#include <string>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

#include "testSupport.h"

static std::string destroyAtLevel(PLibrary* lib, const char* level)
{
    ScopedEnv env("PL_DEBUG", level);
    CapturedStderr err;
    delete lib;
    return err.text();
}

TEST(PLibrary, SystemLibraryAndTheProgramItself)
{
    PLibrary* lib = nullptr;
    ASSERT_EQ(PLibrary::load(L"libm.so.6", lib, true), PRES_OK);
    auto cosine = (double (*)(double))lib->getFunction("cos");
    ASSERT_NE(cosine, nullptr);
    EXPECT_EQ(cosine(0.5), std::cos(0.5));
    EXPECT_EQ(lib->getFunction("qrix_no_such_symbol"), nullptr);
    EXPECT_EQ(destroyAtLevel(lib, "11"), "[PL_DBG]<11> [qRIX] PLibrary::~PLibrary() freeing : libm.so.6\n");

    // An empty name reaches the loader as a null path: the running program.
    ASSERT_EQ(PLibrary::load(L"", lib, true), PRES_OK);
    auto pid = (pid_t(*)())lib->getFunction("getpid");
    ASSERT_NE(pid, nullptr);
    EXPECT_EQ(pid(), getpid());
    EXPECT_EQ(destroyAtLevel(lib, "11"), "[PL_DBG]<11> [qRIX] PLibrary::~PLibrary() freeing : <null>\n");
}

TEST(PLibrary, RefusalReportsTheLoadersMessage)
{
    PLibrary* untouched = (PLibrary*)&untouched;
    CapturedStderr err;
    EXPECT_EQ(PLibrary::load(L"libqrix_missing_42.so", untouched, true), PLIBRARY_ERR_LOAD);
    EXPECT_EQ(untouched, (PLibrary*)&untouched);
    EXPECT_EQ(err.text(), "\n[qRIX][ERR] [PLibrary::load] dlopen('libqrix_missing_42.so', RTLD_LAZY) failed! dlerror: "
                          "libqrix_missing_42.so: cannot open shared object file: No such file or directory\n\n");
}

// A glibc library a test program does not load by itself: were it unloaded,
// the call below would crash.
TEST(PLibrary, KeptLibraryOutlivesItsObject)
{
    PLibrary* kept = nullptr;
    ASSERT_EQ(PLibrary::load(L"libresolv.so.2", kept, false), PRES_OK);
    auto countLabels = (int (*)(const char*))kept->getFunction("__dn_count_labels");
    ASSERT_NE(countLabels, nullptr);
    EXPECT_EQ(destroyAtLevel(kept, "11"), "");
    EXPECT_EQ(countLabels("www.example.org"), 3);
}

TEST(PLibrary, FixLibNameLooksAtTheWholeText)
{
    const wchar_t* cases[][2] = {{L"foo", L"libfoo.dylib"}, {L"LIBfoo.DYLIB", L"LIBfoo.DYLIB"},
                                 {L"foo.dylib", L"libfoo.dylib"}, {L"/opt/x/foo", L"lib/opt/x/foo.dylib"}};
    for (const auto& c : cases) {
        PString name(c[0]);
        PLibrary::fixLibName(name);
        EXPECT_EQ(name, c[1]) << c[0];
    }
}
