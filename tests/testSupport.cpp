#include "testSupport.h"

#include <ftw.h>
#include <semaphore.h>

#include <clocale>
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

std::string stderrOf(const std::function<void()>& action)
{
    CapturedStderr err;
    action();
    return err.text();
}

::testing::AssertionResult printsFromLevel(int level, const std::string& line, const std::function<void()>& trigger,
                                           int count)
{
    int found[2];
    for (int below = 0; below < 2; ++below) {
        ScopedEnv env("PL_DEBUG", std::to_string(level - below).c_str());
        found[below] = countOccurrences(stderrOf(trigger), line);
    }
    if (found[0] == count && found[1] == 0)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "'" << line << "' printed " << found[0] << " times at PL_DEBUG=" << level
                                         << " and " << found[1] << " times one below";
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
