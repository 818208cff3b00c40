#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "qrixPFile.h"
#include "qrixPTime.h"
#include "testSupport.h"

namespace {

// Reaches the descriptor and the state, which the tests inspect or break.
class ProbedFile : public PFile {
public:
    int fd() const { return fHandle; }
    long long position() const { return lseek(fHandle, 0, SEEK_CUR); }
    PString& target() { return fName; }
    PString& temporary() { return fTempName; }
};

} // namespace

TEST(PFile, OpenModesReachTheSystemAsDesigned)
{
    TempDir dir;
    std::string path = dir.file("f.txt"), created = dir.file("new");
    struct Case { unsigned int mode, noLock; int res, flags; const char* after; };
    const Case cases[] = {
        {0, 1, PRES_OK, O_RDONLY, "old"}, {PFILE_READ, 1, PRES_OK, O_RDONLY, "old"},
        {PFILE_WRITE, 1, PRES_OK, O_WRONLY, "old"}, {PFILE_READ | PFILE_WRITE, 1, PRES_OK, O_RDWR, "old"},
        {PFILE_WRITE | PFILE_APPEND, 1, PRES_OK, O_WRONLY | O_APPEND, "old"},
        {PFILE_WRITE | PFILE_TRUNCATE, 1, PRES_OK, O_WRONLY, ""},
        {PFILE_CREATE | PFILE_TRUNCATE, 1, PRES_OK, O_RDONLY, ""}, // creating skips the write check
        {PFILE_TRUNCATE, 1, PRES_INVALID_ARG, 0, "old"}, {PFILE_READ | PFILE_TRUNCATE, 1, PRES_INVALID_ARG, 0, "old"},
        {PFILE_WRITE_RENAME | PFILE_READ, 0, PRES_INVALID_ARG, 0, "old"}, {PFILE_WRITE_RENAME, 1, PRES_INVALID_ARG, 0, "old"},
    };
    for (const Case& c : cases) {
        writeFile(path, "old");
        ProbedFile f;
        ASSERT_EQ(f.popen(widen(path), c.mode, c.noLock), c.res) << c.mode;
        EXPECT_TRUE(c.res != PRES_OK || ((fcntl(f.fd(), F_GETFL) & (O_ACCMODE | O_APPEND)) == c.flags &&
                                         (fcntl(f.fd(), F_GETFD) & FD_CLOEXEC))) << c.mode;
        EXPECT_EQ(readFile(path), c.after) << c.mode;
    }
    // A missing file fails silently unless created, with 0644 before the umask.
    ProbedFile f;
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(f.popen(widen(created), PFILE_READ, 1), PFILE_ERR_NOT_FOUND); }), "");
    mode_t mask = umask(0);
    ASSERT_EQ(f.popen(widen(dir.path() + "\\new"), PFILE_WRITE | PFILE_CREATE, 1), PRES_OK);
    umask(mask);
    struct stat info;
    EXPECT_TRUE(stat(created.c_str(), &info) == 0 && (info.st_mode & 0777) == 0644);
    // The first open stays; an empty path is refused before that is looked at.
    EXPECT_TRUE(f.popen(widen(path), PFILE_READ, 1) == PFILE_ERR_ALREADY_OPEN && f.popen(L"", PFILE_READ, 1) == PRES_INVALID_ARG);
    PString name;
    EXPECT_TRUE(f.pgetName(name) == PRES_OK && name == widen(created));
}

// Each failing system call reports and maps to its code; the closed object
// refuses everything.
TEST(PFile, FailuresOfTheOpenFileOperations)
{
    TempDir dir;
    std::string path = dir.file("f"), fifo = dir.file("fifo");
    writeFile(path, "abc");
    ProbedFile f;
    char buf[8] = {};
    unsigned long count = 99;
    long long size = -1;
    PString name, line;
    const int closed[] = {f.pread(buf, 8, count), f.pwrite(buf, 1, count), f.pwriteLine(L"x"), f.pseek(0, SEEK_SET),
                          f.pgetSize(size), f.pflush(), f.pgetName(name), f.pclose()};
    for (int res : closed)
        EXPECT_EQ(res, PFILE_ERR_NOT_OPEN);
    // The argument check comes before the open check.
    EXPECT_TRUE(f.pread(nullptr, 8, count) == PRES_INVALID_ARG && f.pread(buf, 0, count) == PRES_INVALID_ARG && count == 99);

    CapturedStderr err;
    EXPECT_TRUE(f.popen(widen(dir.path()), PFILE_WRITE, 1) == PFILE_ERR_OPEN &&
                f.popen(kUnconvertible, PFILE_READ, 1) == PFILE_ERR_OPEN && !f.isOpen());
    ASSERT_EQ(f.popen(widen(path), PFILE_READ, 0), PRES_OK);
    EXPECT_TRUE(f.pgetSize(size) == PRES_OK && size == 3);
    EXPECT_TRUE(f.pread(buf, 2, count) == PRES_OK && count == 2 && std::string(buf, 2) == "ab");
    EXPECT_TRUE(f.pseek(0, SEEK_END) == PRES_OK && f.pread(buf, 8, count) == PFILE_ERR_EOF && count == 2);
    EXPECT_TRUE(f.pseek(-2, SEEK_CUR) == PRES_OK && f.pseek(1, SEEK_CUR) == PRES_OK && f.position() == 2);
    EXPECT_TRUE(f.pseek(0, SEEK_SET) == PRES_OK && f.position() == 0 && f.pseek(-1, SEEK_SET) == PFILE_ERR_SEEK);
    EXPECT_TRUE(f.pwrite("x", 1, count) == PRES_WRITE && f.pflush() == PRES_OK && f.pclose() == PRES_OK);
    ASSERT_EQ(f.popen(widen(path), PFILE_WRITE, 0), PRES_OK);
    EXPECT_TRUE(f.pwrite("x", 0, count) == PFILE_ERR_EOF && f.pclose() == PRES_OK);
    ASSERT_EQ(f.popen(widen(dir.path()), PFILE_READ, 1), PRES_OK);
    EXPECT_TRUE(f.pread(buf, 8, count) == PRES_READ && f.pclose() == PRES_OK);

    // A pipe cannot be synced or sought: pflush still succeeds, and a line
    // read loses what followed its end in the chunk.
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    int keep = open(fifo.c_str(), O_RDWR); // no open of the pipe may wait for a partner
    ASSERT_TRUE(f.popen(widen(fifo), PFILE_READ | PFILE_WRITE, 0) == PRES_OK && f.pflush() == PRES_OK);
    EXPECT_TRUE(f.pwrite("a\nlost\n", 7, count) == PRES_OK && f.preadLine(line) == PRES_OK && line == L"a");
    EXPECT_TRUE(f.pwrite("c\n", 2, count) == PRES_OK && f.preadLine(line) == PRES_OK && line == L"c");
    close(keep);
    EXPECT_EQ(err.text(), "\n\n[DBGONLY][PFile::popen] Failed to open('" + dir.path() + "') errno: 21 Is a directory\n\n"
                          "\n\n[DBGONLY][PFile::popen] Failed to open('<null>') errno: 14 Bad address\n\n"
                          "\n\n[DBGONLY][PFile::pseek] Failed to seek errno: 22 Invalid argument\n\n"
                          "\n\n[DBGONLY][PFile::pwrite] Failed to write errno: 9 Bad file descriptor\n\n"
                          "\n\n[DBGONLY][PFile::pread] Failed to read errno: 21 Is a directory\n\n"
                          "\n\n[DBGONLY][PFile::popen] Failed to flush errno: 22 Invalid argument\n\n"
                          "\n\n[DBGONLY][PFile::pseek] Failed to seek errno: 29 Illegal seek\n\n");
}

TEST(PFile, WriteRenameReplacesAtCloseOrLeavesTheTemporary)
{
    TempDir dir;
    std::string path = dir.file("f.txt"), temp = path + ".qrix_temp-" + std::to_string(getpid()) + "-", busy = dir.file("busy");
    writeFile(path, "old");
    mkdir(busy.c_str(), 0700);
    writeFile(busy + "/x", "");
    ProbedFile f;
    long long before = PTime::getTickCount();
    ASSERT_TRUE(f.popen(widen(dir.path() + "\\f.txt"), PFILE_WRITE_RENAME, 0) == PRES_OK && f.pwriteLine(L"new") == PRES_OK);
    long long after = PTime::getTickCount();
    // The temporary name ends in the tick count at the open; while open the
    // target is untouched and the object answers with its name.
    std::string open = narrowed(f.temporary());
    long long ticks = open.size() > temp.size() ? std::atoll(open.c_str() + temp.size()) : -1;
    EXPECT_TRUE(open.compare(0, temp.size(), temp) == 0 && before <= ticks && ticks <= after &&
                open.find_first_not_of("0123456789", temp.size()) == std::string::npos) << open;
    PString name;
    EXPECT_TRUE(f.pgetName(name) == PRES_OK && name == widen(path) && readFile(path) == "old" && pathExists(open));
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(f.pclose(), PRES_OK); }),
              "pclose: File successfully renamed (`" + open + "' -> `" + path + "')\n");
    EXPECT_TRUE(readFile(path) == "new\n" && !pathExists(open));

    // A target the rename cannot replace keeps the temporary file.
    ASSERT_EQ(f.popen(widen(busy), PFILE_WRITE_RENAME, 0), PRES_OK);
    open = narrowed(f.temporary());
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(f.pclose(), PRES_FAILED); }),
              "rename: rename(`" + open + "', `" + busy + "') failed, errno=21\npclose: Error renaming the file, res=-511\n");
    EXPECT_TRUE(pathExists(open) && !f.isOpen());

    std::string text = stderrOf([&] { EXPECT_EQ(f.popen(widen(dir.file("no/f")), PFILE_WRITE_RENAME, 0), PFILE_ERR_NOT_FOUND); });
    EXPECT_TRUE(text.rfind("popen: Error opening temporary file `" + dir.file("no/f.qrix_temp-"), 0) == 0 &&
                text.compare(text.size() - 12, 12, "', res=-620\n") == 0) << text;

    // A write-rename object that lost one of its names refuses to rename.
    const char* missing[] = {"name", "temp name"};
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(f.popen(widen(path), PFILE_WRITE_RENAME, 0), PRES_OK);
        (i == 0 ? f.target() : f.temporary()).clear();
        EXPECT_EQ(stderrOf([&] { EXPECT_EQ(f.pclose(), PFILE_ERR_NOT_OPEN); }),
                  std::string("pclose: Invalid state, no ") + missing[i] + " for PFILE_WRITE_RENAME\n");
    }
    EXPECT_EQ(readFile(path), "new\n");

    // Two replacements opened within one millisecond share the temporary
    // name: its lock refuses the second.
    PFile second;
    bool refused = false;
    for (int tries = 0; tries < 100 && !refused; ++tries) {
        ASSERT_EQ(f.popen(widen(path), PFILE_WRITE_RENAME, 0), PRES_OK);
        stderrOf([&] {
            refused = second.popen(widen(path), PFILE_WRITE_RENAME, 0) == PFILE_ERR_LOCK;
            f.pclose(), second.pclose();
        });
    }
    EXPECT_TRUE(refused);
}

TEST(PFile, StaticPathOperations)
{
    TempDir dir;
    std::string file = dir.file("f"), sub = dir.file("d"), fifo = dir.file("p");
    writeFile(file, "x");
    mkdir(sub.c_str(), 0700);
    writeFile(sub + "/inner", "");
    mkfifo(fifo.c_str(), 0600);
    symlink(file.c_str(), dir.file("link").c_str());
    symlink(dir.file("nowhere").c_str(), dir.file("dangling").c_str());
    symlink(dir.file("loop").c_str(), dir.file("loop").c_str());
    PString f = widen(file), d = widen(sub), missing = widen(dir.file("missing"));

    struct RenameCase { PString from, to; int res; };
    const RenameCase renames[] = {
        {L"", f, PRES_INVALID_ARG}, {f, L"", PRES_INVALID_ARG},
        {missing, f, PRES_NOT_FOUND}, {f, widen(dir.file("no/dir/g")), PRES_NOT_FOUND},
        {f, d, PRES_REFUSED}, {d, widen(sub + "/inner/x"), PRES_REFUSED},
        {f, widen(dir.file(std::string(300, 'n'))), PRES_PATH_ERROR}, {widen(dir.file("loop/x")), f, PRES_PATH_ERROR},
        {kUnconvertible, f, PRES_FAILED},
        {widen(dir.path() + "\\f"), widen(dir.path() + "\\g"), PRES_OK}, {widen(dir.file("g")), f, PRES_OK},
    };
    std::string text = stderrOf([&] {
        for (const RenameCase& c : renames)
            EXPECT_EQ(PFile::rename(c.from, c.to), c.res) << narrowed(c.from) << " -> " << narrowed(c.to);
    });
    EXPECT_EQ(countOccurrences(text, "rename: rename(`"), 7);
    EXPECT_NE(text.find("rename: rename(`<null>', `" + file + "') failed, errno=14\n"), std::string::npos) << text;

    // Whatever cannot be examined passes every type check.
    struct CheckCase { std::string path; bool file, dir, special; };
    const CheckCase checks[] = {{file, true, false, false}, {sub, false, true, false}, {"/dev/null", false, false, true},
                                {fifo, false, false, true}, {dir.file("link"), true, false, false},
                                {dir.file("missing"), true, true, true}};
    for (const CheckCase& c : checks) {
        PString p = widen(c.path);
        stderrOf([&] {
            EXPECT_TRUE(PFile::check(p, PFILE_ATTR_FILE) == c.file && PFile::check(p, PFILE_ATTR_DIR) == c.dir &&
                        PFile::check(p, PFILE_ATTR_SPECIAL) == c.special) << c.path;
        });
    }
    text = stderrOf([&] {
        EXPECT_FALSE(PFile::check(missing, 3) || PFile::check(L"", -1) || PFile::check(L"", PFILE_ATTR_FILE));
        EXPECT_TRUE(PFile::check(missing, PFILE_ATTR_DIR));
        EXPECT_FALSE(PFile::exists(L"") || PFile::exists(widen(dir.file("dangling"))) || PFile::exists(missing));
        EXPECT_TRUE(PFile::exists(widen(dir.path() + "\\f")));
    });
    EXPECT_EQ(text, "[check] iAttrib is invalid [3]\n[check] iAttrib is invalid [-1]\n[check] iPath is empty\n"
                    "check: stat('" + dir.file("missing") + "') failed, errno=2\n[exists] iPath is empty\n");

    text = stderrOf([&] {
        const std::pair<PString, int> deletes[] = {{L"", PRES_INVALID_ARG}, {missing, PFILE_ERR_NOT_FOUND},
                                                   {d, PFILE_ERR_DELETE}, {kUnconvertible, PFILE_ERR_DELETE},
                                                   {widen(dir.path() + "\\f"), PRES_OK}};
        for (const auto& c : deletes)
            EXPECT_EQ(PFile::pdelete(c.first), c.second) << narrowed(c.first);
    });
    EXPECT_EQ(text, "\n\n[DBGONLY][PFile::pdelete] Failed to delete errno: 21 Is a directory\n\n"
                    "\n\n[DBGONLY][PFile::pdelete] Failed to delete errno: 14 Bad address\n\n");
    EXPECT_FALSE(pathExists(file));

    const wchar_t* names[][2] = {{L"/a/b/c.txt", L"c.txt"}, {L"c.txt", L"c.txt"}, {L"/a/b/", L""}, {L"/x", L"x"}};
    for (const auto& c : names) {
        PString path(c[0]);
        PFile::getFileName(path);
        EXPECT_TRUE(path == c[1]) << narrowed(PString(c[0]));
    }
}

TEST(PFile, LockRefusesSecondHolderButKeepsItsDescriptor)
{
    TempDir dir;
    PString path = widen(dir.file("lock"));
    PFile first, second;
    ASSERT_EQ(first.popen(path, PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    // A write-rename object closed before must not look like one afterwards.
    stderrOf([&] { EXPECT_TRUE(second.popen(widen(dir.file("o")), PFILE_WRITE_RENAME, 0) == PRES_OK && second.pclose() == PRES_OK); });
    std::string refused = "[PL_DBG]<-1> [PFile::popen] File '" + dir.file("lock") + "' already locked (EWOULDBLOCK)\n";
    EXPECT_TRUE(printsFromLevel(-1, refused, [&] {
        EXPECT_EQ(second.popen(path, PFILE_READ), PFILE_ERR_LOCK); // locking is the default
        EXPECT_TRUE(second.isOpen() && second.popen(path, PFILE_READ, 0) == PFILE_ERR_ALREADY_OPEN);
        EXPECT_EQ(second.pclose(), PRES_OK);
    }));
    EXPECT_EQ(second.popen(path, PFILE_READ, 1), PRES_OK); // unlocked readers pass
}

TEST(PFile, LinesInAndOut)
{
    TempDir dir;
    std::string path = dir.file("lines");
    ProbedFile f;
    // Empty and unconvertible lines come out as a bare line end.
    ASSERT_EQ(f.popen(widen(path), PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    EXPECT_TRUE(f.pwriteLine(L"") == PRES_OK && f.pwriteLine(kUnconvertible) == PRES_OK && f.pwriteLine(L"a b") == PRES_OK);
    EXPECT_TRUE(f.pclose() == PRES_OK && readFile(path) == "\n\na b\n");

    writeFile(path, "a\r\nb\n\nc\rd\n" + std::string(300, 'x') + "\n\xe9z");
    ASSERT_EQ(f.popen(widen(path), PFILE_READ, 1), PRES_OK);
    struct Expected { std::wstring text; long long position; };
    const Expected lines[] = {{L"a", 3}, {L"b", 5}, {L"", 6}, {L"cd", 10},
                              {std::wstring(300, L'x'), 311}, {std::wstring(L"\xFFFFFFE9z"), 313}};
    PString line;
    for (const Expected& expected : lines) {
        ASSERT_EQ(f.preadLine(line), PRES_OK);
        EXPECT_TRUE(std::wstring(line.ptr() ? line.ptr() : L"", line.len()) == expected.text &&
                    f.position() == expected.position) << expected.position;
    }
    line = L"kept";
    EXPECT_TRUE(f.preadLine(line) == PFILE_ERR_EOF && line == L"kept");
}
