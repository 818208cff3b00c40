#ifndef QRIX_PFILE_H
#define QRIX_PFILE_H

#include "qrixTypes.h"

#endif // QRIX_PFILE_H
