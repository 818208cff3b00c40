// Shared fixtures of the test programs: captured stderr, scoped environment
// and locale, and a private temporary directory per test.
#ifndef QRIX_TEST_SUPPORT_H
#define QRIX_TEST_SUPPORT_H

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "qrixPString.h"

// Some failure paths need a deliberate misuse of the POSIX calls (unlocking
// what nobody holds, joining oneself), which ThreadSanitizer reports.
#ifdef __SANITIZE_THREAD__
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif

// Redirects file descriptor 2 into a file until text() or destruction.
class CapturedStderr {
public:
    CapturedStderr();
    ~CapturedStderr();
    // Stops capturing (once) and returns everything written meanwhile.
    std::string text();

private:
    int fSavedFd;
    std::string fPath;
    std::string fText;
    bool fDone;
};

// Sets (or, with a null value, unsets) a variable and restores it afterwards.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();

private:
    std::string fName;
    std::string fOld;
    bool fHadOld;
};

// Runs the scope under LC_CTYPE C.UTF-8.
class ScopedUtf8Locale {
public:
    ScopedUtf8Locale();
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

// Small file helpers for tests.
void writeFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);
bool pathExists(const std::string& path);
int countOccurrences(const std::string& text, const std::string& needle);

// Wide copy of ASCII text, and the narrow copy of a wide one.
PString widen(const std::string& s);
std::string narrowed(const PLiteral& s);

// Everything `action` writes to stderr.
std::string stderrOf(const std::function<void()>& action);

// A level-tagged message: `count` copies of `line` print with PL_DEBUG at
// `level`, none with PL_DEBUG one below.
::testing::AssertionResult printsFromLevel(int level, const std::string& line, const std::function<void()>& trigger,
                                           int count = 1);

#endif // QRIX_TEST_SUPPORT_H
