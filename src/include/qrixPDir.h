// PDir: the entries of one directory that match a shell wildcard pattern, one
// per step, and the creation and removal of single directories.
#ifndef QRIX_PDIR_H
#define QRIX_PDIR_H

#include <dirent.h>

#include "qrixPString.h"
#include "qrixTypes.h"

class QRIX_EXPORT PDir {
public:
    PDir();
    // The outcome of opening is left in getResult().
    PDir(const PLiteral& path, const PLiteral& pattern);
    virtual ~PDir();

    PDir(const PDir&) = delete;
    PDir& operator=(const PDir&) = delete;

    // Reads no entry: call preaddir() once, then step with ++ while == 0.
    int popen(const PLiteral& path, const PLiteral& pattern);
    int preaddir();
    const PString& getEntry() const { return fEntry; }
    int getResult() const { return fResult; }

    // Refuses (-622) until preaddir() has produced an entry.
    int operator++();
    int operator++(int);
    bool operator==(int value) const { return fResult == value; }
    bool operator!=(int value) const { return fResult != value; }

    int pclose();
    // Forgets the stream without closing it.
    void clear();

    static int pcreate(const PLiteral& path);
    static int pdelete(const PLiteral& path);

private:
    int fResult;
    PString fEntry;
    PString fPattern;
    PString fDirPath;
    DIR* fDir;
    struct dirent* fDirEntry;
};

#endif // QRIX_PDIR_H
