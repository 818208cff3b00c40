// PUtils: text <-> number, boolean and byte conversions, splitting, argument
// vectors and bounded formatting.
#include <climits>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

namespace {

std::wstring text(const PLiteral& s)
{
    return s.ptr() ? std::wstring(s.ptr(), s.len()) : std::wstring();
}

// A view that ends before its text's terminator.
struct View : PLiteral {
    View(const wchar_t* p, unsigned long n) { fPtr = p, fLen = n; }
};

} // namespace

TEST(PUtilsConvert, NumbersBooleansAndHexAtTheirEdges)
{
    int i = 99;
    EXPECT_EQ(PUtils::strToInt32(L" 42", i), PRES_OK);
    EXPECT_EQ(i, 42);
    EXPECT_EQ(PUtils::strToInt32(L"-12abc", i), PRES_OK);
    for (const wchar_t* bad : {L"", L"x1", L" "})
        EXPECT_EQ(PUtils::strToInt32(bad, i), PRES_BAD_FORMAT) << bad;
    EXPECT_EQ(i, -12);
    PString s;
    EXPECT_EQ(PUtils::int32ToStr(INT_MIN, s), PRES_OK); // the widest value fits 16 characters
    EXPECT_EQ(s, L"-2147483648");

    bool v = false;
    EXPECT_EQ(PUtils::strToBool(L"true", v), PRES_OK);
    for (const wchar_t* bad : {L"TRUE", L" true", L"true ", L"1", L""})
        EXPECT_EQ(PUtils::strToBool(bad, v), PRES_BAD_FORMAT) << bad;
    EXPECT_TRUE(v);

    char byte = 0;
    EXPECT_EQ(PUtils::hexToByte(L"f", byte), PRES_OK);
    EXPECT_EQ(byte, 15);
    EXPECT_EQ(PUtils::hexToByte(L"FF", byte), PRES_OK);
    EXPECT_EQ(byte, (char)0xFF);
    for (const wchar_t* bad : {L"1ff", L"", L"g"})
        EXPECT_EQ(PUtils::hexToByte(bad, byte), PRES_BAD_FORMAT) << bad;
    EXPECT_EQ(byte, (char)0xFF);
}

TEST(PUtilsBinary, RoundTripBlanksAndRejections)
{
    PString s;
    unsigned char all[256];
    for (int i = 0; i < 256; ++i)
        all[i] = (unsigned char)i;
    EXPECT_EQ(PUtils::binaryToStr(all, 1, s), PRES_OK);
    EXPECT_EQ(s, L"0x00");
    EXPECT_EQ(PUtils::binaryToStr(all, 0, s), PRES_INVALID_ARG);
    ASSERT_EQ(PUtils::binaryToStr(all, 256, s), PRES_OK);
    EXPECT_EQ(text(s).substr(s.len() - 16), L"0xFD, 0xFE, 0xFF");
    const struct {
        const wchar_t* in;
        std::string bytes;
    } good[] = {{s.ptr(), std::string((const char*)all, 256)},
                {L"0x01,0x02", "\x01\x02"},
                {L"0x01, 0x02 ", "\x01\x02"},
                {L" 0x0A, 0xff,0x1", "\x0A\xFF\x01"}};
    for (const auto& c : good) {
        unsigned char* data = nullptr;
        unsigned long size = 0;
        ASSERT_EQ(PUtils::strToBinary(c.in, data, size), PRES_OK) << c.in;
        EXPECT_EQ(std::string((const char*)data, size), c.bytes) << c.in;
        delete[] data;
    }
    // An item runs untrimmed from "0x" to the comma: a blank before a comma fails.
    for (const wchar_t* bad : {L"", L"0xABC", L"0A", L"0X01", L"0x", L"0x01,,0x02", L"0x01 ,0x02", L"0x01 0x02"}) {
        unsigned char* data = nullptr;
        unsigned long size = 7;
        EXPECT_EQ(PUtils::strToBinary(bad, data, size), PRES_BAD_FORMAT) << bad;
        EXPECT_TRUE(data == nullptr && size == 7) << bad;
    }
}

TEST(PUtilsText, SplittingArgumentsAndLinks)
{
    PString key(L"k0"), value(L"v0");
    EXPECT_EQ(PUtils::getKeyValue(L"  name = a=b ", key, value, L'='), PRES_OK);
    EXPECT_EQ(text(key) + L"|" + text(value), L"name|a=b");
    EXPECT_EQ(PUtils::getKeyValue(L"novalue", key, value, L'='), PRES_NOT_FOUND);
    EXPECT_EQ(PUtils::getKeyValue(View(L"ab=c", 2), key, value, L'='), PRES_NOT_FOUND);
    EXPECT_EQ(text(key) + L"|" + text(value), L"name|a=b");

    char p0[] = "/bin/x", p1[] = "k", named[] = "a=b";
    char* argv[] = {p0, p1};
    PString* args = nullptr;
    unsigned long count = 0;
    ASSERT_EQ(PUtils::convertArgs(2, argv, args, count, L'='), PRES_OK);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(text(args[0]) + L"|" + text(args[1]), L"process.name=/bin/x|k");
    delete[] args;
    argv[0] = named;
    ASSERT_EQ(PUtils::convertArgs(1, argv, args, count, L'='), PRES_OK);
    EXPECT_EQ(args[0], L"a=b");
    delete[] args;

    // No link parses where executables have no extension; outputs are cleared.
    for (const wchar_t* link : {L"a#b", L"", L"x#'prog' -v"}) {
        PString target(L"t"), arguments(L"a");
        EXPECT_EQ(PUtils::parseLink(link, target, arguments), PRES_INVALID_ARG) << link;
        EXPECT_EQ(target.len() + arguments.len(), 0u);
    }
}

TEST(PUtilsFormat, FormatsAndCutsAtTheCapacity)
{
    PString out(L"old");
    EXPECT_EQ(PUtils::pformatString(out, L"%ls=%d/%s", L"k", -5, "n"), PRES_OK);
    EXPECT_EQ(out, L"k=-5/n");

    // The capacity is the format's length + 2048, terminator included; there
    // is no second attempt.
    std::wstring big(5000, L'x');
    for (size_t i = 0; i < big.size(); i += 7)
        big[i] = L'0' + (wchar_t)(i % 10);
    for (size_t prefix : {0, 3000}) {
        std::wstring format = std::wstring(prefix, L'f') + L"%ls";
        EXPECT_EQ(PUtils::pformatString(out, format.c_str(), big.c_str()), PRES_OK);
        EXPECT_EQ(text(out), (std::wstring(prefix, L'f') + big).substr(0, format.size() + 2048 - 1));
    }
}
