#ifndef QRIX_PTEMP_FILE_H
#define QRIX_PTEMP_FILE_H

#include "qrixTypes.h"

#endif // QRIX_PTEMP_FILE_H
