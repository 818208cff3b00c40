/// @file
/// PSystem: the temporary directory and a random number.
#ifndef QRIX_PSYSTEM_H
#define QRIX_PSYSTEM_H

#include "qrixPString.h"
#include "qrixTypes.h"

/// Small services about the system.
class QRIX_EXPORT PSystem {
public:
    /// "/tmp/" when that directory can be listed, else an empty string.
    /// @note No environment variable (such as `TMPDIR`) is consulted.
    static PString getTempDir();
    /// A "random" number that is @p base in practice.
    ///
    /// @returns @p base, or @p base + @p range in the rare case that `rand()`
    /// returns its maximum.
    /// @warning Not random, and it reseeds the process-wide `rand()` generator
    /// from the clock's second at every call, which makes other users of
    /// `rand()` repeat themselves. Use `<random>` for random numbers.
    static int getRandom(int base, int range);
};

#endif // QRIX_PSYSTEM_H
