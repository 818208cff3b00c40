#include "qrixPDir.h"

#include <cerrno>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include "qrixPPtr.h"
#include "qrixPUtils.h"
#include "qrixText.h"

using qrix::detail::isEmpty;

PDir::PDir()
{
    clear();
}

PDir::PDir(const PLiteral& path, const PLiteral& pattern)
{
    clear();
    popen(path, pattern);
}

PDir::~PDir()
{
    pclose();
}

void PDir::clear()
{
    fDir = nullptr;
    fDirEntry = nullptr;
    fPattern.clear();
    fDirPath.clear();
    fEntry.clear();
    fResult = PRES_OK;
}

int PDir::popen(const PLiteral& path, const PLiteral& pattern)
{
    // The fixed copy is deliberately unused: directory paths reach the system
    // exactly as the caller wrote them.
    PString fixed(path);
    PUtils::fixFileSeparator(fixed);

    if (!isEmpty(fPattern)) {
        fResult = PDIR_ERR_ALREADY_OPEN;
    } else {
        fDirPath = path;
        if (!fDirPath.endsWith(L"/"))
            fDirPath += L"/";
        if (isEmpty(pattern))
            fPattern = L"*";
        else
            fPattern = pattern;
        fResult = PRES_OK;
    }

    // A half-open object (pattern kept, no stream) still opens the new path.
    if (fDir) {
        fResult = PDIR_ERR_ALREADY_OPEN;
        return fResult;
    }
    PPtr<char> narrow(path.operator char*(), PTR_ARRAY);
    // glibc's opendir opens with O_CLOEXEC, so the stream never leaks into children.
    if (narrow)
        fDir = opendir(narrow);
    fResult = fDir ? PRES_OK : PDIR_ERR_NOT_OPEN;
    return fResult;
}

int PDir::preaddir()
{
    if (isEmpty(fPattern) || !fDir) {
        fResult = PDIR_ERR_NOT_OPEN;
        return fResult;
    }
    PPtr<char> pattern(fPattern.operator char*(), PTR_ARRAY);
    if (!pattern) {
        fResult = PRES_CONVERSION;
        return fResult;
    }
    do {
        fDirEntry = readdir(fDir);
        if (!fDirEntry) {
            fResult = PRES_READ;
            return fResult;
        }
    } while (fnmatch(pattern, fDirEntry->d_name, FNM_NOESCAPE | FNM_PATHNAME) != 0);

    wchar_t* name = PLiteral::pchar2pwchar(fDirEntry->d_name, PSTR_ALL);
    fEntry = (const wchar_t*)name;
    delete[] name;
    fResult = isEmpty(fEntry) ? PRES_CONVERSION : PRES_OK;
    return fResult;
}

int PDir::operator++()
{
    // Stepping never starts a listing: the first entry comes from preaddir().
    if (isEmpty(fEntry)) {
        fResult = PDIR_ERR_NOT_OPEN;
        return fResult;
    }
    return preaddir();
}

int PDir::operator++(int)
{
    return ++*this;
}

int PDir::pclose()
{
    fResult = PRES_OK;
    if (fDir && closedir(fDir) != 0)
        fResult = PDIR_ERR_CLOSE;
    // clear() resets fResult too, so a failed closedir is never reported.
    clear();
    return fResult;
}

int PDir::pcreate(const PLiteral& path)
{
    PPtr<char> narrow(PLiteral::pwchar2pchar(path.ptr(), PSTR_ALL), PTR_ARRAY);
    int res = -1;
    if (narrow)
        res = mkdir(narrow, 0775);
    else
        errno = EFAULT; // as mkdir would report for the missing path
    // errno before the result: a stale EEXIST wins even after a successful mkdir.
    if (errno == EEXIST)
        return PDIR_ERR_EXISTS;
    if (res != 0)
        return PDIR_ERR_CREATE;
    return PRES_OK;
}

int PDir::pdelete(const PLiteral& path)
{
    if (isEmpty(path))
        return PRES_INVALID_ARG;
    PPtr<char> narrow(PLiteral::pwchar2pchar(path.ptr(), PSTR_ALL), PTR_ARRAY);
    if (!narrow)
        return PDIR_ERR_DELETE;
    if (rmdir(narrow) == 0)
        return PRES_OK;
    return errno == ENOENT ? PDIR_ERR_NOT_FOUND : PDIR_ERR_DELETE;
}
