#include <qrixPortingLayer.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tour.h"

namespace {

PString wide(const std::string& s)
{
    return PString(s.c_str());
}

void writeConfig(const PLiteral& path, const wchar_t* const* lines)
{
    PFile config;
    // Readers see the old file until pclose renames the new one over it.
    if (config.popen(path, PFILE_WRITE_RENAME, 0) != PRES_OK)
        return;
    for (; *lines; ++lines)
        config.pwriteLine(*lines);
    config.pclose();
}

void printFile(const PLiteral& path)
{
    PFile file;
    if (file.popen(path, PFILE_READ, 1) != PRES_OK)
        return;
    PString line;
    while (file.preadLine(line) == PRES_OK)
        std::printf("  | %ls\n", line.ptr() ? line.ptr() : L"");
}

} // namespace

void tourFiles()
{
    char pattern[] = "/tmp/qrix-tour-XXXXXX";
    if (!mkdtemp(pattern)) {
        std::printf("no scratch directory under /tmp\n");
        return;
    }
    std::string dir = pattern;
    std::fflush(stdout);

    PString config = wide(dir + "/app.cfg");
    const wchar_t* first[] = {L"port=8080", L"mode=fast", nullptr};
    const wchar_t* second[] = {L"port=9090", L"mode=safe", L"retries=3", nullptr};
    writeConfig(config, first);
    writeConfig(config, second);
    std::printf("config after two atomic replacements:\n");
    printFile(config);

    PFile other;
    other.popen(wide(dir + "/notes.txt"), PFILE_WRITE | PFILE_CREATE, 1);
    other.pclose();
    std::printf("entries of %s matching '*.cfg':\n", dir.c_str());
    PDir listing(wide(dir), L"*.cfg");
    for (listing.preaddir(); listing == PRES_OK; ++listing)
        std::printf("  %ls\n", listing.getEntry().ptr());
    listing.pclose();

    PTempFile temp;
    PString tempName;
    if (temp.popen(wide(dir + "/job-"), PFILE_WRITE | PFILE_CREATE, 0) == PRES_OK) {
        temp.pgetName(tempName);
        temp.pwriteLine(L"scratch");
        temp.pclose();
        std::printf("temporary file %ls (kept after close: %s)\n", tempName.ptr(),
                    PFile::exists(tempName) ? "yes" : "no");
    }

    std::fflush(stdout);
    PString address;
    int res = PUtils::getHostAddress(address);
    std::printf("host address: %ls (res %d)\n", res == PRES_OK ? address.ptr() : L"-", res);

    std::fflush(stdout);
    PFile::removeAll(wide(dir));
}
