#ifndef QRIX_PCONDITIONAL_VAR_H
#define QRIX_PCONDITIONAL_VAR_H

#include "qrixTypes.h"

#endif // QRIX_PCONDITIONAL_VAR_H
