// PUtils: text <-> number, boolean and byte conversions, splitting, argument
// vectors and bounded formatting.
#include <climits>
#include <cstdarg>
#include <cstdint>

#include "testSupport.h"

namespace {
int formatView(PString& out, const PLiteral* format, ...)
{
    va_list args;
    va_start(args, format);
    int res = PUtils::vformatString(out, *format, args);
    va_end(args);
    return res;
}

// Parses `text` into a variable holding `before`; the result code and the value after.
template <class T, class F>
std::pair<int, T> parsed(F parse, const wchar_t* text, T before)
{
    T v = before;
    int res = parse(text, v);
    return {res, v};
}
} // namespace

// Each refusal must leave the last good value in place.
TEST(PUtilsConvert, TextToNumbersAtTheirLimits)
{
    EXPECT_EQ(parsed(PUtils::strToInt32, L" 42", 9), std::make_pair(PRES_OK, 42));
    EXPECT_EQ(parsed(PUtils::strToInt32, L"-12abc", 9), std::make_pair(PRES_OK, -12));
    EXPECT_EQ(parsed(PUtils::strToInt32, L"010", 9), std::make_pair(PRES_OK, 10)); // decimal, never octal
    for (const wchar_t* bad : {L"", L"x1", L" "})
        EXPECT_EQ(parsed(PUtils::strToInt32, bad, 9), std::make_pair(PRES_BAD_FORMAT, 9)) << bad;
    EXPECT_EQ(parsed(PUtils::strToUint32, L"4294967295", 9u), std::make_pair(PRES_OK, UINT32_MAX));
    EXPECT_EQ(parsed(PUtils::strToUint32, L"x", 9u), std::make_pair(PRES_BAD_FORMAT, 9u));
    EXPECT_EQ(parsed(PUtils::strToInt64, L"-9223372036854775808", 9LL), std::make_pair(PRES_OK, LLONG_MIN));
    EXPECT_EQ(parsed(PUtils::strToInt64, L"9223372036854775807", 9LL), std::make_pair(PRES_OK, LLONG_MAX));
    EXPECT_EQ(parsed(PUtils::strToInt64, L"", 9LL), std::make_pair(PRES_BAD_FORMAT, 9LL));
    EXPECT_EQ(parsed(PUtils::strToUint64, L"18446744073709551615", 9ULL), std::make_pair(PRES_OK, ULLONG_MAX));
    EXPECT_EQ(parsed(PUtils::strToUint64, L"-", 9ULL), std::make_pair(PRES_BAD_FORMAT, 9ULL));
    EXPECT_EQ(parsed(PUtils::strToBool, L"true", false), std::make_pair(PRES_OK, true));
    EXPECT_EQ(parsed(PUtils::strToBool, L"false", true), std::make_pair(PRES_OK, false));
    for (const wchar_t* bad : {L"TRUE", L"true ", L""})
        EXPECT_EQ(parsed(PUtils::strToBool, bad, true), std::make_pair(PRES_BAD_FORMAT, true)) << bad;
    EXPECT_EQ(parsed(PUtils::hexToByte, L"f", 'q'), std::make_pair(PRES_OK, (char)15));
    EXPECT_EQ(parsed(PUtils::hexToByte, L"FF", 'q'), std::make_pair(PRES_OK, (char)0xFF));
    for (const wchar_t* bad : {L"1ff", L"", L"g", (const wchar_t*)nullptr})
        EXPECT_EQ(parsed(PUtils::hexToByte, bad, 'q'), std::make_pair(PRES_BAD_FORMAT, 'q')) << bad;
    const std::pair<wchar_t, int> digits[] = {{L'0', 0}, {L'9', 9}, {L'A', 10}, {L'F', 15},
                                              {L'a', 10}, {L'f', 15}, {L'g', -1}, {L'G', -1}, {L'/', -1}};
    for (const auto& d : digits) {
        char v = 'q';
        EXPECT_EQ(PUtils::hexToDec(d.first, v), d.second < 0 ? PRES_BAD_FORMAT : PRES_OK) << (char)d.first;
        EXPECT_EQ(v, d.second < 0 ? 'q' : (char)d.second) << (char)d.first;
    }
}

TEST(PUtilsConvert, NumbersToTextFitTheirBuffers)
{
    PString s;
    const std::pair<std::function<int()>, const wchar_t*> cases[] = {
        {[&] { return PUtils::int32ToStr(INT32_MIN, s); }, L"-2147483648"},
        {[&] { return PUtils::uint32ToStr(UINT32_MAX, s); }, L"4294967295"},
        {[&] { return PUtils::int64ToStr(INT64_MIN, s); }, L"-9223372036854775808"},
        {[&] { return PUtils::uint64ToStr(UINT64_MAX, s); }, L"18446744073709551615"},
        {[&] { return PUtils::boolToStr(true, s); }, L"true"},
        {[&] { return PUtils::boolToStr(false, s); }, L"false"},
    };
    for (const auto& c : cases)
        EXPECT_TRUE(c.first() == PRES_OK && s == c.second) << narrowed(s);
}

TEST(PUtilsText, DigitChecksAndTheEmptyExtension)
{
    const struct { const wchar_t* s; unsigned long n; bool sign, dec, hex; } cases[] = {
        {L"-12", 3, true, true, false},  {L"-12", 3, false, false, false}, {L"1-2", 3, true, false, false},
        {L"+", 1, true, true, false},    {L"+", 1, false, false, false},   {L"x", 0, false, true, true},
        {L"09aF", 4, false, false, true}, {L"09af", 2, false, true, true},  {L"fg", 2, true, false, false},
        {L"123", PSTR_ALL, false, true, true}, {nullptr, PSTR_ALL, false, true, true}, {nullptr, 2, true, true, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(PUtils::isDec(c.s, c.n, c.sign), c.dec) << narrowed(PString(c.s)) << " " << c.n << " " << c.sign;
        EXPECT_EQ(PUtils::isHex(c.s, c.n), c.hex) << narrowed(PString(c.s)) << " " << c.n;
    }
    PString path(L"C:\\bin\\tool");
    EXPECT_TRUE(PUtils::fixFileSeparator(path) == PRES_OK && path == L"C:/bin/tool");
    EXPECT_TRUE(PUtils::fixExecFileExtension(path) == PRES_OK && path == L"C:/bin/tool");
}

TEST(PUtilsBinary, RoundTripBlanksAndRejections)
{
    const unsigned char bytes[] = {0x00, 0x0A, 0xFF};
    PString s;
    ASSERT_TRUE(PUtils::binaryToStr(bytes, 3, s) == PRES_OK && s == L"0x00, 0x0A, 0xFF");
    for (const wchar_t* in : {s.ptr(), L"0x0,0xa,0xff", L" 0x00, 0x0A,0xfF, "}) {
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
    EXPECT_EQ(PUtils::getKeyValue(View(L"a=b", 1), key, val, L'='), PRES_NOT_FOUND); // '=' beyond the view
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
    EXPECT_EQ(PUtils::parseLink(L"ab", target, rest), PRES_INVALID_ARG);
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
    EXPECT_TRUE(PUtils::binaryToStr(nullptr, 1, out) == PRES_INVALID_ARG && PUtils::binaryToStr(&byte, 0, out) == PRES_INVALID_ARG);
    PLiteral none;
    out = L"old";
    EXPECT_TRUE(formatView(out, &none) == PRES_OK && out.len() == 0); // no format: emptied all the same
    View lying(L"%d", ULONG_MAX - 2047);
    EXPECT_TRUE(formatView(out, &lying, 5) == PRES_NO_MEMORY && out.ptr() == nullptr);

    PString* args = nullptr;
    unsigned long count = 7;
    EXPECT_TRUE(PUtils::convertArgs(1, nullptr, args, count, L'=') == PRES_INVALID_ARG && !args && count == 7);
    for (int argc : {0, -1}) {
        ASSERT_EQ(PUtils::convertArgs(argc, nullptr, args, count, L'='), PRES_OK);
        EXPECT_EQ(count, 0u);
        delete[] args;
    }
}
