#ifndef QRIX_PMUTEX_H
#define QRIX_PMUTEX_H

#include "qrixTypes.h"

#endif // QRIX_PMUTEX_H
