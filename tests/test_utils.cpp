// PUtils: text <-> number, boolean and byte conversions, splitting, argument
// vectors and bounded formatting.
#include <climits>
#include <cstdarg>
#include <string>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

namespace {
// A view whose length is set independently of its text.
struct View : PLiteral {
    View(const wchar_t* p, unsigned long n)
    {
        fPtr = p;
        fLen = n;
    }
};

int formatView(PString& out, const PLiteral* format, ...)
{
    va_list args;
    va_start(args, format);
    int res = PUtils::vformatString(out, *format, args);
    va_end(args);
    return res;
}
} // namespace

// Each refusal below must leave the last good value in place.
TEST(PUtilsConvert, NumbersBooleansAndHexAtTheirEdges)
{
    int i = 99;
    EXPECT_TRUE(PUtils::strToInt32(L" 42", i) == PRES_OK && i == 42);
    EXPECT_EQ(PUtils::strToInt32(L"-12abc", i), PRES_OK);
    for (const wchar_t* bad : {L"", L"x1", L" "})
        EXPECT_EQ(PUtils::strToInt32(bad, i), PRES_BAD_FORMAT) << bad;
    EXPECT_EQ(i, -12);
    PString s;
    EXPECT_TRUE(PUtils::int32ToStr(-2147483647 - 1, s) == PRES_OK && s == L"-2147483648"); // fits 16 characters

    bool v = false;
    EXPECT_EQ(PUtils::strToBool(L"true", v), PRES_OK);
    for (const wchar_t* bad : {L"TRUE", L"true ", L""})
        EXPECT_EQ(PUtils::strToBool(bad, v), PRES_BAD_FORMAT) << bad;
    EXPECT_TRUE(v);

    char byte = 0;
    EXPECT_TRUE(PUtils::hexToByte(L"f", byte) == PRES_OK && byte == 15);
    EXPECT_EQ(PUtils::hexToByte(L"FF", byte), PRES_OK);
    for (const wchar_t* bad : {L"1ff", L"", L"g"})
        EXPECT_EQ(PUtils::hexToByte(bad, byte), PRES_BAD_FORMAT) << bad;
    EXPECT_EQ(byte, (char)0xFF);
}

TEST(PUtilsBinary, RoundTripBlanksAndRejections)
{
    const unsigned char bytes[] = {0x00, 0x0A, 0xFF};
    PString s;
    ASSERT_TRUE(PUtils::binaryToStr(bytes, 3, s) == PRES_OK && s == L"0x00, 0x0A, 0xFF");
    for (const wchar_t* in : {s.ptr(), L"0x0,0xa,0xff", L" 0x00, 0x0A,0xfF "}) {
        unsigned char* data = nullptr;
        unsigned long size = 0;
        ASSERT_EQ(PUtils::strToBinary(in, data, size), PRES_OK) << in;
        EXPECT_EQ(std::string((const char*)data, size), std::string((const char*)bytes, 3)) << in;
        delete[] data;
    }
    // An item runs untrimmed from "0x" to the comma: a blank before a comma fails.
    for (const wchar_t* bad : {L"", L"0xABC", L"0A", L"0X01", L"0x01,,0x02", L"0x01 ,0x02"}) {
        unsigned char* data = nullptr;
        unsigned long size = 7;
        EXPECT_EQ(PUtils::strToBinary(bad, data, size), PRES_BAD_FORMAT) << bad;
        EXPECT_TRUE(data == nullptr && size == 7) << bad;
    }
}

TEST(PUtilsText, SplittingArgumentsAndLinks)
{
    PString key(L"k0"), val(L"v0");
    EXPECT_TRUE(PUtils::getKeyValue(L"novalue", key, val, L'=') == PRES_NOT_FOUND && key == L"k0");
    EXPECT_TRUE(PUtils::getKeyValue(L"  name = a=b ", key, val, L'=') == PRES_OK && key == L"name" && val == L"a=b");

    char p0[] = "/bin/x", p1[] = "a=b";
    char* argv[] = {p0, p1};
    PString* args = nullptr;
    unsigned long count = 0;
    ASSERT_EQ(PUtils::convertArgs(2, argv, args, count, L'='), PRES_OK);
    EXPECT_TRUE(count == 2 && args[0] == L"process.name=/bin/x" && args[1] == L"a=b");
    delete[] args;
    ASSERT_EQ(PUtils::convertArgs(1, argv + 1, args, count, L'='), PRES_OK);
    EXPECT_TRUE(count == 1 && args[0] == L"a=b"); // already a pair: taken as it stands
    delete[] args;

    // No link parses where executables have no extension; outputs are cleared.
    PString target(L"t"), rest(L"a");
    EXPECT_TRUE(PUtils::parseLink(L"a#b", target, rest) == PRES_INVALID_ARG && target.len() + rest.len() == 0);
}

TEST(PUtilsFormat, FormatsAndCutsAtTheCapacity)
{
    PString out(L"old");
    EXPECT_TRUE(PUtils::pformatString(out, L"%ls=%d/%s", L"k", -5, "n") == PRES_OK && out == L"k=-5/n");
    // The capacity is the format's length + 2048, terminator included; there
    // is no second attempt.
    std::wstring big(5000, L'x'), format = std::wstring(3000, L'f') + L"%ls";
    EXPECT_EQ(PUtils::pformatString(out, format.c_str(), big.c_str()), PRES_OK);
    EXPECT_EQ(out, (std::wstring(3000, L'f') + big).substr(0, format.size() + 2048 - 1).c_str());
}

// Sizes that wrap are allocations that cannot be had; nothing is read or
// written beyond the real input, and outputs stay as a failure leaves them.
TEST(PUtilsHostileSizes, WrappedSizesAndMissingVectors)
{
    const unsigned char byte = 0x41;
    PString out(L"old");
    for (unsigned long size : {ULONG_MAX / 6 + 1, ULONG_MAX / 6, ULONG_MAX})
        EXPECT_TRUE(PUtils::binaryToStr(&byte, size, out) == PRES_NO_MEMORY && out == L"old") << size;

    View lying(L"%d", ULONG_MAX - 2047);
    EXPECT_TRUE(formatView(out, &lying, 5) == PRES_NO_MEMORY && out.ptr() == nullptr);

    PString* args = nullptr;
    unsigned long count = 7;
    EXPECT_EQ(PUtils::convertArgs(1, nullptr, args, count, L'='), PRES_INVALID_ARG);
    EXPECT_TRUE(args == nullptr && count == 7);
    ASSERT_EQ(PUtils::convertArgs(0, nullptr, args, count, L'='), PRES_OK);
    EXPECT_EQ(count, 0u);
    delete[] args;
}
