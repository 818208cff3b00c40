// The porting layer's umbrella header: callers include this one alone.
#ifndef QRIX_PORTING_LAYER_H
#define QRIX_PORTING_LAYER_H

#include "qrixVersion.h"
#include "qrixTypes.h"
#include "qrixPDebug.h"
#include "qrixPPtr.h"
#include "qrixPString.h"
#include "qrixPUtils.h"
#include "qrixPTime.h"
#include "qrixPSystem.h"
#include "qrixPThread.h"
#include "qrixPMutex.h"
#include "qrixPSemaphore.h"
#include "qrixPConditionalVar.h"
#include "qrixPCounter.h"
#include "qrixPFile.h"
#include "qrixPDir.h"
#include "qrixPTempFile.h"
#include "qrixPLibrary.h"
#include "qrixPProcess.h"
#include "qrixPDataFormater.h"
#include "qrix_macosx.h"

#endif // QRIX_PORTING_LAYER_H
