// The /proc parsers on literal texts: what the process queries make of the
// files the kernel writes, including the quirks of reading them in pieces.
#include <climits>
#include <string>

#include "qrixProcFs.h"
#include "testSupport.h"

using namespace qrix::detail;
using namespace std::string_literals;

TEST(ProcText, StatFieldsAreReadAfterTheLastParenthesis)
{
    const std::string fields = " 45 1 1 0 -1 4194560 0 0 0 0 0 0 0 0 20 -5 1 0 500 9 9";
    struct Row { const char* why; std::string text; char state; } rows[] = {
        {"plain", "12 (sleep) S" + fields, 'S'},
        {"blanks and ')' in the name", "12 (a) (b) R" + fields, 'R'},
        {"fields faked inside the name", "12 (x) S 1 2) Z" + fields, 'Z'},
        {"no ')'", "12 sleep S" + fields, 0},
        {"start time missing", "12 (sleep) S 45 1 1 0 -1 4194560 0 0 0 0 0 0 0 0 20 -5 1 0", 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.why);
        ProcRecord r{};
        ASSERT_EQ(row.state != 0, parseStat(row.text.c_str(), 100, r));
        EXPECT_TRUE(row.state == 0 || (r.pid == 12 && r.state == row.state && r.ppid == 45 && r.flags == 4194560u &&
                                        r.priority == 20 && r.nice == -5 && r.startSeconds == 5));
    }
    ProcRecord r{};
    EXPECT_TRUE(parseStat(("1 (x) S" + fields).c_str(), 0, r) && r.startSeconds == 0); // no clock rate known
}

TEST(ProcText, StatusFieldsAreTheFirstOfEachLabelInPiecesOf255Bytes)
{
    // A missing name reads "-", a missing number -1.
    struct Row { const char* why; std::string text; const wchar_t* name; int pid; int ppid; } rows[] = {
        {"plain", "Name:\tbash\nUmask:\t0022\nPid:\t5\nPPid:\t1\nTracerPid:\t0\n", L"bash", 5, 1},
        {"blanks and ')' in the name, trimmed", "Name:\t a) (b \t\nPid:\t9\nPPid:\t3\n", L"a) (b", 9, 3},
        {"labels count at a line start only", "TracerPid:\t7\nXName:\tno\nPid:\t9\nPPid:\t3\nName:\tyes\n", L"yes", 9, 3},
        {"the first of two wins", "Name:\tone\nName:\ttwo\nPid:\t1\nPid:\t2\nPPid:\t0\n", L"one", 1, 0},
        {"fields missing", "Name:\tx\nPid:\n", L"x", -1, -1},
        {"empty", "", L"-", -1, -1},
        {"a long line's rest starts a piece", "Groups:" + std::string(248, 'x') + "Name:\tcut\n", L"cut", -1, -1},
        {"a number cut at the piece end", "Pid:" + std::string(250, ' ') + "12\nPPid:\t1\n", L"-", 1, 1},
        {"a number past the piece end", "Pid:" + std::string(251, ' ') + "12\nPPid:\t1\n", L"-", -1, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.why);
        StatusFields f;
        parseStatus(row.text, f);
        EXPECT_EQ(std::wstring(row.name), f.hasName ? wideText(f.name) : L"-");
        EXPECT_EQ(row.pid, f.hasPid ? (int)f.pid : -1);
        EXPECT_EQ(row.ppid, f.hasPPid ? (int)f.ppid : -1);
    }
}

TEST(ProcText, CmdLineIsJoinedWithBlanksAndQuotesPiecesThatHoldOne)
{
    const std::string p300(300, 'p'); // longer than a 255-byte chunk
    struct Row { const char* why; std::string raw; std::string joined; std::string program; } rows[] = {
        {"plain", "/bin/sleep\0" "60\0"s, "/bin/sleep 60", "sleep"},
        {"a blank inside", "/a b/prog\0x\0b c\0"s, "\"/a b/prog\" x \"b c\"", "prog"},
        {"an empty argument", "prog\0\0x\0"s, "prog  x", "prog"},
        {"no final NUL", "prog\0x"s, "prog x", "prog"},
        {"empty", "", "", ""},
        {"a piece across the chunks stays whole", p300 + "\0y\0"s, p300 + " y", p300.substr(0, 255)},
        {"the program comes from the first 255 bytes", "/x/" + p300 + "/tail", "/x/" + p300 + "/tail", p300.substr(0, 252)},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.why);
        EXPECT_EQ(row.joined, joinCmdLine(row.raw));
        EXPECT_EQ(row.program, cmdLineProgram(row.raw));
    }
}

TEST(ProcText, CpuLineIsReadFromBlocksOf2048Bytes)
{
    // The line "cpu1 5 6 7 89", starting `at` bytes into the text.
    auto placed = [](size_t at) { return std::string(at - 1, 'x') + "\ncpu1 5 6 7 89\n"; };
    struct Row { const char* why; std::string text; CpuRead result; long long idle; } rows[] = {
        {"plain", "cpu  10 20 30 40\ncpu0 1 2 3 4 5\ncpu1 5 6 7 8\n", CpuRead::OK, 8},
        {"fewer than four numbers", "cpu1 5 6 7\n", CpuRead::TOO_FEW, 0},
        {"a short line reads on into the next", "cpu1 5 6 7\n8 9\n", CpuRead::OK, 8},
        {"no blank after the label", "intr cpu1", CpuRead::TOO_FEW, 0},
        {"no such cpu", "cpu  1 2 3 4\ncpu0 1 2 3 4\n", CpuRead::NO_LABEL, 0},
        {"label across two blocks", placed(2046), CpuRead::NO_LABEL, 0},
        {"numbers cut at the block end", placed(2037), CpuRead::TOO_FEW, 0},
        {"a number cut at the block end", placed(2036), CpuRead::OK, 8},
        {"label in the second block", placed(2058), CpuRead::OK, 89},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.why);
        long long values[4] = {-1, -1, -1, -1};
        EXPECT_EQ(row.result, parseCpuLine(row.text, "cpu1", values));
        EXPECT_EQ(row.idle, row.result == CpuRead::OK ? values[3] : 0);
    }
}

TEST(ProcText, BusyPercentIsSinglePrecisionAndTruncated)
{
    struct Row { long long before[4]; long long after[4]; unsigned int percent; } rows[] = {
        {{0, 0, 0, 0}, {30, 10, 10, 50}, 50}, {{100, 100, 100, 100}, {200, 100, 100, 100}, 100},
        {{0, 0, 0, 0}, {1, 0, 5, 0}, 99}, // 100 in exact arithmetic
        {{0, 0, 0, 0}, {97, 0, 0, 97}, 49}, {{0, 0, 0, 0}, {1, 2, 3, 1}, 85},
        {{5, 5, 5, 5}, {5, 5, 5, 5}, 0},   // no ticks: the total is raised to 1
        {{0, 0, 0, 10}, {5, 0, 0, 5}, 500}, // idle went back: a total of 0 is raised too, and one of -9
        {{0, 0, 0, 10}, {1, 0, 0, 0}, 100},
        {{10, 0, 0, 0}, {0, 0, 0, 100}, 0}, // a counter that went back
        {{0, 0, 0, 0}, {1000000000000, 0, 0, -999999999999}, UINT_MAX},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.percent, cpuBusyPercent(row.before, row.after)) << row.after[0] << " " << row.after[3];
}

TEST(ProcText, ProcessEntriesAreDirectoriesNamedByADigitThatFitThePathBuffer)
{
    const std::string longest(111, '1'); // "/proc/" + it + "/cmdline" fills 127 bytes
    struct Row { std::string name; bool isDirectory; bool entry; } rows[] = {
        {"123", true, true}, {"123", false, false}, {"self", true, false},
        {"", true, false},   {longest, true, true}, {longest + "1", true, false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.entry, isProcessEntry(row.name.c_str(), row.isDirectory)) << row.name << row.isDirectory;
}
