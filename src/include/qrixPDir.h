#ifndef QRIX_PDIR_H
#define QRIX_PDIR_H

#include "qrixTypes.h"

#endif // QRIX_PDIR_H
