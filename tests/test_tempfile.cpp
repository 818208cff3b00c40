#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "qrixPDir.h"
#include "qrixPTempFile.h"
#include "testSupport.h"

namespace {

// The name the object opened, checked to be the prefix followed by digits.
std::string openedName(PTempFile& f, const std::string& prefix)
{
    PString name;
    EXPECT_EQ(f.pgetName(name), PRES_OK);
    std::wstring wideName(name.ptr() ? name.ptr() : L"", name.len());
    std::string text(wideName.begin(), wideName.end()), digits = text.substr(prefix.size());
    EXPECT_EQ(text.compare(0, prefix.size(), prefix), 0) << text;
    EXPECT_TRUE(!digits.empty() && digits.size() <= 9 && digits.find_first_not_of("0123456789") == std::string::npos)
        << text;
    return text;
}

} // namespace

TEST(PTempFile, OpensPrefixPlusNumberAndKeepsTheFile)
{
    TempDir dir;
    std::string prefix = dir.file("t-"), name;
    {
        PTempFile f;
        EXPECT_EQ(f.popen(L"", PFILE_WRITE | PFILE_CREATE, 1), PRES_INVALID_ARG);
        EXPECT_EQ(f.popen(PString(prefix.c_str()), PFILE_WRITE, 1), PFILE_ERR_NOT_FOUND);
        EXPECT_EQ(f.popen(PString(dir.file("no/such/t-").c_str()), PFILE_WRITE | PFILE_CREATE, 1),
                  PFILE_ERR_NOT_FOUND);
        PDir listing(PString(dir.path().c_str()), L"t-*");
        EXPECT_EQ(listing.preaddir(), PRES_READ);

        ASSERT_EQ(f.popen(PString(prefix.c_str()), PFILE_WRITE | PFILE_CREATE, 1), PRES_OK);
        EXPECT_EQ(f.popen(PString(prefix.c_str()), PFILE_WRITE | PFILE_CREATE, 1), PFILE_ERR_ALREADY_OPEN);
        name = openedName(f, prefix);
        EXPECT_EQ(f.pwriteLine(L"kept"), PRES_OK);
        EXPECT_EQ(f.pclose(), PRES_OK);
        // Reusable after close; this one is left open for the destructor.
        ASSERT_EQ(f.popen(PString(dir.file("u-").c_str()), PFILE_WRITE | PFILE_CREATE, 1), PRES_OK);
    }
    EXPECT_EQ(readFile(name), "kept\n");
}

// Draws within one second repeat, so the second name waits for the clock.
TEST(PTempFile, SameSecondDrawWaitsForNextSecond)
{
    TempDir dir;
    std::string prefix = dir.file("job-");
    PTempFile first, second;
    time_t before = time(nullptr);
    ASSERT_EQ(first.popen(PString(prefix.c_str()), PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    ASSERT_EQ(second.popen(PString(prefix.c_str()), PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    EXPECT_GT(time(nullptr), before);
    std::string firstName = openedName(first, prefix);
    EXPECT_NE(firstName, openedName(second, prefix));
    // The lock word is honoured as for any file.
    PFile other;
    CapturedStderr err;
    EXPECT_EQ(other.popen(PString(firstName.c_str()), PFILE_READ, 0), PFILE_ERR_LOCK);
}
