#ifndef QRIX_PCOUNTER_H
#define QRIX_PCOUNTER_H

#include "qrixTypes.h"

#endif // QRIX_PCOUNTER_H
