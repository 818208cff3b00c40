#ifndef QRIX_PPROCESS_H
#define QRIX_PPROCESS_H

#include "qrixTypes.h"

#endif // QRIX_PPROCESS_H
