// PSystem: the temporary directory and a random number.
#ifndef QRIX_PSYSTEM_H
#define QRIX_PSYSTEM_H

#include "qrixPString.h"
#include "qrixTypes.h"

class QRIX_EXPORT PSystem {
public:
    // "/tmp/" when it can be listed, else empty.
    static PString getTempDir();
    // Reseeds from the clock each call; in practice returns base.
    static int getRandom(int base, int range);
};

#endif // QRIX_PSYSTEM_H
