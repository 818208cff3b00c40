#include <ctime>

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
        ASSERT_EQ(names[i].compare(0, prefix.size(), prefix), 0) << names[i];
        std::string digits = names[i].substr(prefix.size());
        EXPECT_TRUE(!digits.empty() && digits.size() <= 9 && digits.find_first_not_of("0123456789") == std::string::npos)
            << names[i];
    }
    EXPECT_EQ(files[0].popen(widePrefix, PFILE_WRITE | PFILE_CREATE, 0), PFILE_ERR_ALREADY_OPEN);
    // Draws within one second repeat, so the second name waits for the clock.
    EXPECT_GT(time(nullptr), before);
    EXPECT_NE(names[0], names[1]);
    EXPECT_EQ(files[0].pwriteLine(L"kept"), PRES_OK);
    EXPECT_EQ(readFile(names[0]), "kept\n");
}
