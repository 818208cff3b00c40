// Opening a named semaphore now belongs to the platform contract.
#ifndef QRIX_NAMED_SEM_H
#define QRIX_NAMED_SEM_H

#include "qrixPlatform.h"

using qrix::detail::openNamedSem;

#endif // QRIX_NAMED_SEM_H
