// What the library must never leave behind: a half-replaced file after a
// crash, a descriptor in a child or after a close, a zombie after a promised
// collection. And the child's argument vector, token for token the tokenizer's.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

#include "qrixPProcessArgs.h"
#include "testSupport.h"

namespace {

// What the child was given before: repeated getNextToken, each token narrowed.
std::vector<std::string> tokenizerArgs(const PString& line)
{
    std::vector<std::string> args;
    PString rest(line), token;
    while (PLiteral::getNextToken(rest, token, L' ') == PRES_OK) {
        PPtr<char> narrow(token.ascii(), PTR_ARRAY);
        args.push_back(narrow.getPtr() ? narrow.getPtr() : "");
    }
    return args;
}

std::vector<std::string> vectorArgs(const PString& line)
{
    qrix::detail::ArgumentVector argv;
    EXPECT_EQ(argv.build(L"/bin/prog", line), PRES_OK);
    EXPECT_STREQ(argv.file(), "/bin/prog");
    EXPECT_EQ(argv.argv()[argv.count()], nullptr);
    return std::vector<std::string>(argv.argv() + 1, argv.argv() + argv.count());
}

} // namespace

TEST(ArgumentVector, SplitsAndConvertsAsTheTokenizerDoes)
{
    const PString lines[] = {
        PString(L""), PString(L" "), PString(L"   "), PString(L"\t\r\n"), PString(L"a"), PString(L"a b"),
        PString(L" a"), PString(L"a "), PString(L"  a  b  "), PString(L"a\tb c\r\nd"), PString(L"x \t y\t"),
        PString(L" \ta\t \t"), PString(L"\xe9 \xfc\t\xdf"), PString(L"\t\xe9 \xe9\t"), PString(L"a\0b c", 5),
        PString(L"\ta\0 b ", 6), PString(L" \0", 2), PString(L"\xe9\0xyz a", 7), PString(L"\xd800 ok"),
    };
    std::mt19937 random(7);
    const wchar_t alphabet[] = {L' ', L' ', L'\t', L'\n', L'\r', L'a', L'b', L'\xe9', L'\0', L'\xd800'};
    for (const char* locale : {"C", "C.UTF-8"}) {
        ASSERT_TRUE(std::setlocale(LC_CTYPE, locale));
        for (const PString& line : lines)
            EXPECT_EQ(vectorArgs(line), tokenizerArgs(line)) << locale << " line " << &line - lines;
        for (int i = 0; i < 2000; ++i) {
            std::wstring text(random() % 24, L' ');
            for (wchar_t& c : text)
                c = alphabet[random() % (sizeof(alphabet) / sizeof(alphabet[0]))];
            PString line(text.data(), text.size());
            ASSERT_EQ(vectorArgs(line), tokenizerArgs(line)) << locale << " line " << i;
        }
    }
    std::setlocale(LC_CTYPE, "C");
}
