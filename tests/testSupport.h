// Shared fixtures of the test programs: captured stderr, scoped environment
// and locale, a private temporary directory per test, message-level checks.
#ifndef QRIX_TEST_SUPPORT_H
#define QRIX_TEST_SUPPORT_H

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

// Some failure paths need a deliberate misuse of the POSIX calls (unlocking
// what nobody holds, joining oneself), which ThreadSanitizer reports.
#ifdef __SANITIZE_THREAD__
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif

// Redirects file descriptor 2 into a file until text() (once) or destruction.
class CapturedStderr {
public:
    CapturedStderr();
    ~CapturedStderr() { text(); }
    std::string text();
private:
    int fSavedFd = -1;
    std::string fPath, fText;
    bool fDone = false;
};

// Sets (or, with a null value, unsets) a variable and restores it afterwards.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();
private:
    std::string fName, fOld;
    bool fHadOld = false;
};

// Runs the scope under LC_CTYPE `locale`.
class ScopedUtf8Locale {
public:
    explicit ScopedUtf8Locale(const char* locale = "C.UTF-8");
    ~ScopedUtf8Locale();
private:
    std::string fOld;
};

// A fresh directory under /tmp, removed with its contents at the end.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::string& path() const { return fPath; }
    std::string file(const std::string& name) const { return fPath + "/" + name; }
private:
    std::string fPath;
};

void writeFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);
bool pathExists(const std::string& path);
int countOccurrences(const std::string& text, const std::string& needle);

// A POSIX semaphore name: 13 characters unique per program and tag, then
// `tail`; unlinked at the end even when a test fails half-way.
struct SemName {
    std::string name;
    explicit SemName(char tag, const std::string& tail = "");
    ~SemName();
    PString wide() const { return PString(name.c_str()); }
    bool exists() const;
};

// Wide copy of ASCII text, and the narrow and wide copies of a string's text.
PString widen(const std::string& s);
std::string narrowed(const PLiteral& s);
std::wstring wideText(const PLiteral& s);

// A view whose length is set independently of its terminator.
struct View : PLiteral {
    View(const wchar_t* p, unsigned long n) { fPtr = p, fLen = n; }
};

// Not representable in the C locale the tests run in.
constexpr const wchar_t* kUnconvertible = L"\x4e2d";

// Polls `done` every 10 ms for ten seconds at most; its last answer.
template <class Done>
bool waitUntil(Done done)
{
    for (int i = 0; i < 1000 && !done(); ++i)
        usleep(10000);
    return done();
}

// The state letter in /proc/<pid>/stat ('Z' for a zombie), 0 once it is gone.
char procState(pid_t pid);

// Kills and collects the children a test leaves, so that a failed assertion
// leaves none running.
struct ChildGuard {
    std::vector<unsigned int> pids;
    ~ChildGuard();
};

std::string stderrOf(const std::function<void()>& action);

// A level-tagged message: `count` copies of `line` (0: any number) print with
// PL_DEBUG at `level`, none with PL_DEBUG one below. A `line` given without
// its "[PL_DBG]<nn> " tag must stand in a line that carries the level's tag.
::testing::AssertionResult printsFromLevel(int level, const std::string& line, const std::function<void()>& trigger,
                                           int count = 1);

#endif // QRIX_TEST_SUPPORT_H
