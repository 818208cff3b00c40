#include <ctime>
#include "testSupport.h"

namespace {
// The prefix, then up to nine decimal digits.
bool isDrawnName(const std::string& name, const std::string& prefix)
{
    std::string digits = name.compare(0, prefix.size(), prefix) == 0 ? name.substr(prefix.size()) : "";
    return !digits.empty() && digits.size() <= 9 && digits.find_first_not_of("0123456789") == std::string::npos;
}
} // namespace

TEST(PTempFile, NamesArePrefixAndDrawnNumber)
{
    TempDir dir;
    std::string prefix = dir.file("t-"), names[2];
    PTempFile files[2];
    EXPECT_EQ(files[0].popen(widen(prefix), PFILE_WRITE, 0), PFILE_ERR_NOT_FOUND);
    EXPECT_EQ(files[0].popen(L"", PFILE_WRITE | PFILE_CREATE, 0), PRES_INVALID_ARG);
    time_t before = time(nullptr);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(files[i].popen(widen(prefix), PFILE_WRITE | PFILE_CREATE), PRES_OK); // locked by default
        PString name;
        ASSERT_EQ(files[i].pgetName(name), PRES_OK);
        names[i] = narrowed(name);
        EXPECT_TRUE(isDrawnName(names[i], prefix) && PFile().popen(name, PFILE_READ, 0) == PFILE_ERR_LOCK) << names[i];
    }
    EXPECT_TRUE(files[0].popen(widen(prefix), PFILE_WRITE, 0) == PFILE_ERR_ALREADY_OPEN &&
                files[0].popen(L"", PFILE_WRITE, 0) == PFILE_ERR_ALREADY_OPEN);
    // Draws within one second repeat, so the second name waits for the clock.
    EXPECT_GT(time(nullptr), before);
    EXPECT_NE(names[0], names[1]);
    wchar_t* drawn = files[0].getRandStr();
    EXPECT_TRUE(isDrawnName(narrowed(PString(drawn)), "")) << narrowed(PString(drawn));
    delete[] drawn;
    EXPECT_EQ(files[0].pwriteLine(L"kept"), PRES_OK);
    EXPECT_TRUE(files[0].pclose() == PRES_OK && files[0].pclose() == PFILE_ERR_NOT_OPEN);
    EXPECT_EQ(readFile(names[0]), "kept\n");

    // A closed object opens again; separators in the prefix are fixed.
    ASSERT_EQ(files[0].popen(widen(dir.path() + "\\u-"), PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    PString name;
    EXPECT_TRUE(files[0].pgetName(name) == PRES_OK && isDrawnName(narrowed(name), dir.file("u-"))) << narrowed(name);
}
