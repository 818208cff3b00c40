// PLibrary: real system libraries, the program itself, refusals, keeping a
// library loaded, and the name rule.

#include <cmath>
#include "testSupport.h"

// What deleting the object prints when every level-tagged line is shown.
static std::string destroyTraced(PLibrary* lib)
{
    ScopedEnv env("PL_DEBUG", "10000");
    return stderrOf([&] { delete lib; });
}

TEST(PLibrary, LoadOutcomesAndWhatTheObjectsFree)
{
    // A refusal leaves the output alone and reports the loader's message.
    PLibrary* lib = (PLibrary*)&lib;
    std::string text = stderrOf([&] { EXPECT_EQ(PLibrary::load(L"libqrix_missing_42.so", lib, true), PLIBRARY_ERR_LOAD); });
    EXPECT_EQ(lib, (PLibrary*)&lib);
    EXPECT_EQ(text, "\n[qRIX][ERR] [PLibrary::load] dlopen('libqrix_missing_42.so', RTLD_LAZY) failed! dlerror: "
                    "libqrix_missing_42.so: cannot open shared object file: No such file or directory\n\n");

    ASSERT_EQ(PLibrary::load(L"libm.so.6", lib, true), PRES_OK);
    auto cosine = (double (*)(double))lib->getFunction("cos");
    ASSERT_NE(cosine, nullptr);
    EXPECT_EQ(cosine(0.5), std::cos(0.5));
    EXPECT_TRUE(lib->getName() == L"libm.so.6" && lib->getFunction("qrix_no_such_symbol") == nullptr &&
                lib->getFunction(nullptr) == nullptr);
    EXPECT_EQ(destroyTraced(lib), "[PL_DBG]<11> [qRIX] PLibrary::~PLibrary() freeing : libm.so.6\n");
    EXPECT_TRUE(printsFromLevel(11, "[PL_DBG]<11> [qRIX] PLibrary::~PLibrary() freeing : libm.so.6\n", [&] {
        ASSERT_EQ(PLibrary::load(L"libm.so.6", lib), PRES_OK); // unloading is the default
        delete lib;
    }));

    // An empty name reaches the loader as a null path: the running program.
    ASSERT_EQ(PLibrary::load(L"", lib, true), PRES_OK);
    EXPECT_TRUE(lib->getFunction("getpid") == (void*)&getpid && lib->getName().len() == 0);
    EXPECT_EQ(destroyTraced(lib), "[PL_DBG]<11> [qRIX] PLibrary::~PLibrary() freeing : <null>\n");

    // A glibc library a test program does not load by itself: were it
    // unloaded, the call below would crash.
    ASSERT_EQ(PLibrary::load(L"libresolv.so.2", lib, false), PRES_OK);
    auto countLabels = (int (*)(const char*))lib->getFunction("__dn_count_labels");
    ASSERT_NE(countLabels, nullptr);
    EXPECT_EQ(destroyTraced(lib), "");
    EXPECT_EQ(countLabels("www.example.org"), 3);
}

TEST(PLibrary, FixLibNameLooksAtTheWholeText)
{
    const wchar_t* cases[][2] = {{L"foo", L"libfoo.dylib"}, {L"LIBfoo.DYLIB", L"LIBfoo.DYLIB"},
                                 {L"foo.dylib", L"libfoo.dylib"}, {L"/opt/x/foo", L"lib/opt/x/foo.dylib"},
                                 {L"libfoo", L"libfoo.dylib"}};
    for (const auto& c : cases) {
        PString name(c[0]);
        PLibrary::fixLibName(name);
        EXPECT_EQ(name, c[1]) << c[0];
    }
}
