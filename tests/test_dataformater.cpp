// The tagged binary format and the target records: exact bytes, bounds, where
// the position is left after each failure, and the text conversion quirks.
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

#include "testSupport.h"

namespace {

using Bytes = std::vector<unsigned char>;

bool sameInfo(const PTargetInfo& a, const PTargetInfo& b)
{
    return a.iTargetID.iIdText == b.iTargetID.iIdText && a.iTargetID.iIdNumber == b.iTargetID.iIdNumber &&
           a.iAddress.iFirst == b.iAddress.iFirst && a.iAddress.iSecond == b.iAddress.iSecond;
}

enum Kind { I16, U32, TAGGED, ARRAY, STRING, LIST };
using Outcome = std::tuple<int, unsigned long, bool>;

// Reads one item of the kind into outputs that start non-empty: the result,
// the position after, and whether any output changed. An output replaced
// instead of appended to shows as the bogus result 1.
Outcome readAs(PDataReader& r, Kind kind)
{
    short s = 7;
    unsigned int v = 7;
    Bytes array{7};
    PString text(L"7");
    std::vector<PString> list{PString(L"7")};
    int res = PRES_OK;
    switch (kind) {
    case I16: res = r.getShort(s); break;
    case U32: res = r.getDword(v); break;
    case TAGGED: res = r.readData(v); break;
    case ARRAY: res = r.readDataArray(array); break;
    case STRING: res = r.readString(text); break;
    case LIST: res = r.readStrings(list); break;
    }
    return {array[0] == 7 && list[0] == L"7" ? res : 1, r.getOffset(),
            s != 7 || v != 7 || array.size() != 1 || text != L"7" || list.size() != 1};
}

// A string claiming a length no memory could hold; only the conversion
// buffer's size is computed from it.
class ForgedLength : public PString {
public:
    explicit ForgedLength(unsigned long len) : PString(L"abc") { fLen = len; }
};

} // namespace

TEST(DataFormater, WritesTheDocumentedBytesOnEveryHost)
{
    Bytes data;
    PDataWriter w(data);
    PDataReader r(data); // reads the vector as it is at each call
    w.writeData(1u);
    EXPECT_TRUE(w.writeString(PString()) == PRES_OK && w.writeString(PString(L"ab")) == PRES_OK);
    EXPECT_EQ(data, (Bytes{0x07, 0, 0, 0, 1, 0x09, 0x85, 0, 0, 0, 0, 0x09, 0x85, 0, 0, 0, 2, 'a', 'b'}));

    w.eraseData();
    EXPECT_EQ(w.writeStrings({PString(L"a"), PString()}), PRES_OK);
    EXPECT_EQ(data, (Bytes{0x89, 0, 0, 0, 2, 0x85, 0, 0, 0, 1, 'a', 0x85, 0, 0, 0, 0}));

    w.eraseData();
    PDataFormaterUtils utils;
    EXPECT_TRUE(utils.writePTargetID(w, {L"A", 258}) == PRES_OK && utils.writePTargetInfoArray(w, {}) == PRES_OK);
    EXPECT_EQ(data, (Bytes{0x09, 0x85, 0, 0, 0, 1, 'A', 0x07, 0, 0, 1, 2, 0x07, 0, 0, 0, 0}));

    w.eraseData();
    w.appendByte(0xAB), w.appendShort(-2), w.appendWord(0x0102), w.appendInt(-3), w.appendDword(0x01020304u);
    w.appendLong(-4), w.appendQword(0x0102030405060708ull);
    const unsigned char FF = 0xFF;
    EXPECT_EQ(data, (Bytes{0xAB, FF, 0xFE, 1, 2, FF, FF, FF, 0xFD, 1, 2, 3, 4, FF, FF, FF, FF, FF, FF, FF, 0xFC,
                           1, 2, 3, 4, 5, 6, 7, 8}));
    short i16 = 0;
    unsigned short u16 = 0;
    int i32 = 0;
    unsigned int u32 = 0;
    long long i64 = 0;
    unsigned long long u64 = 0;
    r.setOffset(1);
    EXPECT_TRUE(r.getShort(i16) == PRES_OK && r.getWord(u16) == PRES_OK && r.getInt(i32) == PRES_OK &&
                r.getDword(u32) == PRES_OK && r.getLong(i64) == PRES_OK && r.getQword(u64) == PRES_OK);
    EXPECT_TRUE(i16 == -2 && u16 == 0x0102 && i32 == -3 && u32 == 0x01020304u && i64 == -4 &&
                u64 == 0x0102030405060708ull && r.getOffset() == data.size());

    // Writing the writer's own vector as an array copies what it held before.
    data = Bytes{7, 8};
    w.writeDataArray(data);
    EXPECT_EQ(data, (Bytes{7, 8, 0x85, 0, 0, 0, 2, 7, 8}));
}

// Pairs of exactly enough and one byte short; the "C" locale has no bytes
// for 0xE9, and a leading zero byte converts to nothing.
TEST(DataFormater, ResultPositionAndOutputAtTheBounds)
{
    const int SHORT = PDATA_ERR_SHORT, TYPE = PDATA_ERR_TYPE, DECODE = PDATA_ERR_DECODE;
    struct Case { Kind kind; Bytes data; int res; unsigned long offset; };
    const Case cases[] = {
        {I16, {0, 9}, PRES_OK, 2}, {I16, {9}, SHORT, 0},
        {U32, {0, 0, 0, 9}, PRES_OK, 4}, {U32, {0, 0, 9}, SHORT, 0},
        {TAGGED, {0x07, 0, 0, 0, 9}, PRES_OK, 5}, {TAGGED, {0x07, 0, 0, 9}, SHORT, 0},
        {TAGGED, {0x08, 0, 0, 0, 9}, TYPE, 0}, {ARRAY, {0x05, 0, 0, 0, 0}, TYPE, 0},
        {ARRAY, {0x85, 0, 0, 0, 2, 'x', 'y'}, PRES_OK, 7}, {ARRAY, {0x85, 0xFF, 0xFF, 0xFF, 0xFF}, SHORT, 5},
        // A short array leaves its header consumed; a wrong string tag is consumed.
        {ARRAY, {0x85, 0, 0, 0, 2, 'x'}, SHORT, 5}, {STRING, {0x08, 0x85, 0, 0, 0, 0}, TYPE, 1},
        {STRING, {0x09, 0x85, 0, 0, 0, 1, 'a'}, PRES_OK, 7}, {STRING, {0x09, 0x85, 0, 0, 0, 3, 'a'}, SHORT, 6},
        {STRING, {0x09, 0x85, 0, 0, 0, 0}, PRES_OK, 6}, // an empty string empties the output
        {STRING, {0x09, 0x85, 0, 0, 0, 1, 0xE9}, DECODE, 7}, {STRING, {0x09, 0x85, 0, 0, 0, 2, 0, 'a'}, DECODE, 8},
        {LIST, {0x89, 0, 0, 0, 1, 0x85, 0, 0, 0, 0}, PRES_OK, 10}, {LIST, {0x09, 0, 0, 0, 0, 0}, TYPE, 1},
    };
    for (const Case& c : cases) {
        PDataReader r(c.data);
        EXPECT_EQ(readAs(r, c.kind), Outcome(c.res, c.offset, c.res == PRES_OK)) << "case " << (&c - cases);
    }

    // At the end, or past it: a huge position must not wrap around the bound.
    const Bytes data{0x07, 0, 0, 0, 1};
    PDataReader r(data);
    for (unsigned long offset : {5UL, 6UL, ~0UL, ~0UL - 3})
        for (Kind kind : {I16, U32, TAGGED, ARRAY, STRING, LIST}) {
            r.setOffset(offset);
            EXPECT_EQ(readAs(r, kind), Outcome(SHORT, offset, false));
        }

    const unsigned char FF = 0xFF;
    struct ListCase { Bytes data; int res; unsigned long elements, offset; };
    const ListCase lists[] = {
        // An empty list counts as short only when it ends the data.
        {{0x89, 0, 0, 0, 0}, SHORT, 0, 5}, {{0x89, 0, 0, 0, 0, 0x07}, PRES_OK, 0, 5}, {{0x89, 0, 0}, SHORT, 0, 1},
        // A short element leaves the position behind its header; the next is
        // read from there, and its success clears the failure.
        {{0x89, 0, 0, 0, 2, 0x85, 0, 0, 0, 9, 0x85, 0, 0, 0, 1, 'a'}, PRES_OK, 1, 16},
        // Counts far beyond the data end, quickly, with the last element's failure.
        {{0x89, FF, FF, FF, FF, 0x85, 0, 0, 0, 1, 'a'}, SHORT, 1, 11},
        {{0x89, FF, FF, FF, FF, 0x86, 0, 0, 0, 0}, TYPE, 0, 5},
        {{0x89, FF, FF, FF, FF, 0x85, 0, 0, 0, 2, 'a'}, SHORT, 0, 10},
        // A string that does not convert ends the list at once.
        {{0x89, 0, 0, 0, 2, 0x85, 0, 0, 0, 1, 0xE9, 0x85, 0, 0, 0, 1, 'a'}, DECODE, 0, 11},
    };
    for (const ListCase& c : lists) {
        std::vector<PString> list;
        PDataReader lr(c.data);
        EXPECT_TRUE(lr.readStrings(list) == c.res && list.size() == c.elements && lr.getOffset() == c.offset)
            << "list " << (&c - lists);
    }
}

TEST(DataFormater, SizesThatWouldWrapFailWithoutWriting)
{
    for (unsigned long len : {~0UL, ~0UL - 7}) {
        const ForgedLength huge(len);
        Bytes data{0x42};
        PDataWriter w(data);
        EXPECT_TRUE(w.decodeUtf8(huge, data) == PRES_NO_MEMORY && w.writeString(huge) == PRES_NO_MEMORY) << len;
        EXPECT_EQ(data, Bytes{0x42});
    }

    // A record count far beyond the data reads nothing and reserves no room
    // beyond the one record it tried.
    const Bytes forged{0x07, 0xFF, 0xFF, 0xFF, 0xFF, 0x09, 0x85, 0, 0, 0, 0};
    PDataReader r(forged);
    std::vector<PTargetInfo> list;
    EXPECT_EQ(PDataFormaterUtils().readPTargetInfoArray(r, list), PDATA_ERR_SHORT);
    EXPECT_TRUE(list.empty() && list.capacity() <= 1u);

    // An array read into the reader's own vector appends the bytes it held.
    Bytes own{0x85, 0, 0, 0, 2, 'x', 'y'};
    PDataReader ro(own);
    EXPECT_TRUE(ro.readDataArray(own) == PRES_OK && ro.getOffset() == 7u);
    EXPECT_EQ(own, (Bytes{0x85, 0, 0, 0, 2, 'x', 'y', 'x', 'y'}));
}

TEST(DataFormater, TextFailsWholeInTheCLocaleAndIsCutToOneBytePerCharacter)
{
    // The process starts in the "C" locale, which has no bytes for é.
    Bytes data{0x42};
    PDataWriter w(data);
    PDataFormaterUtils utils;
    EXPECT_EQ(w.writeString(PString(L"caf\u00e9")), PDATA_ERR_ENCODE);
    EXPECT_EQ(utils.writePTargetInfo(w, PTargetInfo{{L"\u00e9", 1}, {L"a", L"b"}}), PDATA_ERR_ENCODE);
    EXPECT_EQ(data, Bytes{0x42});
    EXPECT_EQ(w.writeStrings({PString(L"ok"), PString(L"\u00e9")}), PDATA_ERR_ENCODE);
    EXPECT_EQ(data, (Bytes{0x42, 0x89, 0, 0, 0, 2, 0x85, 0, 0, 0, 2, 'o', 'k'}));

    // A zero byte inside the text ends it.
    const Bytes embedded{0x09, 0x85, 0, 0, 0, 3, 'a', 0, 'b'};
    PDataReader r(embedded);
    PString text;
    EXPECT_TRUE(r.readString(text) == PRES_OK && text == L"a" && r.getOffset() == embedded.size());
    EXPECT_TRUE(r.encodeUtf8({'h', 'i'}, text) == PRES_OK && text == L"hi" && r.encodeUtf8({}, text) == PDATA_ERR_DECODE);

    ScopedUtf8Locale utf8;
    w.eraseData();
    ASSERT_EQ(w.writeStrings({L"\u00e9ab", L"a\u00e9", L"\u4e2d\u6587xyz"}), PRES_OK);
    EXPECT_EQ(data, (Bytes{0x89, 0, 0, 0, 3, 0x85, 0, 0, 0, 3, 0xC3, 0xA9, 'a', 0x85, 0, 0, 0, 2, 'a', 0,
                           0x85, 0, 0, 0, 5, 0xE4, 0xB8, 0xAD, 0, 0}));
    std::vector<PString> back;
    PDataReader rb(data);
    ASSERT_TRUE(rb.readStrings(back) == PRES_OK && back.size() == 3u);
    EXPECT_TRUE(back[0] == L"\u00e9a" && back[1] == L"a" && back[2] == L"\u4e2d");

    // One character too wide for its single byte converts to nothing.
    w.eraseData();
    EXPECT_TRUE(w.writeString(PString(L"\u00e9")) == PDATA_ERR_ENCODE && data.empty());
}

TEST(DataFormaterUtils, RecordsRoundTripAndArraysStopAtTheFirstBadElement)
{
    const std::vector<PTargetInfo> infos{
        {{L"alpha", 1}, {L"10.0.0.1", L"port 80"}}, {{L"", 0xFFFFFFFF}, {L"", L""}},
        {{L"gamma", 3}, {L"host", std::wstring(300, L'x').c_str()}}}; // a long text converts on the heap
    Bytes data;
    PDataWriter w(data);
    PDataFormaterUtils utils;
    ASSERT_EQ(utils.writePTargetInfoArray(w, infos), PRES_OK);

    std::vector<PTargetInfo> back{{{L"old", 9}, {L"", L""}}};
    PDataReader r(data);
    ASSERT_TRUE(utils.readPTargetInfoArray(r, back) == PRES_OK && back.size() == 4u);
    for (unsigned long i = 0; i < infos.size(); ++i)
        EXPECT_TRUE(sameInfo(back[i + 1], infos[i])) << i;
    EXPECT_EQ(r.getOffset(), data.size());

    // The third element's last string loses its last byte.
    data.pop_back();
    back.clear();
    PDataReader cut(data);
    EXPECT_EQ(utils.readPTargetInfoArray(cut, back), PDATA_ERR_SHORT);
    EXPECT_TRUE(back.size() == 2u && sameInfo(back[1], infos[1]));

    // The records alone, as the array writes and reads them.
    Bytes one;
    PDataWriter w1(one);
    PDataReader r1(one);
    PAddress address;
    PTargetInfo info;
    ASSERT_TRUE(utils.writePAddress(w1, {L"h", L"p"}) == PRES_OK && utils.writePTargetInfo(w1, infos[0]) == PRES_OK);
    EXPECT_TRUE(utils.readPAddress(r1, address) == PRES_OK && address.iFirst == L"h" && address.iSecond == L"p");
    EXPECT_TRUE(utils.readPTargetInfo(r1, info) == PRES_OK && sameInfo(info, infos[0]) && r1.getOffset() == one.size());

    // A failed record keeps the fields read before the failure.
    const Bytes idOnly{0x09, 0x85, 0, 0, 0, 1, 'Z', 0x06, 0, 0, 0, 1};
    PTargetID id{L"", 5};
    PDataReader ri(idOnly);
    EXPECT_TRUE(utils.readPTargetID(ri, id) == PDATA_ERR_TYPE && id.iIdText == L"Z" && id.iIdNumber == 5u);
}
