/// @file
/// PLibrary: a shared library loaded with the dynamic loader. Objects are made
/// only by load() and owned (and deleted) by the caller.
#ifndef QRIX_PLIBRARY_H
#define QRIX_PLIBRARY_H

#include "qrixPString.h"
#include "qrixTypes.h"

/// A loaded shared library.
///
/// The dynamic loader may be used from several threads; one object has one
/// owner, who deletes it.
class QRIX_EXPORT PLibrary {
public:
    /// Loads a shared library (`dlopen` with RTLD_LAZY).
    ///
    /// @param name the file name or path, passed as given to the loader and
    ///        its search rules; fixLibName() is not applied.
    /// @param oLibrary receives a new object that the caller deletes with
    ///        `delete`; untouched on failure.
    /// @param iFreeOnDestroy whether deleting the object unloads the library.
    ///        With false the library stays loaded for the life of the process,
    ///        so functions taken from it stay valid after the object is gone.
    /// @returns #PRES_OK (0); #PLIBRARY_ERR_LOAD (-601) when the loader refuses
    /// (a `[qRIX][ERR]` line with the loader's message is always printed);
    /// #PRES_NO_MEMORY (-501).
    /// @warning An empty name, or one that does not convert (any non-ASCII
    /// name in the "C" locale), reaches the loader as a null path, which
    /// loads the running program itself: the call succeeds and getFunction()
    /// finds the program's symbols. Check that `name.ascii()` gives text
    /// before loading. Non-ASCII names are cut as PLiteral::pwchar2pchar()
    /// describes.
    static int load(const PLiteral& name, PLibrary*& oLibrary, bool iFreeOnDestroy = true);

    /// The address of @p symbol, or null when it is missing (not reported) or
    /// @p symbol is null. Valid while the library stays loaded.
    void* getFunction(const char* symbol);
    /// The name given to load().
    const PString& getName() const;

    /// Puts "lib" in front of @p name and ".dylib" after it, each unless
    /// already there (case-insensitive): "foo" gives "libfoo.dylib".
    /// @warning This is the Apple form on every platform; Linux libraries end
    /// in ".so", so do not pass the result to load() there. The rule looks at
    /// the whole text: "/opt/x/foo" becomes "lib/opt/x/foo.dylib". Use bare
    /// module names only.
    static void fixLibName(PString& name);

    /// Unloads the library unless load() was told otherwise; function
    /// addresses taken from it are invalid afterwards.
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
