// What the library must never leave behind: a half-replaced file after a
// crash, a descriptor in a child or after a close. And the child's argument
// vector, token for token the tokenizer's.
#include <poll.h>
#include <signal.h>

#include <clocale>
#include <filesystem>
#include <memory>
#include <random>

#include "qrixPProcessArgs.h"
#include "testSupport.h"

namespace {
// What the child was given before: repeated getNextToken, each token narrowed.
std::vector<std::string> tokenizerArgs(const PString& line)
{
    std::vector<std::string> args;
    for (PString rest(line), token; PLiteral::getNextToken(rest, token, L' ') == PRES_OK;)
        args.push_back(PPtr<char>(token.ascii(), PTR_ARRAY).getPtr() ?: "");
    return args;
}

// The line serves as the program too, which start() converts whole.
std::vector<std::string> vectorArgs(const PString& line)
{
    qrix::detail::ArgumentVector argv;
    EXPECT_EQ(argv.build(line, line), PRES_OK);
    EXPECT_STREQ(argv.file(), PPtr<char>(PLiteral::pwchar2pchar(line.ptr(), PSTR_ALL), PTR_ARRAY).getPtr() ?: "");
    EXPECT_EQ(argv.argv()[argv.count()], nullptr);
    return std::vector<std::string>(argv.argv() + 1, argv.argv() + argv.count());
}

// Link targets of this process's descriptors, the listing's own included.
std::vector<std::string> openDescriptors()
{
    std::vector<std::string> targets;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        targets.push_back(std::filesystem::read_symlink(entry.path()).string());
    return targets;
}

} // namespace

TEST(ArgumentVector, SplitsAndConvertsAsTheTokenizerDoes)
{
    std::vector<std::wstring> lines = {L"", L" ", L"   ", L"\t\r\n", L"a", L"a b", L" a", L"a ", L"  a  b  ", L"a\tb c\r\nd",
                                  L"x \t y\t", L" \ta\t \t", L"\xe9 \xfc\t\xdf", L"\t\xe9 \xe9\t", {L"a\0b c", 5},
                                  {L"\ta\0 b ", 6}, {L" \0", 2}, {L"\xe9\0xyz a", 7}, L"\xd800 ok"};
    std::mt19937 random(7);
    const wchar_t alphabet[] = L"  \t\n\rab\xe9\xd800"; // and the zero character
    for (int i = 0; i < 2000; ++i) {
        lines.emplace_back(random() % 24, L' ');
        for (wchar_t& c : lines.back())
            c = alphabet[random() % (sizeof(alphabet) / sizeof(alphabet[0]))];
    }
    for (const char* locale : {"C", "C.UTF-8"}) {
        ScopedUtf8Locale scoped(locale);
        for (const std::wstring& text : lines) {
            PString line(text.data(), text.size());
            ASSERT_EQ(vectorArgs(line), tokenizerArgs(line)) << locale << " line " << &text - lines.data();
        }
    }
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
                file.popen(widen(target), PFILE_WRITE_RENAME, 0);
                file.pwrite(contents[i % 2].data(), contents[i % 2].size(), written);
                file.pclose();
                if (i == 0)
                    (void)!write(ready[1], "r", 1);
            }
            _exit(0);
        }
        ASSERT_GT(child, 0); // -1 would signal every process we may
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
    PDir listing;
    PTempFile temp;
    PLibrary* library = nullptr;
    PSemaphore semaphore(widen("/qxh" + std::to_string(getpid())));
    ASSERT_TRUE(file.popen(widen(held.file("file")), PFILE_WRITE | PFILE_CREATE, 0) == PRES_OK &&
                replaced.popen(widen(held.file("replaced")), PFILE_WRITE_RENAME, 0) == PRES_OK &&
                listing.popen(widen(held.path()), L"*") == PRES_OK &&
                temp.popen(widen(held.file("temp-")), PFILE_WRITE | PFILE_CREATE, 0) == PRES_OK &&
                PLibrary::load(L"libm.so.6", library) == PRES_OK && semaphore.init(1) == PRES_OK);
    std::unique_ptr<PLibrary> loaded(library);
    // The child writes the target of each of its descriptors to a file.
    const std::string fds = out.file("fds");
    PProcess find(L"/usr/bin/find", widen("/proc/self/fd/ -mindepth 1 -fprintf " + fds + " %l\\n"));
    int exitCode = -1;
    ASSERT_TRUE(find.start() == PRES_OK && find.waitExitCode(exitCode) == PRES_OK && exitCode == 0);
    std::string text = readFile(fds);
    EXPECT_NE(text.find(fds), std::string::npos) << text;
    for (const std::string& leaked : {held.path(), std::string("libm"), std::string("/dev/shm")})
        EXPECT_EQ(text.find(leaked), std::string::npos) << text;
}

namespace {
// Every way the library opens and closes a descriptor, refusals and failures included.
void openAndCloseEverything(const TempDir& dir)
{
    PFile holder, refused, failed, replaced;
    PDir absent, present;
    PTempFile temp;
    PString name;
    PLibrary* library = nullptr;
    PSemaphore semaphore(widen("/qxh" + std::to_string(getpid())));
    unsigned int self = PProcess::getCurrentPID(), usage = 0;
    std::vector<unsigned int> pids, ppids;
    const std::pair<std::function<int()>, int> steps[] = {
        {[&] { return holder.popen(widen(dir.file("locked")), PFILE_WRITE | PFILE_CREATE, 0); }, PRES_OK},
        {[&] { int res = refused.popen(widen(dir.file("locked")), PFILE_READ, 0);
               return refused.pclose(), res; }, PFILE_ERR_LOCK},
        {[&] { return failed.popen(widen(dir.file("missing")), PFILE_READ, 0); }, PFILE_ERR_NOT_FOUND},
        {[&] { return failed.popen(widen(dir.path()), PFILE_WRITE, 0); }, PFILE_ERR_OPEN},
        {[&] { return replaced.popen(widen(dir.file("replaced")), PFILE_WRITE_RENAME, 0) + replaced.pclose(); }, 0},
        {[&] { return absent.popen(widen(dir.file("absent")), L"*"); }, PDIR_ERR_NOT_OPEN},
        {[&] { return present.popen(widen(dir.path()), L"*") + present.pclose(); }, PRES_OK},
        {[&] { return temp.popen(widen(dir.file("temp-")), PFILE_WRITE | PFILE_CREATE, 0) + temp.pgetName(name); }, 0},
        {[&] { return temp.pclose() + PFile::pdelete(name); }, PRES_OK},
        {[&] { return PLibrary::load(L"libqrix_missing_42.so", library); }, PLIBRARY_ERR_LOAD},
        {[&] { int res = PLibrary::load(L"libm.so.6", library); return delete library, res; }, PRES_OK},
        {[&] { return semaphore.init(0) + semaphore.close(); }, PRES_OK},
        {[&] { return PProcess::getName(self, name) + PProcess::getCmdLine(self, name); }, PRES_OK},
        {[&] { return PProcess::getWorkingDir(self, name) + PProcess::getUserName(self, name); }, PRES_OK},
        {[&] { return PProcess::getWorkingDir(0x7ffffff0, name); }, PRES_NOT_FOUND},
        {[&] { return PProcess::find(PString(L"test_hygiene"), pids, ppids); }, PRES_OK},
        {[&] { return PProcess::getSpecCPUUsage(0, usage); }, PRES_OK},
    };
    for (const auto& step : steps)
        EXPECT_EQ(step.first(), step.second) << "step " << &step - steps;
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
