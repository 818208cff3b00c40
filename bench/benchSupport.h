// What the benchmark programs share: a scratch directory for the file rows,
// and a way to stop a row whose two sides did not do the same work.
#ifndef QRIX_BENCH_SUPPORT_H
#define QRIX_BENCH_SUPPORT_H

#include <string>

// A private directory made by main() and removed with its contents at exit.
const std::string& benchDir();

// Prints the row and the reason and ends the program: a ratio of two sides
// that disagree would be meaningless.
[[noreturn]] void benchFail(const char* row, const char* why);

#endif // QRIX_BENCH_SUPPORT_H
