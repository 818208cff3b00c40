// What the library must never leave behind: a half-replaced file after a
// crash, a descriptor in a child or after a close, a zombie after a promised
// collection. And the child's argument vector, token for token the tokenizer's.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

#include "qrixPProcessArgs.h"
#include "testSupport.h"

namespace {

PString wide(const std::string& s)
{
    return PString(s.c_str());
}

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

// The line serves as the program too, which start() converts whole.
std::vector<std::string> vectorArgs(const PString& line)
{
    qrix::detail::ArgumentVector argv;
    EXPECT_EQ(argv.build(line, line), PRES_OK);
    PPtr<char> program(PLiteral::pwchar2pchar(line.ptr(), PSTR_ALL), PTR_ARRAY);
    EXPECT_STREQ(argv.file(), program.getPtr() ? program.getPtr() : "");
    EXPECT_EQ(argv.argv()[argv.count()], nullptr);
    return std::vector<std::string>(argv.argv() + 1, argv.argv() + argv.count());
}

// Link targets of this process's descriptors, the listing's own included.
std::vector<std::string> openDescriptors()
{
    std::vector<std::string> targets;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        targets.push_back(std::filesystem::read_symlink(entry.path(), error).string());
    return targets;
}

// The state letter in /proc/<pid>/stat, or 0 once the process is gone.
char procState(pid_t pid)
{
    std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    size_t name = stat.rfind(')');
    return name == std::string::npos || name + 2 >= stat.size() ? 0 : stat[name + 2];
}

bool becomesZombie(pid_t pid)
{
    for (int i = 0; i < 1000 && procState(pid) != 'Z'; ++i)
        usleep(10000);
    return procState(pid) == 'Z';
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

TEST(Hygiene, WriteRenameLeavesOldOrNewContentWhenKilled)
{
    TempDir dir;
    const std::string target = dir.file("target");
    const std::string contents[2] = {std::string(4096, 'o'), std::string(6000, 'n')};
    writeFile(target, contents[0]);
    std::mt19937 random(std::random_device{}());
    for (int trial = 0; trial < 40; ++trial) {
        int ready[2];
        ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
        std::fflush(nullptr);
        pid_t child = fork();
        if (child == 0) {
            dup2(open("/dev/null", O_WRONLY), 2); // every replacement reports its rename
            for (unsigned long i = 0, written = 0; i < 100000; ++i) {
                PFile file;
                file.popen(wide(target), PFILE_WRITE_RENAME, 0);
                file.pwrite(contents[i % 2].data(), contents[i % 2].size(), written);
                file.pclose();
                if (i == 0)
                    (void)!write(ready[1], "r", 1);
            }
            _exit(0);
        }
        close(ready[1]);
        pollfd started{ready[0], POLLIN, 0};
        EXPECT_EQ(poll(&started, 1, 10000), 1);
        close(ready[0]);
        usleep(random() % 3000);
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        std::string now = readFile(target);
        ASSERT_TRUE(now == contents[0] || now == contents[1]) << "trial " << trial << ": " << now.size() << " bytes";
    }
}

TEST(Hygiene, ChildSeesNoDescriptorTheLibraryHolds)
{
    TempDir held, out;
    PFile file, replaced;
    ASSERT_EQ(file.popen(wide(held.file("file")), PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    ASSERT_EQ(replaced.popen(wide(held.file("replaced")), PFILE_WRITE_RENAME, 0), PRES_OK);
    PDir listing;
    ASSERT_EQ(listing.popen(wide(held.path()), L"*"), PRES_OK);
    PTempFile temp;
    ASSERT_EQ(temp.popen(wide(held.file("temp-")), PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    PLibrary* library = nullptr;
    ASSERT_EQ(PLibrary::load(L"libm.so.6", library), PRES_OK);
    std::unique_ptr<PLibrary> loaded(library);
    PSemaphore semaphore(wide("/qxh" + std::to_string(getpid())));
    ASSERT_EQ(semaphore.init(1), PRES_OK);

    // The child writes the target of each of its descriptors to a file.
    const std::string fds = out.file("fds");
    PProcess find(L"/usr/bin/find", wide("/proc/self/fd/ -mindepth 1 -fprintf " + fds + " %l\\n"));
    int exitCode = -1;
    ASSERT_EQ(find.start(), PRES_OK);
    ASSERT_EQ(find.waitExitCode(exitCode), PRES_OK);
    EXPECT_EQ(exitCode, 0);
    std::string text = readFile(fds);
    EXPECT_NE(text.find(fds), std::string::npos) << text;
    EXPECT_EQ(text.find(held.path()), std::string::npos) << text;
    EXPECT_EQ(text.find("libm"), std::string::npos) << text;
    EXPECT_EQ(text.find("/dev/shm"), std::string::npos) << text;
}

TEST(Hygiene, PromisedCollectionsLeaveNoZombie)
{
    // Killed should a check fail before the child is collected.
    struct Reaper {
        pid_t pid = 0;
        ~Reaper()
        {
            if (pid > 0 && kill(pid, SIGKILL) == 0)
                waitpid(pid, nullptr, 0);
        }
    } reaper;
    unsigned int pid = 0;
    int exitCode = 0;
    PProcess waited(L"/bin/sleep", L"30");
    ASSERT_EQ(waited.start(), PRES_OK);
    ASSERT_EQ(waited.getPID(pid), PRES_OK);
    reaper.pid = (pid_t)pid;
    kill((pid_t)pid, SIGTERM);
    EXPECT_EQ(waited.waitExitCode(exitCode), PRES_OK);
    reaper.pid = 0;
    EXPECT_EQ(procState((pid_t)pid), 0);

    // Nobody holds a static start's child: it stays a zombie until a sweep.
    ASSERT_EQ(PProcess::start(L"/bin/sleep", L"30", pid), PRES_OK);
    reaper.pid = (pid_t)pid;
    kill((pid_t)pid, SIGTERM);
    ASSERT_TRUE(becomesZombie((pid_t)pid));
    bool running = true;
    EXPECT_EQ(PProcess::isRunning(pid, running), PRES_OK);
    reaper.pid = 0;
    EXPECT_EQ(procState((pid_t)pid), 0);
}

namespace {

// Every way the library opens and closes a descriptor, refusals and failures included.
void openAndCloseEverything(const TempDir& dir)
{
    PFile holder, refused, failed, replaced;
    EXPECT_EQ(holder.popen(wide(dir.file("locked")), PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    EXPECT_EQ(refused.popen(wide(dir.file("locked")), PFILE_READ, 0), PFILE_ERR_LOCK);
    refused.pclose();
    EXPECT_EQ(failed.popen(wide(dir.file("missing")), PFILE_READ, 0), PFILE_ERR_NOT_FOUND);
    EXPECT_EQ(failed.popen(wide(dir.path()), PFILE_WRITE, 0), PFILE_ERR_OPEN);
    EXPECT_EQ(replaced.popen(wide(dir.file("replaced")), PFILE_WRITE_RENAME, 0), PRES_OK);
    replaced.pclose();

    PDir absent, present;
    EXPECT_EQ(absent.popen(wide(dir.file("absent")), L"*"), PDIR_ERR_NOT_OPEN);
    EXPECT_EQ(present.popen(wide(dir.path()), L"*"), PRES_OK);
    present.pclose();

    PTempFile temp;
    PString name;
    EXPECT_EQ(temp.popen(wide(dir.file("temp-")), PFILE_WRITE | PFILE_CREATE, 0), PRES_OK);
    temp.pgetName(name);
    temp.pclose();
    PFile::pdelete(name);

    PLibrary* library = nullptr;
    EXPECT_EQ(PLibrary::load(L"libqrix_missing_42.so", library), PLIBRARY_ERR_LOAD);
    EXPECT_EQ(PLibrary::load(L"libm.so.6", library), PRES_OK);
    delete library;
    PSemaphore semaphore(wide("/qxh" + std::to_string(getpid())));
    EXPECT_EQ(semaphore.init(0), PRES_OK);
    semaphore.close();

    unsigned int self = PProcess::getCurrentPID(), usage = 0;
    std::vector<unsigned int> pids, ppids;
    EXPECT_EQ(PProcess::getName(self, name), PRES_OK);
    EXPECT_EQ(PProcess::getCmdLine(self, name), PRES_OK);
    EXPECT_EQ(PProcess::getWorkingDir(self, name), PRES_OK);
    EXPECT_EQ(PProcess::getWorkingDir(0x7ffffff0, name), PRES_NOT_FOUND);
    EXPECT_EQ(PProcess::find(PString(L"test_hygiene"), pids, ppids), PRES_OK);
    EXPECT_EQ(PProcess::getSpecCPUUsage(0, usage), PRES_OK);
    EXPECT_EQ(PProcess::getUserName(self, name), PRES_OK);
}

} // namespace

TEST(Hygiene, NoDescriptorOutlivesItsOperation)
{
    TempDir dir;
    CapturedStderr reports;
    // The first round lets the loader and the C library open what they keep.
    openAndCloseEverything(dir);
    std::vector<std::string> before = openDescriptors();
    openAndCloseEverything(dir);
    EXPECT_EQ(openDescriptors(), before);
}
