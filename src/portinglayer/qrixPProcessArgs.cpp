// PProcess: the child's argument vector, split and converted in one pass over
// the command line, token for token what the tokenizer and pwchar2pchar give.
#include "qrixPProcessArgs.h"

#include <cwchar>

#include "qrixText.h"

using qrix::detail::newArray;
using qrix::detail::sizeAdd;

namespace {

bool isBlank(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\n' || c == L'\r';
}

// Narrow conversion of the wide text at `text`: at most `chars` characters,
// stopping at a zero, within a limit of `limit` bytes.
struct Piece {
    const wchar_t* text;
    unsigned long chars;
    unsigned long limit;
};

// What PString::trim leaves of the token s[begin, end), and the byte limit
// pwchar2pchar then applies: the trimmed length. After leading blanks trim
// measures up to the first zero; without them the length counts past one.
Piece trimmed(const wchar_t* s, unsigned long begin, unsigned long end)
{
    unsigned long lead = begin;
    while (lead < end && isBlank(s[lead]))
        ++lead;
    unsigned long last = end;
    while (last > begin && isBlank(s[last - 1]))
        --last;
    if (lead == begin)
        return {s + begin, last - begin, last - begin};
    if (lead >= last)
        return {s + lead, 0, 0};
    unsigned long stop = lead;
    while (stop < last && s[stop] != L'\0')
        ++stop;
    return {s + lead, last - lead, stop - lead};
}

// The separator search stops at a zero character as wcschr does, and the rest
// of the line is then the last token; a separator at the very end adds none.
template <class Visit>
void forEachToken(const PLiteral& line, Visit visit)
{
    const wchar_t* s = line.ptr();
    unsigned long n = s ? line.len() : 0;
    unsigned long pos = 0;
    while (pos < n) {
        unsigned long q = pos;
        while (q < n && s[q] != L' ' && s[q] != L'\0')
            ++q;
        unsigned long end = (q < n && s[q] == L' ') ? q : n;
        visit(trimmed(s, pos, end));
        pos = end == n ? n : end + 1;
    }
}

// Writes the piece and its terminator into `out`, which has room for
// limit + 1 bytes. Nothing converted, or a character the locale cannot
// represent, leaves "" as a null from pwchar2pchar would.
void convert(const Piece& piece, char* out)
{
    out[0] = '\0';
    if (piece.limit == 0)
        return;
    const wchar_t* from = piece.text;
    std::mbstate_t state{};
    size_t written = wcsnrtombs(out, &from, piece.chars, piece.limit, &state);
    out[written == (size_t)-1 ? 0 : written] = '\0';
}

} // namespace

namespace qrix::detail {

int ArgumentVector::build(const PLiteral& program, const PLiteral& cmdLine)
{
    unsigned long programChars = program.ptr() ? std::wcslen(program.ptr()) : 0;
    const Piece first{program.ptr(), programChars, programChars};
    unsigned long count = 1;
    unsigned long bytes = sizeAdd(programChars, 1);
    forEachToken(cmdLine, [&](const Piece& piece) {
        ++count;
        bytes = sizeAdd(bytes, piece.limit, 1);
    });
    std::unique_ptr<char[]> text(newArray<char>(bytes));
    std::unique_ptr<char*[]> argv(newArray<char*>(sizeAdd(count, 1)));
    if (!text || !argv)
        return PRES_NO_MEMORY;

    char* out = text.get();
    unsigned long i = 0;
    auto place = [&](const Piece& piece) {
        convert(piece, out);
        argv[i++] = out;
        out += piece.limit + 1;
    };
    place(first);
    forEachToken(cmdLine, place);
    argv[i] = nullptr;

    fText = std::move(text);
    fArgv = std::move(argv);
    fCount = count;
    return PRES_OK;
}

} // namespace qrix::detail
