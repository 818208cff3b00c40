// PTempFile: a PFile opened under the caller's prefix followed by a random
// number. The file outlives the object; removing it is the caller's business.
#ifndef QRIX_PTEMP_FILE_H
#define QRIX_PTEMP_FILE_H

#include "qrixPFile.h"
#include "qrixTypes.h"

class QRIX_EXPORT PTempFile : public PFile {
public:
    PTempFile();
    ~PTempFile() override;

    int popen(const PLiteral& prefix, unsigned int mode, unsigned int iNoLock = 0);
    int pclose();

    // Decimal text of a number drawn after reseeding from the clock's second;
    // the caller frees it with delete[].
    wchar_t* getRandStr();

protected:
    bool fOpened;
};

#endif // QRIX_PTEMP_FILE_H
