#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qrixPFile.h"
#include "testSupport.h"

namespace {

// Reaches the descriptor, which the tests inspect with the system's own calls.
class ProbedFile : public PFile {
public:
    int fd() const { return fHandle; }
    long long position() const { return lseek(fHandle, 0, SEEK_CUR); }
};

PString wide(const std::string& s)
{
    return PString(s.c_str());
}

std::string narrow(const PLiteral& s)
{
    std::wstring text(s.ptr() ? s.ptr() : L"", s.len());
    return std::string(text.begin(), text.end());
}

std::vector<std::string> entriesOf(const std::string& dir)
{
    std::vector<std::string> names;
    DIR* d = opendir(dir.c_str());
    while (struct dirent* e = d ? readdir(d) : nullptr)
        if (e->d_name[0] != '.')
            names.push_back(e->d_name);
    if (d)
        closedir(d);
    return names;
}

// Waits at most ten seconds, then kills.
int reap(pid_t child)
{
    int status = 0;
    for (int i = 0; i < 1000 && waitpid(child, &status, WNOHANG) == 0; ++i)
        usleep(10000);
    if (kill(child, SIGKILL) == 0)
        waitpid(child, &status, 0);
    return status;
}

} // namespace

TEST(PFile, OpenChecksAndDescriptor)
{
    TempDir dir;
    std::string path = dir.file("f.txt");
    writeFile(path, "content");
    ProbedFile f;
    EXPECT_EQ(f.popen(L"", PFILE_READ, 1), PRES_INVALID_ARG);
    EXPECT_EQ(f.popen(wide(path), PFILE_TRUNCATE, 1), PRES_INVALID_ARG);
    EXPECT_EQ(f.popen(wide(path), PFILE_WRITE_RENAME, 1), PRES_INVALID_ARG);
    EXPECT_EQ(f.popen(wide(path), PFILE_WRITE_RENAME | PFILE_WRITE, 0), PRES_INVALID_ARG);
    CapturedStderr err;
    EXPECT_EQ(f.popen(wide(dir.file("missing")), PFILE_READ, 1), PFILE_ERR_NOT_FOUND);
    EXPECT_EQ(err.text(), "");
    EXPECT_FALSE(f.isOpen());

    // Truncation without write access passes when creating; backslashes are separators.
    ASSERT_EQ(f.popen(wide(dir.path() + "\\f.txt"), PFILE_CREATE | PFILE_TRUNCATE, 1), PRES_OK);
    EXPECT_EQ(readFile(path), "");
    EXPECT_NE(fcntl(f.fd(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(f.popen(wide(path), PFILE_WRITE, 1), PFILE_ERR_ALREADY_OPEN);
    EXPECT_EQ(f.pclose(), PRES_OK);
    EXPECT_EQ(f.pclose(), PFILE_ERR_NOT_OPEN);
}

TEST(PFile, LockRefusesSecondHolder)
{
    TempDir dir;
    PString path = wide(dir.file("lock"));
    int ready[2], release[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(release), 0);
    std::fflush(nullptr);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        PFile holder;
        char c = holder.popen(path, PFILE_WRITE | PFILE_CREATE, 0) == PRES_OK ? 'L' : 'E';
        _exit(write(ready[1], &c, 1) == 1 && read(release[0], &c, 1) == 1 ? 0 : 2);
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    ASSERT_EQ(c, 'L');
    PFile f, reader;
    {
        CapturedStderr err;
        EXPECT_EQ(f.popen(path, PFILE_READ, 0), PFILE_ERR_LOCK);
        EXPECT_EQ(err.text(), "[PL_DBG]<-1> [PFile::popen] File '" + dir.file("lock") +
                                  "' already locked (EWOULDBLOCK)\n");
    }
    // The refused object keeps its descriptor until closed; unlocked readers pass.
    EXPECT_TRUE(f.isOpen());
    EXPECT_EQ(f.popen(path, PFILE_READ, 0), PFILE_ERR_ALREADY_OPEN);
    EXPECT_EQ(f.pclose(), PRES_OK);
    EXPECT_EQ(reader.popen(path, PFILE_READ, 1), PRES_OK);

    ASSERT_EQ(write(release[1], "x", 1), 1);
    int status = reap(child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    for (int fd : {ready[0], ready[1], release[0], release[1]})
        close(fd);

    // Two objects of one process exclude each other just the same.
    ASSERT_EQ(f.popen(path, PFILE_READ, 0), PRES_OK);
    PFile second;
    CapturedStderr err;
    EXPECT_EQ(second.popen(path, PFILE_READ, 0), PFILE_ERR_LOCK);
}

TEST(PFile, WriteRenameReplacesAtClose)
{
    TempDir dir;
    std::string target = dir.file("cfg.xml");
    writeFile(target, "old");
    PFile f;
    ASSERT_EQ(f.popen(wide(target), PFILE_WRITE_RENAME, 0), PRES_OK);
    unsigned long count = 0;
    EXPECT_EQ(f.pwrite("x", 0, count), PFILE_ERR_EOF);
    ASSERT_EQ(f.pwriteLine(L""), PRES_OK);
    ASSERT_EQ(f.pwriteLine(L"new"), PRES_OK);
    PString name;
    EXPECT_EQ(f.pgetName(name), PRES_OK);
    EXPECT_EQ(narrow(name), target);
    EXPECT_EQ(readFile(target), "old");

    std::vector<std::string> names = entriesOf(dir.path());
    ASSERT_EQ(names.size(), 2u);
    std::string temp = names[0] == "cfg.xml" ? names[1] : names[0];
    std::string stem = "cfg.xml.qrix_temp-" + std::to_string(getpid()) + "-";
    ASSERT_EQ(temp.compare(0, stem.size(), stem), 0) << temp;
    EXPECT_EQ(temp.find_first_not_of("0123456789", stem.size()), std::string::npos);

    CapturedStderr err;
    EXPECT_EQ(f.pclose(), PRES_OK);
    EXPECT_EQ(err.text(), "pclose: File successfully renamed (`" + dir.file(temp) + "' -> `" + target + "')\n");
    EXPECT_EQ(readFile(target), "\nnew\n");
    EXPECT_EQ(entriesOf(dir.path()).size(), 1u);
}

// A child replacing a large file is killed at several points; the target must
// always be whole, old or new, with at most the temporary sibling beside it.
TEST(PFile, WriteRenameSurvivesKill)
{
    const int chunks = 32;
    const std::string oldContent(chunks * 65536 + 7, 'o'), newChunk(65536, 'n');
    TempDir dir;
    std::string target = dir.file("data.bin");
    // The child reports after opening, after each chunk and after closing.
    // Paused rounds are killed while it waits before chunk pauseAt; free-running
    // rounds land wherever it happens to be, the rename included.
    struct Round { int pauseAt; int killAfter; };
    const Round rounds[] = {{0, 1}, {chunks / 2, chunks / 2 + 1}, {chunks, chunks + 1}, {-1, 2},
                            {-1, chunks / 3}, {-1, chunks + 1}, {-1, chunks + 2}};
    bool sawNew = false;
    for (const Round& round : rounds) {
        writeFile(target, oldContent);
        int progress[2], go[2];
        ASSERT_EQ(pipe(progress), 0);
        ASSERT_EQ(pipe(go), 0);
        std::fflush(nullptr);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(2); // keeps the rename report out of the parent's output
            PFile f;
            bool ok = f.popen(wide(target), PFILE_WRITE_RENAME, 0) == PRES_OK && write(progress[1], "p", 1) == 1;
            for (int i = 0; ok && i < chunks; ++i) {
                char c;
                unsigned long count = 0;
                ok = (i != round.pauseAt || read(go[0], &c, 1) == 1) &&
                     f.pwrite(newChunk.data(), newChunk.size(), count) == PRES_OK && count == newChunk.size() &&
                     write(progress[1], "p", 1) == 1;
            }
            char c;
            if (ok && round.pauseAt == chunks)
                ok = read(go[0], &c, 1) == 1;
            _exit(ok && f.pclose() == PRES_OK && write(progress[1], "p", 1) == 1 ? 0 : 1);
        }
        close(progress[1]);
        char c;
        for (int seen = 0; seen < round.killAfter && read(progress[0], &c, 1) == 1; ++seen) {
        }
        kill(child, SIGKILL);
        reap(child);
        for (int fd : {progress[0], go[0], go[1]})
            close(fd);

        std::string content = readFile(target);
        bool isNew = content == std::string(chunks * newChunk.size(), 'n');
        EXPECT_TRUE(content == oldContent || isNew) << "mixed content of " << content.size() << " bytes";
        sawNew = sawNew || isNew;
        std::vector<std::string> names = entriesOf(dir.path());
        EXPECT_LE(names.size(), 2u);
        for (const std::string& name : names) {
            EXPECT_TRUE(name == "data.bin" || name.find("data.bin.qrix_temp-") == 0) << name;
            if (name != "data.bin")
                unlink(dir.file(name).c_str());
        }
    }
    // The last round is killed only after the child reported the rename.
    EXPECT_TRUE(sawNew);
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
    EXPECT_EQ(f.preadLine(line), PFILE_ERR_EOF);
    EXPECT_EQ(narrow(line), "kept");
}

TEST(PFile, PathOperations)
{
    TempDir dir;
    writeFile(dir.file("f"), "x");
    ASSERT_EQ(symlink(dir.file("nowhere").c_str(), dir.file("dangling").c_str()), 0);
    PString file = wide(dir.file("f")), dangling = wide(dir.file("dangling"));
    EXPECT_FALSE(PFile::exists(dangling));
    EXPECT_FALSE(PFile::check(file, PFILE_ATTR_DIR));
    CapturedStderr err;
    // A path that cannot be examined passes every check.
    for (int attrib : {PFILE_ATTR_FILE, PFILE_ATTR_DIR, PFILE_ATTR_SPECIAL})
        EXPECT_TRUE(PFile::check(dangling, attrib));
    EXPECT_EQ(countOccurrences(err.text(), "check: stat('" + dir.file("dangling") + "') failed, errno=2\n"), 3);

    EXPECT_EQ(PFile::rename(file, wide(dir.file("no/dir/g"))), PRES_NOT_FOUND);
    EXPECT_EQ(PFile::pdelete(wide(dir.path())), PFILE_ERR_DELETE);
    EXPECT_EQ(PFile::pdelete(file), PRES_OK);
    EXPECT_EQ(PFile::pdelete(file), PFILE_ERR_NOT_FOUND);
}
