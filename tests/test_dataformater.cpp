// The tagged binary format and the target records: exact bytes, bounds, where
// the position is left after each failure, and the text conversion quirks.
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

// Reads one item of the kind into outputs that start non-empty, and tells
// whether any output changed. An output replaced instead of appended to
// shows as the bogus result 1.
int readAs(PDataReader& r, Kind kind, bool& touched)
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
    touched = s != 7 || v != 7 || array.size() != 1 || text != L"7" || list.size() != 1;
    return array[0] == 7 && list[0] == L"7" ? res : 1;
}

} // namespace

TEST(DataFormater, WritesTheDocumentedBytesOnEveryHost)
{
    Bytes data;
    PDataWriter w(data);
    PDataReader r(data); // reads the vector as it is at each call
    w.writeData(1u);
    EXPECT_EQ(w.writeString(PString()), PRES_OK);
    EXPECT_EQ(w.writeString(PString(L"ab")), PRES_OK);
    EXPECT_EQ(data, (Bytes{0x07, 0, 0, 0, 1, 0x09, 0x85, 0, 0, 0, 0, 0x09, 0x85, 0, 0, 0, 2, 'a', 'b'}));

    w.eraseData();
    EXPECT_EQ(w.writeStrings({PString(L"a"), PString()}), PRES_OK);
    EXPECT_EQ(data, (Bytes{0x89, 0, 0, 0, 2, 0x85, 0, 0, 0, 1, 'a', 0x85, 0, 0, 0, 0}));

    w.eraseData();
    PDataFormaterUtils utils;
    EXPECT_EQ(utils.writePTargetID(w, PTargetID{L"A", 258}), PRES_OK);
    EXPECT_EQ(utils.writePTargetInfoArray(w, {}), PRES_OK);
    EXPECT_EQ(data, (Bytes{0x09, 0x85, 0, 0, 0, 1, 'A', 0x07, 0, 0, 1, 2, 0x07, 0, 0, 0, 0}));

    w.eraseData();
    w.appendByte(0xAB);
    w.appendShort(-2);
    w.appendDword(0x01020304u);
    w.appendQword(0x0102030405060708ull);
    w.appendLong(-3);
    EXPECT_EQ(data, (Bytes{0xAB, 0xFF, 0xFE, 1, 2, 3, 4, 1, 2, 3, 4, 5, 6, 7, 8, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                           0xFF, 0xFD}));
    r.setOffset(1);
    short s = 0;
    unsigned int dword = 0;
    long long ll = 0;
    EXPECT_TRUE(r.getShort(s) == PRES_OK && r.getDword(dword) == PRES_OK);
    r.setOffset(15);
    EXPECT_TRUE(r.getLong(ll) == PRES_OK && s == -2 && dword == 0x01020304u && ll == -3);

    // Writing the writer's own vector as an array copies what it held before.
    data = Bytes{7, 8};
    w.writeDataArray(data);
    EXPECT_EQ(data, (Bytes{7, 8, 0x85, 0, 0, 0, 2, 7, 8}));
}

TEST(DataFormater, ResultPositionAndOutputAtTheBounds)
{
    const int SHORT = PDATA_ERR_SHORT, TYPE = PDATA_ERR_TYPE;
    struct Case { Kind kind; Bytes data; int res; unsigned long offset; };
    const Case cases[] = {
        {I16, {0, 9}, PRES_OK, 2},
        {I16, {9}, SHORT, 0},
        {U32, {0, 0, 0, 9}, PRES_OK, 4},
        {U32, {0, 0, 9}, SHORT, 0},
        {TAGGED, {0x07, 0, 0, 0, 9}, PRES_OK, 5},
        {TAGGED, {0x07, 0, 0, 9}, SHORT, 0},
        {TAGGED, {0x08, 0, 0, 0, 9}, TYPE, 0},
        {ARRAY, {0x85, 0, 0, 0, 2, 'x', 'y'}, PRES_OK, 7},
        {ARRAY, {0x85, 0, 0, 0, 2, 'x'}, SHORT, 5}, // the header stays consumed
        {ARRAY, {0x85, 0xFF, 0xFF, 0xFF, 0xFF}, SHORT, 5},
        {ARRAY, {0x05, 0, 0, 0, 0}, TYPE, 0},
        {STRING, {0x09, 0x85, 0, 0, 0, 1, 'a'}, PRES_OK, 7},
        {STRING, {0x08, 0x85, 0, 0, 0, 0}, TYPE, 1}, // a wrong tag is consumed
        {STRING, {0x09, 0x85, 0, 0, 0, 3, 'a'}, SHORT, 6},
        {LIST, {0x89, 0, 0, 0, 1, 0x85, 0, 0, 0, 0}, PRES_OK, 10},
        {LIST, {0x09, 0, 0, 0, 0, 0}, TYPE, 1},
    };
    for (const Case& c : cases) {
        PDataReader r(c.data);
        bool touched = false;
        EXPECT_EQ(readAs(r, c.kind, touched), c.res) << "case " << (&c - cases);
        EXPECT_EQ(r.getOffset(), c.offset) << "case " << (&c - cases);
        EXPECT_EQ(touched, c.res == PRES_OK) << "case " << (&c - cases);
    }

    // At the end, or past it: a huge position must not wrap around the bound.
    const Bytes data{0x07, 0, 0, 0, 1};
    PDataReader r(data);
    for (unsigned long offset : {5UL, 6UL, ~0UL, ~0UL - 3}) {
        for (Kind kind : {I16, U32, TAGGED, ARRAY, STRING, LIST}) {
            r.setOffset(offset);
            bool touched = false;
            EXPECT_EQ(readAs(r, kind, touched), SHORT);
            EXPECT_EQ(r.getOffset(), offset);
            EXPECT_FALSE(touched);
        }
    }
}

TEST(DataFormater, StringListCountsAndElementFailures)
{
    const int SHORT = PDATA_ERR_SHORT;
    const unsigned char FF = 0xFF;
    struct ListCase { Bytes data; int res; unsigned long elements, offset; };
    const ListCase cases[] = {
        // An empty list counts as short only when it ends the data.
        {{0x89, 0, 0, 0, 0}, SHORT, 0, 5},
        {{0x89, 0, 0, 0, 0, 0x07}, PRES_OK, 0, 5},
        {{0x89, 0, 0}, SHORT, 0, 1},
        // A short element leaves the position behind its header; the next is
        // read from there, and its success clears the failure.
        {{0x89, 0, 0, 0, 2, 0x85, 0, 0, 0, 9, 0x85, 0, 0, 0, 1, 'a'}, PRES_OK, 1, 16},
        // Counts far beyond the data end, quickly, with the last element's failure.
        {{0x89, FF, FF, FF, FF, 0x85, 0, 0, 0, 1, 'a'}, SHORT, 1, 11},
        {{0x89, FF, FF, FF, FF, 0x86, 0, 0, 0, 0}, PDATA_ERR_TYPE, 0, 5},
        {{0x89, FF, FF, FF, FF, 0x85, 0, 0, 0, 2, 'a'}, SHORT, 0, 10},
    };
    for (const ListCase& c : cases) {
        std::vector<PString> list;
        PDataReader r(c.data);
        EXPECT_EQ(r.readStrings(list), c.res) << "case " << (&c - cases);
        EXPECT_EQ(list.size(), c.elements) << "case " << (&c - cases);
        EXPECT_EQ(r.getOffset(), c.offset) << "case " << (&c - cases);
    }
}

TEST(DataFormater, TextConversionFailures)
{
    // The process runs in the "C" locale here, which has no bytes for é.
    Bytes data{0x42};
    PDataWriter w(data);
    EXPECT_EQ(w.writeString(PString(L"caf\u00e9")), PDATA_ERR_ENCODE);
    PDataFormaterUtils utils;
    EXPECT_EQ(utils.writePTargetInfo(w, PTargetInfo{{L"\u00e9", 1}, {L"a", L"b"}}), PDATA_ERR_ENCODE);
    EXPECT_EQ(data, Bytes{0x42});
    EXPECT_EQ(w.writeStrings({PString(L"ok"), PString(L"\u00e9")}), PDATA_ERR_ENCODE);
    EXPECT_EQ(data, (Bytes{0x42, 0x89, 0, 0, 0, 2, 0x85, 0, 0, 0, 2, 'o', 'k'}));

    PString text(L"kept");
    for (const Bytes& bad : {Bytes{0x09, 0x85, 0, 0, 0, 1, 0xE9}, Bytes{0x09, 0x85, 0, 0, 0, 2, 0, 'a'}}) {
        PDataReader r(bad);
        EXPECT_EQ(r.readString(text), PDATA_ERR_DECODE);
        EXPECT_TRUE(text == L"kept");
    }
    // A zero byte inside the text ends it.
    const Bytes embedded{0x09, 0x85, 0, 0, 0, 3, 'a', 0, 'b'};
    PDataReader r(embedded);
    EXPECT_TRUE(r.readString(text) == PRES_OK && text == L"a" && r.getOffset() == embedded.size());

    // A string that does not convert ends the list at once.
    std::vector<PString> list;
    const Bytes badList{0x89, 0, 0, 0, 2, 0x85, 0, 0, 0, 1, 0xE9, 0x85, 0, 0, 0, 1, 'a'};
    PDataReader rl(badList);
    EXPECT_EQ(rl.readStrings(list), PDATA_ERR_DECODE);
    EXPECT_TRUE(list.empty());
}

TEST(DataFormater, MultibyteTextIsCutToOneBytePerCharacter)
{
    ScopedUtf8Locale utf8;
    Bytes data;
    PDataWriter w(data);
    ASSERT_EQ(w.writeStrings({L"\u00e9ab", L"a\u00e9", L"\u4e2d\u6587xyz"}), PRES_OK);
    EXPECT_EQ(data, (Bytes{0x89, 0, 0, 0, 3, 0x85, 0, 0, 0, 3, 0xC3, 0xA9, 'a', 0x85, 0, 0, 0, 2, 'a', 0,
                           0x85, 0, 0, 0, 5, 0xE4, 0xB8, 0xAD, 0, 0}));
    std::vector<PString> back;
    PDataReader r(data);
    ASSERT_TRUE(r.readStrings(back) == PRES_OK && back.size() == 3u);
    EXPECT_TRUE(back[0] == L"\u00e9a" && back[1] == L"a" && back[2] == L"\u4e2d");

    // One character too wide for its single byte converts to nothing.
    w.eraseData();
    EXPECT_EQ(w.writeString(PString(L"\u00e9")), PDATA_ERR_ENCODE);
    EXPECT_TRUE(data.empty());
}

TEST(DataFormaterUtils, RecordsRoundTripAndArraysStopAtTheFirstBadElement)
{
    const std::vector<PTargetInfo> infos{
        {{L"alpha", 1}, {L"10.0.0.1", L"port 80"}}, {{L"", 0xFFFFFFFF}, {L"", L""}}, {{L"gamma", 3}, {L"host", L"x"}}};
    Bytes data;
    PDataWriter w(data);
    PDataFormaterUtils utils;
    ASSERT_EQ(utils.writePTargetInfoArray(w, infos), PRES_OK);

    std::vector<PTargetInfo> back{{{L"old", 9}, {L"", L""}}};
    PDataReader r(data);
    ASSERT_EQ(utils.readPTargetInfoArray(r, back), PRES_OK);
    ASSERT_EQ(back.size(), 4u);
    for (unsigned long i = 0; i < infos.size(); ++i)
        EXPECT_TRUE(sameInfo(back[i + 1], infos[i])) << i;
    EXPECT_EQ(r.getOffset(), data.size());

    // The third element's last string loses its last byte.
    data.pop_back();
    back.clear();
    PDataReader cut(data);
    EXPECT_EQ(utils.readPTargetInfoArray(cut, back), PDATA_ERR_SHORT);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_TRUE(sameInfo(back[1], infos[1]));

    // A failed record keeps the fields read before the failure.
    const Bytes idOnly{0x09, 0x85, 0, 0, 0, 1, 'Z', 0x06, 0, 0, 0, 1};
    PTargetID id{L"", 5};
    PDataReader ri(idOnly);
    EXPECT_EQ(utils.readPTargetID(ri, id), PDATA_ERR_TYPE);
    EXPECT_TRUE(id.iIdText == L"Z" && id.iIdNumber == 5u);
}
