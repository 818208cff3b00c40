#ifndef QRIX_PDATA_FORMATER_H
#define QRIX_PDATA_FORMATER_H

#include "qrixTypes.h"

#endif // QRIX_PDATA_FORMATER_H
