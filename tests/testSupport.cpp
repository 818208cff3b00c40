#include "testSupport.h"

#include <ftw.h>
#include <semaphore.h>

#include <csignal>
#include <clocale>
#include <cstring>
#include <cstdlib>
#include <fstream>
#include <sstream>

CapturedStderr::CapturedStderr()
{
    char name[] = "/tmp/qrix-stderr-XXXXXX";
    int fd = mkstemp(name);
    fPath = name;
    std::fflush(stderr);
    fSavedFd = dup(2);
    dup2(fd, 2);
    close(fd);
}

std::string CapturedStderr::text()
{
    if (!fDone) {
        std::fflush(stderr);
        dup2(fSavedFd, 2);
        close(fSavedFd);
        fText = readFile(fPath);
        unlink(fPath.c_str());
        fDone = true;
    }
    return fText;
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : fName(name)
{
    if (const char* old = std::getenv(name))
        fOld = old, fHadOld = true;
    value ? setenv(name, value, 1) : unsetenv(name);
}

ScopedEnv::~ScopedEnv()
{
    fHadOld ? setenv(fName.c_str(), fOld.c_str(), 1) : unsetenv(fName.c_str());
}

ScopedUtf8Locale::ScopedUtf8Locale(const char* locale)
{
    const char* old = std::setlocale(LC_CTYPE, nullptr);
    fOld = old ? old : "C";
    std::setlocale(LC_CTYPE, locale);
}

ScopedUtf8Locale::~ScopedUtf8Locale() { std::setlocale(LC_CTYPE, fOld.c_str()); }

TempDir::TempDir()
{
    char name[] = "/tmp/qrix-test-XXXXXX";
    if (mkdtemp(name))
        fPath = name;
}

TempDir::~TempDir()
{
    auto removeEntry = [](const char* path, const struct stat*, int, struct FTW*) { return remove(path); };
    if (!fPath.empty())
        nftw(fPath.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

std::string readFile(const std::string& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

bool pathExists(const std::string& path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

int countOccurrences(const std::string& text, const std::string& needle)
{
    int count = 0;
    for (size_t pos = text.find(needle); pos != std::string::npos; pos = text.find(needle, pos + needle.size()))
        ++count;
    return count;
}

SemName::SemName(char tag, const std::string& tail)
    : name("/qx" + std::string(1, tag) + std::to_string(1000000000 + getpid()).substr(1) + tail) {}

SemName::~SemName() { sem_unlink(name.c_str()); }

bool SemName::exists() const { return pathExists("/dev/shm/sem." + name.substr(1)); }

PString widen(const std::string& s) { return PString(std::wstring(s.begin(), s.end()).c_str()); }

std::string narrowed(const PLiteral& s) { return s.ptr() ? std::string(s.ptr(), s.ptr() + s.len()) : std::string(); }

std::wstring wideText(const PLiteral& s) { return s.ptr() ? std::wstring(s.ptr(), s.len()) : std::wstring(); }

char procState(pid_t pid)
{
    std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    size_t name = stat.rfind(')');
    return name == std::string::npos || name + 2 >= stat.size() ? 0 : stat[name + 2];
}

ChildGuard::~ChildGuard()
{
    for (unsigned int pid : pids)
        if (pid > 0 && kill((pid_t)pid, SIGKILL) == 0) // 0 would be our own group
            waitpid((pid_t)pid, nullptr, 0);
}

std::string stderrOf(const std::function<void()>& action)
{
    CapturedStderr err;
    action();
    return err.text();
}

::testing::AssertionResult printsFromLevel(int level, const std::string& line, const std::function<void()>& trigger,
                                           int count)
{
    char tag[32];
    std::snprintf(tag, sizeof(tag), "[PL_DBG]<%02d> ", level);
    int found[2];
    std::string shown;
    for (int below = 0; below < 2; ++below) {
        ScopedEnv env("PL_DEBUG", std::to_string(level - below).c_str());
        std::string text = stderrOf(trigger);
        found[below] = countOccurrences(text, line);
        if (below == 0)
            shown = text;
    }
    size_t at = shown.find(line), lineStart = at == std::string::npos ? at : shown.rfind('\n', at);
    size_t tagAt = line.rfind("[PL_DBG]<", 0) == 0 ? at : shown.find("[PL_DBG]<", lineStart + 1);
    bool tagged = tagAt != std::string::npos && tagAt <= at && shown.compare(tagAt, std::strlen(tag), tag) == 0;
    if ((count == 0 ? found[0] > 0 : found[0] == count) && found[1] == 0 && tagged)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "'" << line << "' printed " << found[0] << " times at PL_DEBUG=" << level
                                         << " and " << found[1] << " times one below:\n" << shown;
}

static pid_t gTestProgramPid = 0;

// Forked children leave through exit() with the parent's heap still mapped;
// the leak check belongs to the test program itself, not to its children.
extern "C" int __lsan_is_turned_off() { return gTestProgramPid != 0 && getpid() != gTestProgramPid; }

int main(int argc, char** argv)
{
    gTestProgramPid = getpid();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
