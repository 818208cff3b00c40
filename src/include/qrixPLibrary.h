#ifndef QRIX_PLIBRARY_H
#define QRIX_PLIBRARY_H

#include "qrixTypes.h"

#endif // QRIX_PLIBRARY_H
