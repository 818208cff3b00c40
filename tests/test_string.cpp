// Wide strings: search, ordering, prefix tests, editing bounds, the tokenizer
// and the narrow conversions, quirks included.
#include <clocale>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

#include "testSupport.h"

namespace {

// A view whose length is set independently of its terminator.
struct View : PLiteral {
    View(const wchar_t* p, unsigned long n)
    {
        fPtr = p;
        fLen = n;
    }
};

std::wstring text(const PLiteral& s)
{
    return s.ptr() ? std::wstring(s.ptr(), s.len()) : std::wstring();
}

} // namespace

TEST(PLiteralSearch, SubstringForwardAndReverse)
{
    unsigned long pos = 99;
    EXPECT_EQ(PLiteral(L"").str(PLiteral(L""), pos), PRES_OK);
    EXPECT_EQ(pos, 0u);
    EXPECT_EQ(PLiteral(L"abc").str(PLiteral(L""), pos), PRES_NOT_FOUND);
    EXPECT_EQ(PLiteral(L"").str(PLiteral(L"a"), pos), PRES_NOT_FOUND);
    EXPECT_EQ(PLiteral(L"abc").str(PLiteral(L"abcd"), pos), PRES_NOT_FOUND);

    PLiteral hay(L"xabyab");
    EXPECT_EQ(hay.str(PLiteral(L"AB"), pos, false, true), PRES_OK);
    EXPECT_EQ(pos, 1u);
    EXPECT_EQ(hay.str(PLiteral(L"AB"), pos, true, true), PRES_OK);
    EXPECT_EQ(pos, 4u);
    EXPECT_EQ(hay.str(PLiteral(L"AB"), pos, false, false), PRES_NOT_FOUND);
    EXPECT_EQ(hay.str(PLiteral(L"b"), pos, true, false), PRES_OK);
    EXPECT_EQ(pos, 5u);
}

// The case-sensitive forward search jumps between candidates for the first
// character: matches at both ends, restarts after a partial match, and a
// candidate too close to the end.
TEST(PLiteralSearch, ForwardCandidatesAtTheEdges)
{
    struct Case { const wchar_t* hay; const wchar_t* sub; int res; unsigned long pos; };
    const Case cases[] = {
        {L"abc", L"abc", PRES_OK, 0}, {L"xxab", L"ab", PRES_OK, 2}, {L"aaab", L"aab", PRES_OK, 1},
        {L"abab", L"b", PRES_OK, 1}, {L"xxa", L"ab", PRES_NOT_FOUND, 99}, {L"abxab", L"abc", PRES_NOT_FOUND, 99},
    };
    for (const Case& c : cases) {
        unsigned long pos = 99;
        EXPECT_EQ(PLiteral(c.hay).str(PLiteral(c.sub), pos), c.res) << c.hay << " / " << c.sub;
        EXPECT_EQ(pos, c.pos) << c.hay << " / " << c.sub;
    }
    // The search covers len characters, a zero character among them included.
    PString cut(L"abcd");
    cut.fill(L'x', 2);
    unsigned long pos = 0;
    EXPECT_TRUE(cut.str(PLiteral(L"d"), pos) == PRES_OK && pos == 3u);
}

TEST(PLiteralSearch, CharacterSearchRunsToTheTerminator)
{
    unsigned long pos = 0;
    PLiteral s(L"xaA");
    EXPECT_EQ(s.chr(L'A', pos, false, true), PRES_OK);
    EXPECT_EQ(pos, 1u);
    EXPECT_EQ(s.chr(L'A', pos, true, true), PRES_OK);
    EXPECT_EQ(pos, 2u);
    EXPECT_EQ(s.chr(L'a', pos, true, false), PRES_OK);
    EXPECT_EQ(pos, 1u);
    EXPECT_EQ(PLiteral(L"").chr(L'a', pos, false, false), PRES_NOT_FOUND);

    // After fill(c, n) the length still counts the cut-off part, but the
    // search stops at the terminator.
    PString cut(L"abcd");
    cut.fill(L'x', 2);
    EXPECT_EQ(cut.chr(L'd', pos, false, false), PRES_NOT_FOUND);
}

TEST(PLiteralCompare, OrderIsByLengthFirst)
{
    EXPECT_LT(PLiteral(L"b").cmp(PLiteral(L"aa")), 0);
    EXPECT_TRUE(PLiteral(L"b") < PLiteral(L"aa"));
    EXPECT_LT(PLiteral(L"abc").cmp(L"abd"), 0);
    EXPECT_EQ(PLiteral().cmp(L""), 0);
    EXPECT_TRUE(PLiteral() == PLiteral(L""));
    EXPECT_TRUE(PLiteral(L"") < L"a");
    EXPECT_EQ(PLiteral(L"ab").cmp(L"abc", 2), 0);
    EXPECT_TRUE(PString(L"abc") != L"abC");
}

TEST(PLiteralAffixes, StartsWithIgnoresItsLengthEndsWithDoesNot)
{
    PLiteral abc(L"abc");
    EXPECT_TRUE(abc.startsWith(L"ab", 1, false));
    EXPECT_FALSE(abc.startsWith(L"abd", 2, false));
    EXPECT_FALSE(abc.endsWith(L"bc", 1, false));
    EXPECT_TRUE(abc.startsWith(PLiteral(L"AB"), true));
    EXPECT_FALSE(abc.startsWith(PLiteral(L"AB"), false));
    EXPECT_FALSE(abc.endsWith(PLiteral(L""), false));
    EXPECT_TRUE(PLiteral(L"").endsWith(PLiteral(L""), false));
    EXPECT_TRUE(PLiteral(L"").startsWith(PLiteral(L""), false));

    // A literal whose length stops short of its terminator is tested whole.
    EXPECT_FALSE(abc.startsWith(View(L"abz", 2), false));
    EXPECT_TRUE(abc.startsWith(View(L"ab", 1), false));
}

TEST(PStringEdit, SetInsertEraseBounds)
{
    PString s(L"abc");
    EXPECT_EQ(s.set(PLiteral(L"xyz"), 5), PRES_INVALID_ARG);
    EXPECT_EQ(text(s), L"abc");
    EXPECT_EQ(s.insert(4, L"q"), PRES_INVALID_ARG);
    EXPECT_EQ(s.insert(3, L"de"), PRES_OK);
    EXPECT_EQ(text(s), L"abcde");
    EXPECT_EQ(s.insert(1, PLiteral(L"XYZ"), 2), PRES_OK);
    EXPECT_EQ(text(s), L"aXYbcde");
    // As for set: a length beyond the source is refused, not read past its end.
    EXPECT_EQ(s.insert(1, PLiteral(L"XYZ"), 4), PRES_INVALID_ARG);
    EXPECT_EQ(s.insert(1, View(L"XYZ", 1), 2), PRES_INVALID_ARG);
    EXPECT_EQ(text(s), L"aXYbcde");
    EXPECT_EQ(s.insert(0, nullptr), PRES_OK);
    EXPECT_EQ(s.erase(1, 2), PRES_OK);
    EXPECT_EQ(text(s), L"abcde");

    PString t(L"abc");
    EXPECT_EQ(t.erase(1, 3), PRES_INVALID_ARG);
    EXPECT_EQ(t.erase(4, 0), PRES_INVALID_ARG);
    EXPECT_EQ(t.erase(1, (unsigned long)-1), PRES_INVALID_ARG);
    EXPECT_EQ(t.erase(3, 0), PRES_OK);
    EXPECT_EQ(t.erase(0, 3), PRES_OK);
    EXPECT_EQ(t.ptr(), nullptr);
    EXPECT_EQ(t.erase(0, 0), PRES_OK);
    EXPECT_EQ(t.insert(0, L"new"), PRES_OK);
    EXPECT_EQ(text(t), L"new");

    // Setting from a part of the string itself is safe.
    PString self(L"hello world");
    EXPECT_EQ(self.set(self.ptr() + 6), PRES_OK);
    EXPECT_EQ(text(self), L"world");
    self = PLiteral(self.ptr() + 1);
    EXPECT_EQ(text(self), L"orld");
}

TEST(PStringEdit, LengthSentinelIsExactlyThirtyTwoBits)
{
    PString s;
    EXPECT_EQ(s.set(L"abcdef", PSTR_ALL), PRES_OK);
    EXPECT_EQ(s.len(), 6u);
    PString small(L"ab");
    EXPECT_EQ(small.set(PLiteral(L"xy"), 0xFFFFFFFFFFFFFFFFUL), PRES_INVALID_ARG);
    EXPECT_EQ(small.insert(3, L"x", 0xFFFFFFFFFFFFFFFFUL), PRES_INVALID_ARG);
}

// A length whose size arithmetic wraps, or that no array could hold, is an
// allocation that cannot be had: -501, and the string as a failed allocation
// leaves it (set has already emptied it, the others keep it).
TEST(PStringEdit, SizesThatCannotBeComputedFailAsAllocations)
{
    const unsigned long huge = (unsigned long)-1, nearHuge = huge - 1, noArray = 1UL << 62;
    struct Case {
        const wchar_t* start;
        std::function<int(PString&)> edit;
        const wchar_t* after;
    };
    const Case cases[] = {
        {L"xy", [&](PString& s) { return s.cat(L"abc", huge); }, L"xy"},
        {L"xy", [&](PString& s) { return s.cat(L"abc", nearHuge); }, L"xy"},
        {L"xy", [&](PString& s) { return s.cat(L"abc", noArray); }, L"xy"},
        {L"", [&](PString& s) { return s.cat(L"abc", huge); }, L""},
        {L"xy", [&](PString& s) { return s.cat("abc", huge); }, L"xy"},
        {L"xy", [&](PString& s) { return s.cat("abc", huge - 7); }, L"xy"},
        {L"xy", [&](PString& s) { return s.set(L"abc", huge); }, L""},
        {L"xy", [&](PString& s) { return s.set("abc", huge); }, L""},
        {L"xy", [&](PString& s) { return s.insert(1, L"abc", huge); }, L"xy"},
        {L"xy", [&](PString& s) { return s.insert(2, L"abc", nearHuge); }, L"xy"},
        {L"", [&](PString& s) { return s.insert(0, L"abc", huge); }, L""},
        {L"xy", [&](PString& s) { return s.fill(L'z', huge); }, L"xy"},
        {L"xy", [&](PString& s) { return s.fill(L'z', noArray); }, L"xy"},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        PString s(cases[i].start);
        EXPECT_EQ(cases[i].edit(s), PRES_NO_MEMORY) << "case " << i;
        EXPECT_EQ(text(s), cases[i].after) << "case " << i;
    }
    for (unsigned long n : {huge, huge - 7, huge - 3}) {
        EXPECT_EQ(PString(L"abc", n).ptr(), nullptr) << n;
        EXPECT_EQ(PString("abc", n).ptr(), nullptr) << n;
        EXPECT_EQ(PLiteral::pwchar2pchar(L"abc", n), nullptr) << n;
        EXPECT_EQ(PLiteral::pchar2pwchar("abc", n), nullptr) << n;
    }
}

TEST(PStringEdit, TrimFillReplaceStrip)
{
    PString blanks(L"  \t\r\n");
    EXPECT_EQ(blanks.trim(), PRES_OK);
    EXPECT_EQ(blanks.len(), 0u);
    EXPECT_NE(blanks.ptr(), nullptr);

    PString padded(L" \t a b \r\n");
    padded.trim();
    EXPECT_EQ(text(padded), L"a b");

    PString f(L"abcd");
    EXPECT_EQ(f.fill(L'x', 2), PRES_OK);
    EXPECT_EQ(std::wstring(f.ptr()), L"xx");
    EXPECT_EQ(f.len(), 4u);
    PString g(L"ab");
    EXPECT_EQ(g.fill(L'y', 4), PRES_OK);
    EXPECT_EQ(text(g), L"yyyy");
    EXPECT_EQ(g.fill(L'z'), PRES_OK);
    EXPECT_EQ(text(g), L"zzzz");

    PString spaced(L" a\tb\nc\rd e ");
    EXPECT_EQ(spaced.stripall(), PRES_OK);
    EXPECT_EQ(text(spaced), L"abcde");
}

TEST(PStringEdit, CatAndAssignment)
{
    PString s;
    EXPECT_EQ(s.cat((const wchar_t*)nullptr), PRES_OK);
    EXPECT_EQ(s.cat(L"", PSTR_ALL), PRES_OK);
    EXPECT_EQ(s.ptr(), nullptr);
    s += L"ab";
    s += PLiteral(L"cd");
    EXPECT_EQ(s.cat(L"efgh", 2), PRES_OK);
    EXPECT_EQ(text(s), L"abcdef");

    PString copy;
    PLiteral& base = copy;
    base = L"via base";
    EXPECT_EQ(text(copy), L"via base");
    copy = (const wchar_t*)nullptr;
    EXPECT_EQ(copy.len(), 0u);
    EXPECT_EQ(copy.ptr(), nullptr);
}

TEST(PLiteralTokenizer, SplitsTrimsTokenKeepsRest)
{
    PString rest(L" a , b"), token;
    EXPECT_EQ(PLiteral::getNextToken(rest, token, L','), PRES_OK);
    EXPECT_EQ(text(token), L"a");
    EXPECT_EQ(text(rest), L" b");
    EXPECT_EQ(PLiteral::getNextToken(rest, token, L','), PRES_OK);
    EXPECT_EQ(text(token), L"b");
    EXPECT_EQ(rest.len(), 0u);
    EXPECT_EQ(PLiteral::getNextToken(rest, token, L','), PRES_TOKEN);

    // A zero separator is found at the terminator, with nothing after it.
    PString whole(L"a b");
    token = L"kept";
    EXPECT_EQ(PLiteral::getNextToken(whole, token, L'\0'), PRES_TOKEN);
    EXPECT_TRUE(text(whole) == L"a b" && text(token) == L"kept");

    PString lead(L",x");
    EXPECT_EQ(PLiteral::getNextToken(lead, token, L','), PRES_OK);
    EXPECT_EQ(token.len(), 0u);
    EXPECT_EQ(text(lead), L"x");

    // The way command lines are split: runs of blanks give empty tokens.
    PString line(L"a  b"), tok;
    std::vector<std::wstring> tokens;
    while (PLiteral::getNextToken(line, tok, L' ') == PRES_OK)
        tokens.push_back(text(tok));
    EXPECT_EQ(tokens, (std::vector<std::wstring>{L"a", L"", L"b"}));
}

TEST(PStringConversion, MultibyteTextUnderUtf8)
{
    ScopedUtf8Locale utf8;
    PString wide("naïve €");
    EXPECT_EQ(text(wide), L"naïve €");
    EXPECT_EQ(wide.len(), 7u);

    // The byte limit is the character count, so the narrow copy is cut at a
    // character boundary.
    char* narrow = wide.ascii();
    ASSERT_NE(narrow, nullptr);
    EXPECT_STREQ(narrow, "naïve ");
    delete[] narrow;

    char* whole = PLiteral::pwchar2pchar(L"ï€", 5);
    ASSERT_NE(whole, nullptr);
    EXPECT_STREQ(whole, "ï€");
    delete[] whole;

    // cat(const char*) grows by the byte count: the tail is zero characters.
    PString s(L"x");
    EXPECT_EQ(s.cat("é"), PRES_OK);
    EXPECT_EQ(s.cat(""), PRES_NO_MEMORY); // empty narrow text does not convert
    EXPECT_EQ(s.len(), 3u);
    EXPECT_EQ(s.ptr()[1], L'é');
    EXPECT_EQ(s.ptr()[2], L'\0');

    wchar_t* w = PLiteral::pchar2pwchar("€uro", PSTR_ALL);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(std::wstring(w), L"€uro");
    delete[] w;
    EXPECT_EQ(PLiteral::pchar2pwchar("\xff\xfe", PSTR_ALL), nullptr);
    EXPECT_EQ(PLiteral::pchar2pwchar("abc", 0), nullptr);
    PString invalid("\xc3");
    EXPECT_EQ(invalid.ptr(), nullptr);
}

TEST(PStringConversion, UnconvertibleTextInTheCLocale)
{
    const char* old = std::setlocale(LC_CTYPE, nullptr);
    std::string saved = old ? old : "C";
    std::setlocale(LC_CTYPE, "C");
    EXPECT_EQ(PLiteral::pwchar2pchar(L"€", PSTR_ALL), nullptr);
    char* plain = PString(L"plain").ascii();
    ASSERT_NE(plain, nullptr);
    EXPECT_STREQ(plain, "plain");
    delete[] plain;
    std::setlocale(LC_CTYPE, saved.c_str());
}
