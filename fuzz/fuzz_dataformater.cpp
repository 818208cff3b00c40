// Arbitrary bytes read as every item kind and as target records, in both a
// single-byte and a UTF-8 locale. Besides the sanitizers, it checks that no
// read moves the position past the data, that every success consumes bytes,
// and that what was read writes back to something that reads the same.
#include <locale.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include <qrixPortingLayer.h>

namespace {

using Bytes = std::vector<unsigned char>;

enum Kind {
    K_SHORT, K_WORD, K_INT, K_DWORD, K_LONG, K_QWORD, K_TAGGED, K_ARRAY, K_STRING, K_STRINGS,
    K_TARGET_ID, K_ADDRESS, K_TARGET_INFO, K_TARGET_ARRAY, K_COUNT
};

void require(bool condition)
{
    if (!condition)
        std::abort();
}

bool isAscii(const PString& s)
{
    for (unsigned long i = 0; i < s.len(); ++i) {
        if (s.ptr()[i] <= 0 || s.ptr()[i] >= 0x80)
            return false;
    }
    return true;
}

bool isAscii(const PTargetInfo& t)
{
    return isAscii(t.iTargetID.iIdText) && isAscii(t.iAddress.iFirst) && isAscii(t.iAddress.iSecond);
}

// Writes back what was read and reads it again. Only text of single-byte
// characters is carried exactly by the format, so only that is compared.
void checkStringsRoundTrip(const std::vector<PString>& list)
{
    Bytes data;
    PDataWriter w(data);
    if (w.writeStrings(list) != PRES_OK)
        return;
    std::vector<PString> back;
    PDataReader r(data);
    int res = r.readStrings(back);
    require(res == PRES_OK || list.empty());
    require(back.size() == list.size());
    for (unsigned long i = 0; i < list.size(); ++i)
        require(!isAscii(list[i]) || back[i] == list[i]);
}

void checkTargetsRoundTrip(const std::vector<PTargetInfo>& list)
{
    Bytes data;
    PDataWriter w(data);
    PDataFormaterUtils utils;
    if (utils.writePTargetInfoArray(w, list) != PRES_OK)
        return;
    std::vector<PTargetInfo> back;
    PDataReader r(data);
    require(utils.readPTargetInfoArray(r, back) == PRES_OK);
    require(back.size() == list.size() && r.getOffset() == data.size());
    for (unsigned long i = 0; i < list.size(); ++i) {
        require(back[i].iTargetID.iIdNumber == list[i].iTargetID.iIdNumber);
        require(!isAscii(list[i]) || (back[i].iTargetID.iIdText == list[i].iTargetID.iIdText &&
                                      back[i].iAddress.iFirst == list[i].iAddress.iFirst &&
                                      back[i].iAddress.iSecond == list[i].iAddress.iSecond));
    }
}

int readOne(PDataReader& r, int kind, bool roundTrip)
{
    short s;
    unsigned short us;
    int i;
    unsigned int ui;
    long long ll;
    unsigned long long ull;
    PDataFormaterUtils utils;
    switch (kind) {
    case K_SHORT: return r.getShort(s);
    case K_WORD: return r.getWord(us);
    case K_INT: return r.getInt(i);
    case K_DWORD: return r.getDword(ui);
    case K_LONG: return r.getLong(ll);
    case K_QWORD: return r.getQword(ull);
    case K_TAGGED: return r.readData(ui);
    case K_ARRAY: {
        Bytes out{0xEE};
        int res = r.readDataArray(out);
        require(res == PRES_OK || out.size() == 1);
        if (res == PRES_OK && roundTrip) {
            Bytes copy(out.begin() + 1, out.end());
            Bytes again;
            PDataWriter w(again);
            w.writeDataArray(copy);
            Bytes back;
            PDataReader rb(again);
            require(rb.readDataArray(back) == PRES_OK && back == copy);
        }
        return res;
    }
    case K_STRING: {
        PString text;
        int res = r.readString(text);
        if (res == PRES_OK && roundTrip)
            checkStringsRoundTrip({text});
        return res;
    }
    case K_STRINGS: {
        std::vector<PString> list;
        int res = r.readStrings(list);
        if (roundTrip)
            checkStringsRoundTrip(list);
        return res;
    }
    case K_TARGET_ID: {
        PTargetID id;
        return utils.readPTargetID(r, id);
    }
    case K_ADDRESS: {
        PAddress address;
        return utils.readPAddress(r, address);
    }
    case K_TARGET_INFO: {
        PTargetInfo info;
        return utils.readPTargetInfo(r, info);
    }
    case K_TARGET_ARRAY: {
        std::vector<PTargetInfo> list;
        int res = utils.readPTargetInfoArray(r, list);
        if (res == PRES_OK && roundTrip)
            checkTargetsRoundTrip(list);
        return res;
    }
    }
    return PRES_OK;
}

// One read with the invariants every read keeps; returns whether it moved.
bool checkedRead(PDataReader& r, const Bytes& data, int kind, bool roundTrip)
{
    const unsigned long before = r.getOffset();
    int res = readOne(r, kind, roundTrip);
    const unsigned long after = r.getOffset();
    require(after >= before && after <= data.size());
    if (res == PRES_OK)
        require(after > before);
    if (kind <= K_TAGGED && res != PRES_OK)
        require(after == before);
    return after != before;
}

void fuzzOnce(const Bytes& data)
{
    // Each kind over the whole data, from the start, for as long as it moves.
    for (int kind = 0; kind < K_COUNT; ++kind) {
        PDataReader r(data);
        while (checkedRead(r, data, kind, true)) {
        }
    }
    // Kinds mixed at arbitrary positions, chosen by the data itself (the loop
    // is empty for empty data).
    PDataReader mixed(data);
    for (unsigned long step = 0; step < 2 * data.size(); ++step)
        checkedRead(mixed, data, data[step % data.size()] % K_COUNT, false);
    // Positions past the end fail without wrapping around.
    PDataReader beyond(data);
    for (unsigned long offset : {data.size(), data.size() + 1, ~0UL, ~0UL - 4}) {
        for (int kind = 0; kind < K_COUNT; ++kind) {
            beyond.setOffset(offset);
            require(readOne(beyond, kind, false) == PDATA_ERR_SHORT && beyond.getOffset() == offset);
        }
    }
}

locale_t gUtf8 = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    gUtf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    require(gUtf8 != nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const Bytes data(bytes, bytes + size);
    uselocale(LC_GLOBAL_LOCALE);
    fuzzOnce(data);
    uselocale(gUtf8);
    fuzzOnce(data);
    uselocale(LC_GLOBAL_LOCALE);
    return 0;
}
