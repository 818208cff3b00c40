#include "qrixPLibrary.h"

#include <dlfcn.h>

#include <new>

#include "qrixDiag.h"

PLibrary::PLibrary() : fFreeOnDestroy(true), fHandle(nullptr) {}

PLibrary::~PLibrary()
{
    if (!fHandle)
        return;
    if (fFreeOnDestroy) {
        PL_DBG(11, "[PL_DBG]<%02d> [qRIX] PLibrary::~PLibrary() freeing : %ls\n", PL_WSTR(fName));
        dlclose(fHandle);
    }
    // Without fFreeOnDestroy the reference is dropped on purpose: functions
    // taken from the library must outlive this object.
    fHandle = nullptr;
}

int PLibrary::load(const PLiteral& name, PLibrary*& oLibrary, bool iFreeOnDestroy)
{
    // An empty name converts to null, which the loader takes as the program.
    char* narrow = name;
    void* handle = dlopen(narrow, RTLD_LAZY);
    if (!handle) {
        const char* reason = dlerror();
        PL_ERR("\n[qRIX][ERR] [PLibrary::load] dlopen('%s', RTLD_LAZY) failed! dlerror: %s\n\n",
               narrow ? narrow : "(null)", reason ? reason : "(null)");
    }
    delete[] narrow;
    if (!handle)
        return PLIBRARY_ERR_LOAD;

    PLibrary* library = new (std::nothrow) PLibrary();
    if (!library) {
        dlclose(handle); // nobody would own this reference
        return PRES_NO_MEMORY;
    }
    library->fHandle = handle;
    library->fName = name;
    library->fFreeOnDestroy = iFreeOnDestroy;
    oLibrary = library;
    return PRES_OK;
}

void* PLibrary::getFunction(const char* symbol)
{
    if (!fHandle || !symbol)
        return nullptr;
    return dlsym(fHandle, symbol);
}

const PString& PLibrary::getName() const
{
    return fName;
}

void PLibrary::fixLibName(PString& name)
{
    if (!name.startsWith(L"lib", 3, true))
        name.insert(0, L"lib");
    if (!name.endsWith(L".dylib", 6, true))
        name.cat(L".dylib");
}
