#include <ctime>
#include <regex>

#include <gtest/gtest.h>

#include "qrixPTempFile.h"
#include "testSupport.h"

TEST(PTempFile, NamesArePrefixAndDrawnNumber)
{
    TempDir dir;
    std::string prefix = dir.file("t-"), names[2];
    PString widePrefix(prefix.c_str());
    PTempFile files[2];
    EXPECT_EQ(files[0].popen(widePrefix, PFILE_WRITE, 0), PFILE_ERR_NOT_FOUND);
    time_t before = time(nullptr);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(files[i].popen(widePrefix, PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
        PString name;
        ASSERT_EQ(files[i].pgetName(name), PRES_OK);
        names[i].assign(name.ptr(), name.ptr() + name.len());
        EXPECT_TRUE(std::regex_match(names[i], std::regex(prefix + "[0-9]{1,9}"))) << names[i];
    }
    EXPECT_EQ(files[0].popen(widePrefix, PFILE_WRITE | PFILE_CREATE, 0), PFILE_ERR_ALREADY_OPEN);
    // Draws within one second repeat, so the second name waits for the clock.
    EXPECT_GT(time(nullptr), before);
    EXPECT_NE(names[0], names[1]);
    EXPECT_EQ(files[0].pwriteLine(L"kept"), PRES_OK);
    EXPECT_EQ(readFile(names[0]), "kept\n");
}
