// Wide strings: search, ordering, prefix tests, editing bounds, the tokenizer
// and the narrow conversions, quirks included.
#include <clocale>

#include "qrixText.h"

#include "testSupport.h"

// A case with a character searches with chr, otherwise with str.
TEST(PLiteralSearch, PositionsForwardAndReverse)
{
    const struct { const wchar_t *hay, *sub; wchar_t c; bool reverse, ignoreCase; int res; unsigned long pos; } cases[] = {
        {L"", L"", 0, false, false, PRES_OK, 0},          {L"abc", L"", 0, false, false, PRES_NOT_FOUND, 99},
        {L"", L"a", 0, false, false, PRES_NOT_FOUND, 99}, {L"abc", L"abcd", 0, true, false, PRES_NOT_FOUND, 99},
        {L"xabyab", L"AB", 0, false, true, PRES_OK, 1},   {L"xabyab", L"AB", 0, true, true, PRES_OK, 4},
        {L"xabyab", L"AB", 0, false, false, PRES_NOT_FOUND, 99}, {L"xabyab", L"b", 0, true, false, PRES_OK, 5},
        {L"abc", L"ab", 0, true, false, PRES_OK, 0},      {L"abc", L"ABC", 0, true, true, PRES_OK, 0},
        {L"xaA", nullptr, L'A', false, true, PRES_OK, 1}, {L"xaA", nullptr, L'A', true, true, PRES_OK, 2},
        {L"xaA", nullptr, L'a', true, false, PRES_OK, 1}, {L"", nullptr, L'a', false, false, PRES_NOT_FOUND, 99},
        {L"xAa", nullptr, L'a', true, true, PRES_OK, 2},  {L"xAa", nullptr, L'A', false, true, PRES_OK, 1},
        {L"xa", nullptr, L'A', false, true, PRES_OK, 1},  {L"xA", nullptr, L'a', true, true, PRES_OK, 1},
        {L"xb", nullptr, L'a', false, true, PRES_NOT_FOUND, 99}, {L"", nullptr, 0, false, false, PRES_OK, 0},
        {L"abc", nullptr, 0, false, false, PRES_NOT_FOUND, 99}, {L"xab", L"AB", 0, false, true, PRES_OK, 1},
        // The forward search jumps between first-character candidates.
        {L"abc", L"abc", 0, false, false, PRES_OK, 0},     {L"xxab", L"ab", 0, false, false, PRES_OK, 2},
        {L"aaab", L"aab", 0, false, false, PRES_OK, 1},    {L"abab", L"b", 0, false, false, PRES_OK, 1},
        {L"xxa", L"ab", 0, false, false, PRES_NOT_FOUND, 99}, {L"abxab", L"abc", 0, false, false, PRES_NOT_FOUND, 99},
    };
    for (const auto& c : cases) {
        unsigned long pos = 99;
        PLiteral hay(c.hay);
        EXPECT_EQ(c.c ? hay.chr(c.c, pos, c.reverse, c.ignoreCase) : hay.str(c.sub, pos, c.reverse, c.ignoreCase), c.res)
            << &c - cases;
        EXPECT_EQ(pos, c.pos) << &c - cases;
    }
    // After fill(c, n) the length still counts the cut-off part, but the
    // character search stops at the terminator.
    PString cut(L"abcd");
    unsigned long pos = 0;
    EXPECT_TRUE(cut.fill(L'x', 2) == PRES_OK && cut.chr(L'd', pos, false, false) == PRES_NOT_FOUND);
    EXPECT_TRUE(cut.chr(L'\0', pos, false, false) == PRES_OK && pos == 2 &&
                PLiteral(L"").chr(L'\0', pos, false, false) == PRES_NOT_FOUND);
    // The substring search covers len characters, the zero among them included.
    EXPECT_TRUE(cut.str(PLiteral(L"d"), pos) == PRES_OK && pos == 3u);
}

TEST(PLiteralCompare, OrderIsByLengthFirst)
{
    EXPECT_TRUE(PLiteral(L"b").cmp(PLiteral(L"aa")) < 0 && PLiteral(L"b") < PLiteral(L"aa"));
    EXPECT_TRUE(PLiteral(L"aa").cmp(L"b") > 0 && PLiteral(L"aa") > L"b" && PLiteral(L"abc").cmp(L"abd") < 0);
    EXPECT_TRUE(PLiteral().cmp(L"") == 0 && PLiteral() == PLiteral(L"") && PLiteral(L"") < L"a");
    EXPECT_TRUE(PLiteral(L"ab").cmp(L"abc", 2) == 0 && PString(L"abc") != L"abC");
    EXPECT_TRUE(PLiteral().cmp(L"a") < 0 && PLiteral(L"ab").cmp(nullptr, 1) > 0);
}

TEST(PLiteralAffixes, StartsWithIgnoresItsLengthEndsWithDoesNot)
{
    PLiteral abc(L"abc"), empty(L"");
    EXPECT_TRUE(abc.startsWith(L"ab", 1, false) && !abc.startsWith(L"abd", 2, false) && !abc.endsWith(L"bc", 1, false));
    EXPECT_TRUE(abc.endsWith(L"bc", 2, false) && abc.endsWith(PLiteral(L"BC"), true));
    EXPECT_TRUE(abc.startsWith(L"ab", PSTR_ALL, false) && abc.endsWith(L"bc", PSTR_ALL, false));
    EXPECT_TRUE(abc.startsWith(PLiteral(L"AB"), true) && !abc.startsWith(PLiteral(L"AB"), false));
    EXPECT_TRUE(!abc.endsWith(empty, false) && empty.endsWith(empty, false) && empty.startsWith(empty, false));
    // A literal whose length stops short of its terminator is tested whole.
    EXPECT_TRUE(!abc.startsWith(View(L"abz", 2), false) && abc.startsWith(View(L"ab", 1), false));
}

TEST(PLiteralView, CopiesShareTheTextAssigningTheSamePointerKeepsTheLength)
{
    const wchar_t* abc = L"abc";
    View part(abc, 2);
    PLiteral copy(part), assigned, pointed;
    PLiteral& alias = assigned;
    assigned = part, assigned = alias, pointed = abc;
    EXPECT_TRUE(copy.ptr() == abc && copy.len() == 2 && assigned.ptr() == abc && assigned.len() == 2);
    EXPECT_TRUE(pointed.ptr() == abc && pointed.len() == 3);
    static_cast<PLiteral&>(part) = abc; // the pointer it already has: a no-op
    EXPECT_EQ(part.len(), 2u);
    pointed = (const wchar_t*)nullptr;
    EXPECT_TRUE(pointed.ptr() == nullptr && pointed.len() == 0);
    const wchar_t cases[][3] = {{L'a', L'A', L'a'}, {L'Q', L'Q', L'q'}, {L'1', L'1', L'1'}};
    for (const auto& c : cases)
        EXPECT_TRUE(PLiteral::toupper(c[0]) == c[1] && PLiteral::tolower(c[0]) == c[2]) << (char)c[0];
}

// A length whose size arithmetic wraps, or that no array could hold, is an
// allocation that cannot be had: -501, with the string as a failed allocation
// leaves it (set has already emptied it, the others keep it).
TEST(PStringEdit, EveryEditReturnsItsCodeAndLeavesItsText)
{
    const unsigned long huge = (unsigned long)-1, nearHuge = huge - 1, noArray = 1UL << 62, wide64 = ~0UL;
    const struct { const wchar_t* start; std::function<int(PString&)> edit; int res; std::wstring after; } cases[] = {
        {L"abc", [](PString& s) { return s.set(PLiteral(L"xyz"), 5); }, PRES_INVALID_ARG, L"abc"},
        {L"ab", [](PString& s) { return s.set(L"abcdef", PSTR_ALL); }, PRES_OK, L"abcdef"},
        {L"ab", [&](PString& s) { return s.set(PLiteral(L"xy"), wide64); }, PRES_INVALID_ARG, L"ab"},
        {L"hello world", [](PString& s) { return s.set(s.ptr() + 6); }, PRES_OK, L"world"},
        {L"world", [](PString& s) { return s = PLiteral(s.ptr() + 1), 0; }, PRES_OK, L"orld"},
        {L"abc", [](PString& s) { return s.insert(4, L"q"); }, PRES_INVALID_ARG, L"abc"},
        {L"abc", [](PString& s) { return s.insert(3, L"de"); }, PRES_OK, L"abcde"},
        {L"abc", [](PString& s) { return s.insert(1, PLiteral(L"XYZ"), 2); }, PRES_OK, L"aXYbc"},
        // As for set: a length beyond the source is refused, not read past its end.
        {L"abc", [](PString& s) { return s.insert(1, PLiteral(L"XYZ"), 4); }, PRES_INVALID_ARG, L"abc"},
        {L"abc", [](PString& s) { return s.insert(1, View(L"XYZ", 1), 2); }, PRES_INVALID_ARG, L"abc"},
        {L"abc", [](PString& s) { return s.insert(0, nullptr) + s.insert(1, L"") + s.fill(L'x', 0); }, PRES_OK, L"abc"},
        {L"abc", [](PString& s) { return s.insert(1, PLiteral(L"XY")); }, PRES_OK, L"aXYbc"},
        {L"ab", [](PString& s) { return s.set(PLiteral(L"xyz")); }, PRES_OK, L"xyz"},
        {L"ab", [](PString& s) { return s = static_cast<const PLiteral&>(s), s = *&s, 0; }, PRES_OK, L"ab"},
        {L"", [](PString& s) { return s.trim() + s.stripall(); }, PRES_OK, L""},
        {L"ab", [](PString& s) { return s.cat((const char*)nullptr); }, PRES_NO_MEMORY, L"ab"},
        {L"ab", [&](PString& s) { return s.insert(3, L"x", wide64); }, PRES_INVALID_ARG, L"ab"},
        {L"", [](PString& s) { return s.insert(0, L"new"); }, PRES_OK, L"new"},
        {L"aXYbc", [](PString& s) { return s.erase(1, 2); }, PRES_OK, L"abc"},
        {L"abc", [](PString& s) { return s.erase(1, 3); }, PRES_INVALID_ARG, L"abc"},
        {L"abc", [](PString& s) { return s.erase(4, 0); }, PRES_INVALID_ARG, L"abc"},
        {L"abc", [&](PString& s) { return s.erase(1, huge); }, PRES_INVALID_ARG, L"abc"},
        {L"abc", [](PString& s) { return s.erase(3, 0); }, PRES_OK, L"abc"},
        {L"abc", [](PString& s) { return s.erase(0, 3) + (s.ptr() != nullptr); }, PRES_OK, L""},
        {L"", [](PString& s) { return s.erase(0, 0); }, PRES_OK, L""},
        {L" \t a b \r\n", [](PString& s) { return s.trim(); }, PRES_OK, L"a b"},
        {L"  \t\r\n", [](PString& s) { return s.trim() + (s.ptr() == nullptr); }, PRES_OK, L""},
        {L"abcd", [](PString& s) { return s.fill(L'x', 2); }, PRES_OK, std::wstring(L"xx\0d", 4)},
        {L"ab", [](PString& s) { return s.fill(L'y', 4); }, PRES_OK, L"yyyy"},
        {L"ab", [](PString& s) { return s.fill(L'z'); }, PRES_OK, L"zz"},
        {L"\\a\\b\\", [](PString& s) { return s.replace(L'\\', L'/'); }, PRES_OK, L"/a/b/"},
        {L" a\tb\nc\rd e ", [](PString& s) { return s.stripall(); }, PRES_OK, L"abcde"},
        {L"", [](PString& s) { return s.cat((const wchar_t*)nullptr) + s.cat(L"", PSTR_ALL); }, PRES_OK, L""},
        {L"ab", [](PString& s) { return s += L"cd", s += PLiteral(L"ef"), s.cat(L"ghij", 2); }, PRES_OK, L"abcdefgh"},
        {L"x", [](PString& s) { return static_cast<PLiteral&>(s) = L"base", 0; }, PRES_OK, L"base"},
        {L"x", [](PString& s) { return s = (const wchar_t*)nullptr, (s.ptr() != nullptr); }, PRES_OK, L""},
        {L"xy", [&](PString& s) { return s.cat(L"abc", huge); }, PRES_NO_MEMORY, L"xy"},
        {L"xy", [&](PString& s) { return s.cat(L"abc", nearHuge); }, PRES_NO_MEMORY, L"xy"},
        {L"xy", [&](PString& s) { return s.cat(L"abc", noArray); }, PRES_NO_MEMORY, L"xy"},
        {L"", [&](PString& s) { return s.cat(L"abc", huge); }, PRES_NO_MEMORY, L""},
        {L"xy", [&](PString& s) { return s.cat("abc", huge); }, PRES_NO_MEMORY, L"xy"},
        {L"xy", [&](PString& s) { return s.cat("abc", huge - 7); }, PRES_NO_MEMORY, L"xy"},
        {L"xy", [&](PString& s) { return s.set(L"abc", huge); }, PRES_NO_MEMORY, L""},
        {L"xy", [&](PString& s) { return s.set("abc", huge); }, PRES_NO_MEMORY, L""},
        {L"xy", [&](PString& s) { return s.insert(1, L"abc", huge); }, PRES_NO_MEMORY, L"xy"},
        {L"xy", [&](PString& s) { return s.insert(2, L"abc", nearHuge); }, PRES_NO_MEMORY, L"xy"},
        {L"", [&](PString& s) { return s.insert(0, L"abc", huge); }, PRES_NO_MEMORY, L""},
        {L"xy", [&](PString& s) { return s.fill(L'z', huge); }, PRES_NO_MEMORY, L"xy"},
        {L"xy", [&](PString& s) { return s.fill(L'z', noArray); }, PRES_NO_MEMORY, L"xy"},
    };
    for (const auto& c : cases) {
        PString s(c.start);
        EXPECT_EQ(c.edit(s), c.res) << "case " << &c - cases;
        EXPECT_EQ(wideText(s), c.after) << "case " << &c - cases;
    }
    for (unsigned long n : {huge, huge - 7, huge - 3}) {
        EXPECT_TRUE(PString(L"abc", n).ptr() == nullptr && PString("abc", n).ptr() == nullptr) << n;
        EXPECT_TRUE(!PLiteral::pwchar2pchar(L"abc", n) && !PLiteral::pchar2pwchar("abc", n)) << n;
    }
}

TEST(PLiteralTokenizer, SplitsTrimsTokenKeepsRest)
{
    PString rest(L" a , b"), token;
    EXPECT_TRUE(PLiteral::getNextToken(rest, token, L',') == PRES_OK && wideText(token) == L"a" &&
                wideText(rest) == L" b");
    EXPECT_TRUE(PLiteral::getNextToken(rest, token, L',') == PRES_OK && wideText(token) == L"b" && rest.len() == 0);
    EXPECT_EQ(PLiteral::getNextToken(rest, token, L','), PRES_TOKEN);
    // A zero separator is found at the terminator, with nothing after it.
    PString whole(L"a b"), lead(L",x");
    token = L"kept";
    EXPECT_TRUE(PLiteral::getNextToken(whole, token, L'\0') == PRES_TOKEN && wideText(whole) == L"a b" &&
                token == L"kept");
    EXPECT_TRUE(PLiteral::getNextToken(lead, token, L',') == PRES_OK && token.len() == 0 && wideText(lead) == L"x");
    // The way command lines are split: runs of blanks give empty tokens.
    PString line(L"a  b");
    std::vector<std::wstring> tokens;
    while (PLiteral::getNextToken(line, token, L' ') == PRES_OK)
        tokens.push_back(wideText(token));
    EXPECT_EQ(tokens, (std::vector<std::wstring>{L"a", L"", L"b"}));
}

TEST(PStringConversion, MultibyteTextUnderUtf8NoneInTheCLocale)
{
    ScopedUtf8Locale utf8;
    PString wide("naïve €"), s(L"x"), invalid("\xc3");
    EXPECT_TRUE(wideText(wide) == L"naïve €" && wide.len() == 7 && invalid.ptr() == nullptr);
    EXPECT_EQ(PString("é", 2).len(), 1u); // characters, not the bytes given
    // The byte limit is the character count: the narrow copy is cut at a
    // character boundary.
    PPtr<char> narrow(wide.ascii(), PTR_ARRAY), whole(PLiteral::pwchar2pchar(L"ï€", 5), PTR_ARRAY);
    EXPECT_STREQ(narrow.getPtr(), "naïve ");
    EXPECT_STREQ(whole.getPtr(), "ï€");
    // cat(const char*) grows by the byte count: the tail is zero characters.
    EXPECT_TRUE(s.cat("é") == PRES_OK && s.cat("") == PRES_NO_MEMORY); // empty narrow text does not convert
    EXPECT_EQ(wideText(s), std::wstring(L"xé\0", 3));
    PPtr<wchar_t> w(PLiteral::pchar2pwchar("€uro", PSTR_ALL), PTR_ARRAY);
    EXPECT_TRUE(w.getPtr() && std::wstring(w.getPtr()) == L"€uro");
    EXPECT_TRUE(!PLiteral::pchar2pwchar("\xff\xfe", PSTR_ALL) && !PLiteral::pchar2pwchar("abc", 0));
    ScopedUtf8Locale c("C");
    PPtr<char> plain(PString(L"plain").ascii(), PTR_ARRAY);
    EXPECT_TRUE(PLiteral::pwchar2pchar(L"€", PSTR_ALL) == nullptr && std::string(plain.getPtr() ?: "") == "plain");
    EXPECT_TRUE(!PLiteral::pwchar2pchar(nullptr, 3) && !PLiteral::pwchar2pchar(L"a", 0));
}

// Every size the library computes goes through these: a wrap must saturate
// to a size no allocation can have.
TEST(SizeArithmetic, SaturatesAndRefusesArraysBeyondTheAddressSpace)
{
    using namespace qrix::detail;
    EXPECT_TRUE(sizeAdd(1, 2, 3) == 6 && sizeAdd(ULONG_MAX, 1) == ULONG_MAX &&
                sizeAdd(ULONG_MAX - 1, 1, 1) == ULONG_MAX);
    EXPECT_TRUE(sizeMul(3, 4) == 12 && sizeMul(ULONG_MAX / 2, 3) == ULONG_MAX && wideBytes(ULONG_MAX) == SIZE_MAX);
    EXPECT_TRUE(!newArray<wchar_t>(PTRDIFF_MAX / sizeof(wchar_t) + 1) && !newZeroedArray<char>(ULONG_MAX));
}
