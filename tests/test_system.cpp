#include <arpa/inet.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "qrixPSystem.h"
#include "qrixPUtils.h"
#include "testSupport.h"

namespace {

std::string narrow(const PLiteral& s)
{
    std::wstring text(s.ptr() ? s.ptr() : L"", s.len());
    return std::string(text.begin(), text.end());
}

} // namespace

TEST(PSystem, TempDirAndRandom)
{
    EXPECT_EQ(narrow(PSystem::getTempDir()), "/tmp/");
    int r = PSystem::getRandom(5, 10);
    EXPECT_TRUE(r == 5 || r == 15) << r;
}

TEST(PSystem, HostAddress)
{
    for (const char* value : {"10.0.0.7", "not an address"}) {
        ScopedEnv env("QRIX_HOST_IP", value);
        PString address;
        CapturedStderr err;
        EXPECT_EQ(PUtils::getHostAddress(address), PRES_OK);
        EXPECT_EQ(narrow(address), value);
        EXPECT_EQ(err.text(), std::string("getHostAddress: Using 'QRIX_HOST_IP' variable [") + value + "]\n");
    }

    // Without the override only the machine itself is assumed: a dotted IPv4
    // answer or one of the designed failures.
    ScopedEnv env("QRIX_HOST_IP", nullptr);
    char hostname[513] = {};
    ASSERT_EQ(gethostname(hostname, 512), 0);
    PString address;
    CapturedStderr err;
    int res = PUtils::getHostAddress(address);
    std::string text = err.text();
    EXPECT_NE(text.find(std::string("getHostAddress: got lHostname[") + hostname + "]\n"), std::string::npos);
    if (res == PRES_OK) {
        struct in_addr parsed;
        EXPECT_EQ(inet_pton(AF_INET, narrow(address).c_str(), &parsed), 1) << narrow(address);
        EXPECT_NE(text.find("getHostAddress: returning host Address [" + narrow(address) + "] res: 0\n"),
                  std::string::npos);
    } else {
        EXPECT_TRUE(res == PRES_FAILED || res == PRES_NOT_FOUND) << res;
    }
}
