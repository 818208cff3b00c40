// PLibrary: a shared library loaded with the dynamic loader. Objects are made
// only by load() and owned (and deleted) by the caller.
#ifndef QRIX_PLIBRARY_H
#define QRIX_PLIBRARY_H

#include "qrixPString.h"
#include "qrixTypes.h"

class QRIX_EXPORT PLibrary {
public:
    // The name reaches the loader as given (an empty one means the program
    // itself). With iFreeOnDestroy false the library stays loaded for good.
    static int load(const PLiteral& name, PLibrary*& oLibrary, bool iFreeOnDestroy = true);

    // The symbol's address, or null; a missing symbol is not reported.
    void* getFunction(const char* symbol);
    const PString& getName() const;

    // "foo" -> "libfoo.dylib"; looks at the whole text, so meant for bare names.
    static void fixLibName(PString& name);

    virtual ~PLibrary();

private:
    PLibrary();
    PLibrary(const PLibrary&) = delete;
    PLibrary& operator=(const PLibrary&) = delete;

    PString fName;
    bool fFreeOnDestroy;
    void* fHandle;
};

#endif // QRIX_PLIBRARY_H
