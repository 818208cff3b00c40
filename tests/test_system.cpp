#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include "testSupport.h"

TEST(PSystem, TempDirAndHostAddress)
{
    EXPECT_TRUE(PSystem::getTempDir() == L"/tmp/");
    PString address;
    {
        ScopedEnv env("QRIX_HOST_IP", "not an address");
        CapturedStderr err;
        EXPECT_TRUE(PUtils::getHostAddress(address) == PRES_OK && address == L"not an address");
        EXPECT_EQ(err.text(), "getHostAddress: Using 'QRIX_HOST_IP' variable [not an address]\n");
    }
    // Without the override the answer depends on this machine's resolver: a
    // dotted IPv4 address, or a failure code when its own name does not resolve.
    ScopedEnv env("QRIX_HOST_IP", nullptr);
    char hostname[513] = {};
    ASSERT_EQ(gethostname(hostname, 512), 0);
    int res = 1;
    std::string text = stderrOf([&] { res = PUtils::getHostAddress(address); });
    EXPECT_EQ(text.rfind(std::string("getHostAddress: got lHostname[") + hostname + "]\n", 0), 0u) << text;
    ASSERT_TRUE(res == PRES_OK || res == PRES_FAILED || res == PRES_NOT_FOUND) << res;
    std::string dotted = narrowed(address);
    in_addr parsed{};
    EXPECT_TRUE(res != PRES_OK || inet_pton(AF_INET, dotted.c_str(), &parsed) == 1) << dotted;
    EXPECT_TRUE(res != PRES_OK || (text.find("getHostAddress: returning host Address [" + dotted + "] res: 0\n") !=
                                       std::string::npos &&
                                   text.find("getHostAddress: [INFO] Resolved host name [") != std::string::npos &&
                                   text.find("] to address [" + dotted + "]\n") != std::string::npos)) << text;
    // A bare name is qualified first, whether or not that succeeds.
    EXPECT_TRUE(std::strchr(hostname, '.') || text.find("getHostAddress: new lHostname[") != std::string::npos ||
                text.find("getHostAddress: gethostbyname(") != std::string::npos) << text;
}

// Reseeded from the clock at every call, so the answer is base unless rand()
// draws its maximum.
TEST(PSystem, RandomIsTheBaseAndReseedsFromTheClock)
{
    const int rows[][3] = {{5, 10, 15}, {-3, 1000, 997}};
    for (const auto& r : rows) {
        time_t second = time(nullptr);
        int value = PSystem::getRandom(r[0], r[1]), next = rand();
        srand((unsigned int)second);
        bool top = rand() == RAND_MAX;
        // A second that ends meanwhile leaves no reference to compare with.
        EXPECT_TRUE(time(nullptr) != second || (value == (top ? r[2] : r[0]) && next == rand())) << r[0];
    }
}
