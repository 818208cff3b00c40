// 10k target records written and read back, against the same wire format
// done by hand with the same multibyte conversions.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>
#include <qrixPortingLayer.h>

#include "benchSupport.h"

namespace {

using Bytes = std::vector<unsigned char>;

const unsigned int RECORDS = 10000;
// Two tag bytes and a count per string, three strings, a tagged number.
const unsigned long MIN_RECORD_BYTES = 3 * 6 + 5;

const std::vector<PTargetInfo>& records()
{
    static std::vector<PTargetInfo> list = [] {
        std::vector<PTargetInfo> made(RECORDS);
        wchar_t text[64];
        for (unsigned int i = 0; i < RECORDS; ++i) {
            std::swprintf(text, 64, L"target-%05u.example.net", i);
            made[i].iTargetID.iIdText = text;
            made[i].iTargetID.iIdNumber = i * 2654435761u;
            std::swprintf(text, 64, L"10.%u.%u.%u", i >> 16, (i >> 8) & 255, i & 255);
            made[i].iAddress.iFirst = text;
            std::swprintf(text, 64, L"port %u", 1024 + i % 50000);
            made[i].iAddress.iSecond = text;
        }
        return made;
    }();
    return list;
}

// ---- by hand -------------------------------------------------------------

void putDword(Bytes& out, unsigned char tag, unsigned int v, bool tagged)
{
    unsigned char item[5] = {tag, (unsigned char)(v >> 24), (unsigned char)(v >> 16), (unsigned char)(v >> 8),
                             (unsigned char)v};
    out.insert(out.end(), item + (tagged ? 0 : 1), item + 5);
}

bool putString(Bytes& out, const PString& s, std::vector<char>& narrow)
{
    size_t n = 0;
    if (s.len() > 0) {
        narrow.resize(s.len() + 1);
        n = std::wcstombs(narrow.data(), s.ptr(), s.len());
        if (n == 0 || n == (size_t)-1)
            return false;
    }
    out.push_back(0x09);
    putDword(out, 0x85, (unsigned int)n, true);
    out.insert(out.end(), narrow.data(), narrow.data() + n);
    return true;
}

bool writeByHand(Bytes& out, const std::vector<PTargetInfo>& list)
{
    std::vector<char> narrow;
    putDword(out, 0x07, (unsigned int)list.size(), true);
    for (const PTargetInfo& info : list) {
        if (!putString(out, info.iTargetID.iIdText, narrow))
            return false;
        putDword(out, 0x07, info.iTargetID.iIdNumber, true);
        if (!putString(out, info.iAddress.iFirst, narrow) || !putString(out, info.iAddress.iSecond, narrow))
            return false;
    }
    return true;
}

struct HandReader {
    const Bytes& data;
    unsigned long pos;
    std::vector<char> narrow;
    std::vector<wchar_t> wide;

    bool dword(unsigned char tag, unsigned int& v)
    {
        if (data.size() - pos < 5 || data[pos] != tag)
            return false;
        const unsigned char* p = &data[pos + 1];
        v = (unsigned int)p[0] << 24 | (unsigned int)p[1] << 16 | (unsigned int)p[2] << 8 | p[3];
        pos += 5;
        return true;
    }

    bool string(PString& s)
    {
        unsigned int n = 0;
        if (data.size() - pos < 1 || data[pos++] != 0x09 || !dword(0x85, n) || data.size() - pos < n)
            return false;
        if (n == 0) {
            s.clear();
            return true;
        }
        narrow.assign(&data[pos], &data[pos] + n);
        narrow.push_back('\0');
        pos += n;
        wide.resize((size_t)n + 1);
        size_t got = std::mbstowcs(wide.data(), narrow.data(), n);
        if (got == 0 || got == (size_t)-1)
            return false;
        return s.set(wide.data(), got) == PRES_OK;
    }
};

bool readByHand(const Bytes& data, std::vector<PTargetInfo>& list)
{
    HandReader r{data, 0, {}, {}};
    unsigned int count = 0;
    if (!r.dword(0x07, count))
        return false;
    unsigned long fits = (data.size() - r.pos) / MIN_RECORD_BYTES;
    list.reserve(list.size() + (count < fits ? count : fits));
    for (unsigned int i = 0; i < count; ++i) {
        list.emplace_back();
        PTargetInfo& info = list.back();
        if (!r.string(info.iTargetID.iIdText) || !r.dword(0x07, info.iTargetID.iIdNumber) ||
            !r.string(info.iAddress.iFirst) || !r.string(info.iAddress.iSecond)) {
            list.pop_back();
            return false;
        }
    }
    return true;
}

// ---- the rows ----------------------------------------------------------

bool sameRecords(const std::vector<PTargetInfo>& a, const std::vector<PTargetInfo>& b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i].iTargetID.iIdText != b[i].iTargetID.iIdText ||
            a[i].iTargetID.iIdNumber != b[i].iTargetID.iIdNumber || a[i].iAddress.iFirst != b[i].iAddress.iFirst ||
            a[i].iAddress.iSecond != b[i].iAddress.iSecond)
            return false;
    }
    return true;
}

bool roundTripLibrary(std::vector<PTargetInfo>& back)
{
    Bytes data;
    PDataWriter w(data);
    PDataReader r(data);
    PDataFormaterUtils utils;
    return utils.writePTargetInfoArray(w, records()) == PRES_OK && utils.readPTargetInfoArray(r, back) == PRES_OK;
}

bool roundTripByHand(std::vector<PTargetInfo>& back)
{
    Bytes data;
    return writeByHand(data, records()) && readByHand(data, back);
}

// Both sides must give the same bytes and the same records before either is timed.
void checkRecords()
{
    Bytes mine, theirs;
    PDataWriter w(mine);
    PDataFormaterUtils utils;
    if (utils.writePTargetInfoArray(w, records()) != PRES_OK || !writeByHand(theirs, records()) || mine != theirs)
        benchFail("records", "the library and the reference wrote different bytes");
    std::vector<PTargetInfo> a, b;
    if (!roundTripLibrary(a) || !roundTripByHand(b) || !sameRecords(a, records()) || !sameRecords(b, records()))
        benchFail("records", "a side did not read the records back");
}

void recordsLibrary(benchmark::State& state)
{
    checkRecords();
    for (auto _ : state) {
        std::vector<PTargetInfo> back;
        if (!roundTripLibrary(back))
            benchFail("records/library", "round trip failed");
        benchmark::DoNotOptimize(back.data());
    }
    state.SetItemsProcessed(state.iterations() * RECORDS);
}

void recordsReference(benchmark::State& state)
{
    checkRecords();
    for (auto _ : state) {
        std::vector<PTargetInfo> back;
        if (!roundTripByHand(back))
            benchFail("records/reference", "round trip failed");
        benchmark::DoNotOptimize(back.data());
    }
    state.SetItemsProcessed(state.iterations() * RECORDS);
}

} // namespace

BENCHMARK(recordsLibrary)->Name("records/library")->Unit(benchmark::kMillisecond);
BENCHMARK(recordsReference)->Name("records/reference")->Unit(benchmark::kMillisecond);
