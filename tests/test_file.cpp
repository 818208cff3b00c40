#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include <gtest/gtest.h>

#include "qrixPFile.h"
#include "qrixPTime.h"
#include "testSupport.h"

namespace {

// Reaches the descriptor, which the tests inspect with the system's own calls.
class ProbedFile : public PFile {
public:
    int fd() const { return fHandle; }
    long long position() const { return lseek(fHandle, 0, SEEK_CUR); }
    void renameTargetTo(const PString& name) { fName = name; }
};

PString wide(const std::string& s) { return PString(s.c_str()); }

} // namespace

TEST(PFile, ModesNamesAndPathOperations)
{
    TempDir dir;
    std::string path = dir.file("f.txt");
    writeFile(path, "content");
    ProbedFile f;
    EXPECT_EQ(f.popen(wide(path), PFILE_TRUNCATE, 0), PRES_INVALID_ARG);
    EXPECT_EQ(f.popen(wide(path), PFILE_WRITE_RENAME, 1), PRES_INVALID_ARG);
    EXPECT_EQ(f.popen(wide(dir.file("missing")), PFILE_READ, 1), PFILE_ERR_NOT_FOUND);
    // Truncation without write access passes when creating; backslashes are separators.
    ASSERT_EQ(f.popen(wide(dir.path() + "\\f.txt"), PFILE_CREATE | PFILE_TRUNCATE, 1), PRES_OK);
    EXPECT_EQ(readFile(path), "");
    EXPECT_NE(fcntl(f.fd(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(f.pclose(), PRES_OK);
    EXPECT_EQ(f.pclose(), PFILE_ERR_NOT_OPEN);

    // While replacing, the object answers with the target's name.
    const long long before = PTime::getTickCount();
    ASSERT_EQ(f.popen(wide(path), PFILE_WRITE_RENAME, 0), PRES_OK);
    const long long after = PTime::getTickCount();
    ASSERT_EQ(f.pwriteLine(L""), PRES_OK);
    PString name;
    EXPECT_TRUE(f.pgetName(name) == PRES_OK && name == wide(path));
    CapturedStderr err;
    EXPECT_EQ(f.pclose(), PRES_OK);
    EXPECT_EQ(readFile(path), "\n");

    ASSERT_EQ(symlink(dir.file("nowhere").c_str(), dir.file("dangling").c_str()), 0);
    // A path that cannot be examined passes the check, even for a plain file.
    EXPECT_TRUE(PFile::check(wide(dir.file("dangling")), PFILE_ATTR_FILE));
    EXPECT_EQ(PFile::rename(wide(path), wide(dir.file("no/dir/g"))), PRES_NOT_FOUND);
    EXPECT_EQ(PFile::pdelete(wide(dir.path())), PFILE_ERR_DELETE);
    EXPECT_EQ(PFile::pdelete(wide(path)), PRES_OK);
    EXPECT_EQ(PFile::pdelete(wide(path)), PFILE_ERR_NOT_FOUND);
    std::string text = err.text(), temp = path + ".qrix_temp-" + std::to_string(getpid()) + "-";
    std::string head = "pclose: File successfully renamed (`" + temp;
    size_t at = text.find(head);
    ASSERT_NE(at, std::string::npos);
    size_t digits = at + head.size(), end = text.find_first_not_of("0123456789", digits);
    EXPECT_GT(end, digits);
    // The digits are the tick count at the open.
    const long long ticks = std::stoll(text.substr(digits, end - digits));
    EXPECT_TRUE(before <= ticks && ticks <= after) << ticks;
    std::string tail = "' -> `" + path + "')\n";
    EXPECT_EQ(text.compare(end, tail.size(), tail), 0);
    EXPECT_EQ(countOccurrences(text, "check: stat('" + dir.file("dangling") + "') failed, errno=2\n"), 1);
}

TEST(PFile, LockRefusesSecondHolder)
{
    TempDir dir;
    PString path = wide(dir.file("lock"));
    PFile first, second;
    ASSERT_EQ(first.popen(path, PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    CapturedStderr err;
    EXPECT_EQ(second.popen(path, PFILE_READ, 0), PFILE_ERR_LOCK);
    // The refused object keeps its descriptor until closed; unlocked readers pass.
    EXPECT_EQ(second.popen(path, PFILE_READ, 0), PFILE_ERR_ALREADY_OPEN);
    EXPECT_EQ(second.pclose(), PRES_OK);
    EXPECT_EQ(second.popen(path, PFILE_READ, 1), PRES_OK);

    // Another process is refused just the same.
    std::fflush(nullptr);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(10); // a lock that waits must fail the test, not hang it
        _exit(PFile().popen(path, PFILE_READ, 0) == PFILE_ERR_LOCK ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    std::string refused = "[PL_DBG]<-1> [PFile::popen] File '" + dir.file("lock") + "' already locked (EWOULDBLOCK)\n";
    EXPECT_EQ(err.text(), refused + refused);
}

// A child replacing a large file is killed at several points; the target must
// always be whole, old or new.
// The close renames through the names it stored; a name changed since is
// fixed again, and a refused rename is reported with the system's paths.
TEST(PFile, WriteRenameCloseReportsAndFixesItsNames)
{
    TempDir dir;
    const std::string target = dir.file("t");
    std::string slashed = target;
    slashed[slashed.rfind('/')] = '\\';
    struct Case { bool blockTarget; std::string storedAs; int res; };
    const Case cases[] = {{false, slashed, PRES_OK}, {true, target, PRES_FAILED}};
    for (const Case& c : cases) {
        ProbedFile f;
        ASSERT_EQ(f.popen(wide(target), PFILE_WRITE_RENAME, 0), PRES_OK);
        f.renameTargetTo(wide(c.storedAs));
        // A directory cannot be replaced by a file.
        if (c.blockTarget) {
            unlink(target.c_str());
            ASSERT_EQ(mkdir(target.c_str(), 0700), 0);
        }
        CapturedStderr err;
        EXPECT_EQ(f.pclose(), c.res);
        const std::string text = err.text();
        if (c.res == PRES_OK) {
            EXPECT_EQ(readFile(target), "");
            EXPECT_NE(text.find("' -> `" + slashed + "')\n"), std::string::npos) << text;
        } else {
            EXPECT_EQ(countOccurrences(text, "rename: rename(`" + target + ".qrix_temp-"), 1) << text;
            EXPECT_EQ(countOccurrences(text, "', `" + target + "') failed, errno=21\n"), 1) << text;
            EXPECT_EQ(countOccurrences(text, "pclose: Error renaming the file, res=-511\n"), 1) << text;
        }
    }
}

TEST(PFile, WriteRenameSurvivesKill)
{
    const int chunks = 32, chunk = 65536;
    const std::string before(chunks * chunk + 7, 'o'), after(chunks * chunk, 'n');
    TempDir dir;
    std::string target = dir.file("data.bin");
    // The child takes `stop` steps, a chunk each and then the close, reports
    // and waits to be killed.
    for (int stop : {0, chunks / 2, chunks, chunks + 1}) {
        writeFile(target, before);
        int progress[2];
        ASSERT_EQ(pipe(progress), 0);
        std::fflush(nullptr);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(2); // keeps the rename report out of the parent's output
            PFile f;
            f.popen(wide(target), PFILE_WRITE_RENAME, 0);
            unsigned long count = 0;
            for (int i = 0; i < stop; ++i)
                i < chunks ? f.pwrite(after.data(), chunk, count) : f.pclose();
            if (write(progress[1], "s", 1) == 1)
                pause();
            _exit(1);
        }
        close(progress[1]);
        char c;
        EXPECT_EQ(read(progress[0], &c, 1), 1);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(progress[0]);
        EXPECT_TRUE(readFile(target) == (stop > chunks ? after : before)) << stop;
    }
}

TEST(PFile, ReadLineOverMixedLineEnds)
{
    TempDir dir;
    std::string path = dir.file("lines");
    writeFile(path, "a\r\nb\n\nc\rd\n" + std::string(300, 'x') + "\n\xe9z");
    ProbedFile f;
    ASSERT_EQ(f.popen(wide(path), PFILE_READ, 1), PRES_OK);
    struct Expected { std::wstring text; long long position; };
    const Expected lines[] = {{L"a", 3}, {L"b", 5}, {L"", 6}, {L"cd", 10},
                              {std::wstring(300, L'x'), 311}, {std::wstring(L"\xFFFFFFE9z"), 313}};
    for (const Expected& expected : lines) {
        PString line;
        ASSERT_EQ(f.preadLine(line), PRES_OK);
        EXPECT_EQ(std::wstring(line.ptr() ? line.ptr() : L"", line.len()), expected.text);
        EXPECT_EQ(f.position(), expected.position);
    }
    PString line(L"kept");
    EXPECT_TRUE(f.preadLine(line) == PFILE_ERR_EOF && line == L"kept");
}
