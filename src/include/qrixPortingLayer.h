/// @file
/// The porting layer's umbrella header: callers include this one alone.
///
/// The library converts between wide and narrow text in the application's
/// `LC_CTYPE` locale and never sets it: call `setlocale` (a UTF-8 locale in
/// practice) before passing non-ASCII text, and read PLiteral::pwchar2pchar()
/// on how such text is cut. docs/behaviours.md lists the behaviours that
/// surprise callers and what to do instead.
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
