#ifndef QRIX_PSEMAPHORE_H
#define QRIX_PSEMAPHORE_H

#include "qrixTypes.h"

#endif // QRIX_PSEMAPHORE_H
