#ifndef QRIX_PSYSTEM_H
#define QRIX_PSYSTEM_H

#include "qrixTypes.h"

#endif // QRIX_PSYSTEM_H
