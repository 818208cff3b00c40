// File contents from the input, read back by lines and by blocks in an order
// the input chooses: CR, LF, NUL and bytes above 0x7F anywhere, lines across
// the line reader's 128-byte chunks. Every read is checked against a model of
// the documented behaviour, which also tracks the file position.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include <qrixPortingLayer.h>

#include "fuzzInput.h"

namespace {

std::string gPath;

void removeFile()
{
    unlink(gPath.c_str());
}

void writeContent(const uint8_t* data, size_t size)
{
    int fd = open(gPath.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    require(fd != -1);
    size_t done = 0;
    while (done < size) {
        ssize_t n = write(fd, data + done, size - done);
        require(n > 0);
        done += (size_t)n;
    }
    close(fd);
}

struct Model {
    std::string data;
    size_t pos = 0;

    // CR is dropped anywhere, LF ends the line, every other byte is one
    // character by sign extension; the text handed over ends at its first NUL.
    int readLine(std::wstring& line)
    {
        std::wstring text;
        bool ended = false;
        size_t p = pos;
        while (p < data.size() && !ended) {
            char c = data[p++];
            if (c == '\n')
                ended = true;
            else if (c != '\r')
                text.push_back((wchar_t)(signed char)c);
        }
        pos = p;
        if (!ended && text.empty())
            return PFILE_ERR_EOF;
        line = text.substr(0, text.find(L'\0'));
        return PRES_OK;
    }

    int read(std::string& block, unsigned long size)
    {
        if (pos >= data.size())
            return PFILE_ERR_EOF;
        block = data.substr(pos, size);
        pos += block.size();
        return PRES_OK;
    }
};

void checkLine(PFile& file, Model& model)
{
    PString line(L"before");
    std::wstring expected = L"before";
    int res = file.preadLine(line);
    require(res == model.readLine(expected));
    require(std::wstring(line.ptr() ? line.ptr() : L"", line.len()) == expected);
}

void checkRead(PFile& file, Model& model, unsigned long size)
{
    char buffer[512];
    unsigned long count = 7777;
    std::string expected;
    int res = file.pread(buffer, size, count);
    require(res == model.read(expected, size));
    if (res == PRES_OK)
        require(count == expected.size() && std::memcmp(buffer, expected.data(), count) == 0);
    else
        require(count == 7777);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const char* dir = std::getenv("TMPDIR");
    std::string path = std::string(dir && *dir ? dir : "/tmp") + "/qrix-fuzz-file-XXXXXX";
    int fd = mkstemp(&path[0]);
    require(fd != -1);
    close(fd);
    gPath = path;
    std::atexit(removeFile);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    writeContent(data, size);
    PFile file;
    require(file.popen(PString(gPath.c_str()), PFILE_READ, 0) == PRES_OK);
    Model model;
    model.data.assign((const char*)data, size);

    if (size == 0 || (data[0] & 3) == 0) {
        // Line by line to the end, as callers read text files.
        while (model.pos < size)
            checkLine(file, model);
        checkLine(file, model);
    } else {
        // Lines, blocks of 1 to 512 bytes and jumps, in the order the input says.
        FuzzInput script(data + 1, size - 1);
        while (!script.done()) {
            uint8_t op = script.byte();
            if (op < 0x80) {
                checkLine(file, model);
            } else if (op < 0xE0) {
                checkRead(file, model, (unsigned long)script.byte() * 2 + 1);
            } else {
                long long offset = (long long)((script.byte() << 8 | script.byte()) % (size + 3));
                require(file.pseek(offset, SEEK_SET) == PRES_OK);
                model.pos = (size_t)offset;
            }
        }
    }
    long long fileSize = -1;
    require(file.pgetSize(fileSize) == PRES_OK && fileSize == (long long)size);
    require(file.pclose() == PRES_OK);
    return 0;
}
