// PFile::removeAll: a directory and everything below it, depth first.
#include "qrixPFile.h"

#include "qrixDiag.h"
#include "qrixPDebug.h"
#include "qrixPDir.h"
#include "qrixPUtils.h"

namespace {

// One entry of `path`: a directory is removed whole, anything else deleted.
int removeEntry(const PString& path, const PString& entry)
{
    PString child(path);
    child += L"/";
    child += entry;
    int res = PRES_OK;
    if (PFile::check(child, PFILE_ATTR_DIR)) {
        res = PFile::removeAll(child);
        if (res != PRES_OK)
            qrix_pl_debug_print("removeAll: removeAll(%ls) failed, res[%d]\n", PL_WSTR(child), res);
        return res;
    }
    qrix_pl_debug_print("removeAll: ## rm [%ls]\n", PL_WSTR(child));
    res = PFile::pdelete(child);
    if (res != PRES_OK)
        qrix_pl_debug_print("removeAll: PFile::pdelete(%ls) failed, res[%d]\n", PL_WSTR(child), res);
    return res;
}

// Empties the directory `pd` lists; the first failure ends the walk.
int removeEntries(PDir& pd, const PString& path)
{
    pd.preaddir();
    while (pd == PRES_OK) {
        if (pd.getResult() != PRES_OK) {
            qrix_pl_debug_print("removeAll: pd.getResult failed, res[%d]\n", pd.getResult());
            return pd.getResult();
        }
        const PString& entry = pd.getEntry();
        if (entry != L"." && entry != L"..") {
            int res = removeEntry(path, entry);
            if (res != PRES_OK)
                return res;
        }
        ++pd;
    }
    return PRES_OK;
}

} // namespace

int PFile::removeAll(const PLiteral& iPath)
{
    int res = PRES_OK;
    PString path(iPath);
    PUtils::fixFileSeparator(path);
    if (path.endsWith(L"/"))
        path.erase(path.len() - 1, 1);

    if (!exists(path)) {
        qrix_pl_debug_print("removeAll: argument[%ls] does not exist, res[%d]\n", PL_WSTR(path), res);
        return PDIR_ERR_NOT_FOUND;
    }
    if (!check(path, PFILE_ATTR_DIR)) {
        qrix_pl_debug_print("removeAll: argument[%ls] is not a valid directory, res[%d]\n", PL_WSTR(path), res);
        return PRES_INVALID_ARG;
    }

    PDir pd;
    int openRes = pd.popen(path, L"");
    if (openRes != PRES_OK)
        qrix_pl_debug_print("removeAll: PDir::popen(%ls) failed, res[%d]\n", PL_WSTR(path), openRes);
    res = removeEntries(pd, path);
    if (res != PRES_OK)
        return res;
    pd.pclose();

    qrix_pl_debug_print("removeAll: ## rmdir [%ls]\n", PL_WSTR(path));
    res = PDir::pdelete(path);
    if (res == PRES_OK)
        return PRES_OK;
    // A symbolic link followed as a directory is not an rmdir target: unlink it.
    qrix_pl_debug_print("removeAll: PDir::pdelete (%ls) failed, res[%d]\n", PL_WSTR(path), res);
    res = pdelete(path);
    if (res != PRES_OK)
        qrix_pl_debug_print("removeAll: PFile::pdelete (%ls) failed, res[%d]\n", PL_WSTR(path), res);
    return res;
}
