#include <cstdio>
#include <vector>

#include <qrixPortingLayer.h>

#include "tour.h"

namespace {

PTargetInfo makeTarget(const wchar_t* id, unsigned int number, const wchar_t* host, const wchar_t* port)
{
    PTargetInfo info;
    info.iTargetID.iIdText = id;
    info.iTargetID.iIdNumber = number;
    info.iAddress.iFirst = host;
    info.iAddress.iSecond = port;
    return info;
}

// An empty PString holds no buffer at all.
const wchar_t* text(const PString& s)
{
    return s.ptr() ? s.ptr() : L"";
}

void printTargets(const std::vector<PTargetInfo>& targets)
{
    for (const PTargetInfo& t : targets) {
        std::printf("  target '%ls' #%u at '%ls' '%ls'\n", text(t.iTargetID.iIdText), t.iTargetID.iIdNumber,
                    text(t.iAddress.iFirst), text(t.iAddress.iSecond));
    }
}

} // namespace

void tourBinary()
{
    const std::vector<PTargetInfo> targets{makeTarget(L"render", 1, L"10.0.0.7", L"5800"),
                                           makeTarget(L"archive", 258, L"localhost", L"")};
    std::vector<unsigned char> wire;
    PDataWriter writer(wire);
    PDataFormaterUtils utils;
    int res = utils.writePTargetInfoArray(writer, targets);
    std::printf("encoded %zu targets into %zu bytes (result %d)\n", targets.size(), wire.size(), res);

    PString hex;
    if (PUtils::binaryToStr(wire.data(), wire.size(), hex) == PRES_OK)
        std::printf("  %ls\n", hex.ptr());

    std::vector<PTargetInfo> decoded;
    PDataReader reader(wire);
    res = utils.readPTargetInfoArray(reader, decoded);
    std::printf("decoded %zu targets from %lu bytes (result %d)\n", decoded.size(), reader.getOffset(), res);
    printTargets(decoded);

    // One byte short: the records read before the cut are kept.
    wire.pop_back();
    decoded.clear();
    PDataReader shortReader(wire);
    res = utils.readPTargetInfoArray(shortReader, decoded);
    std::printf("with the last byte cut: %zu target(s), result %d\n", decoded.size(), res);
}
