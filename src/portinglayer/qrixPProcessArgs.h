// The narrow argument vector of a child process, made before fork so that an
// allocation failure reaches the caller and the child only has to exec.
// Private to the library.
#ifndef QRIX_PPROCESS_ARGS_H
#define QRIX_PPROCESS_ARGS_H

#include <memory>

#include "qrixPString.h"

namespace qrix::detail {

// The program, then the tokens that repeated PLiteral::getNextToken(line,
// token, ' ') would give, each converted as pwchar2pchar(token) would be ("" where
// that gives nothing), then a null pointer. Made in linear time: the tokenizer
// copies the rest of the line at every step.
class ArgumentVector {
public:
    // PRES_OK, or PRES_NO_MEMORY when the vector cannot be had.
    int build(const PLiteral& program, const PLiteral& cmdLine);
    char* file() const { return fArgv[0]; }
    char** argv() const { return fArgv.get(); }
    // Elements before the terminating null, the program included.
    unsigned long count() const { return fCount; }

private:
    std::unique_ptr<char[]> fText;
    std::unique_ptr<char*[]> fArgv;
    unsigned long fCount = 0;
};

} // namespace qrix::detail

#endif // QRIX_PPROCESS_ARGS_H
