#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "qrixPTempFile.h"
#include "testSupport.h"

namespace {

// The name the object opened, checked to be the prefix followed by digits.
std::string openedName(PTempFile& f, const std::string& prefix)
{
    PString name;
    EXPECT_EQ(f.pgetName(name), PRES_OK);
    std::string text(name.ptr(), name.ptr() + name.len());
    size_t digits = text.size() - prefix.size();
    EXPECT_EQ(text.compare(0, prefix.size(), prefix), 0) << text;
    EXPECT_TRUE(digits - 1 < 9 && text.find_first_not_of("0123456789", prefix.size()) == std::string::npos) << text;
    return text;
}

} // namespace

TEST(PTempFile, NamesArePrefixAndDrawnNumber)
{
    TempDir dir;
    std::string prefix = dir.file("t-");
    PString widePrefix(prefix.c_str());
    PTempFile first, second;
    EXPECT_EQ(first.popen(widePrefix, PFILE_WRITE, 0), PFILE_ERR_NOT_FOUND);
    time_t before = time(nullptr);
    ASSERT_EQ(first.popen(widePrefix, PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    EXPECT_EQ(first.popen(widePrefix, PFILE_WRITE | PFILE_CREATE, 0), PFILE_ERR_ALREADY_OPEN);
    // Draws within one second repeat, so the second name waits for the clock.
    ASSERT_EQ(second.popen(widePrefix, PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    EXPECT_GT(time(nullptr), before);
    std::string name = openedName(first, prefix);
    EXPECT_NE(name, openedName(second, prefix));
    EXPECT_EQ(first.pwriteLine(L"kept"), PRES_OK);
    EXPECT_EQ(first.pclose(), PRES_OK);
    EXPECT_EQ(readFile(name), "kept\n");
}
