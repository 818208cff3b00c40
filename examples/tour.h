// The tour: one function per family of the library, run in order by main().
#ifndef QRIX_TOUR_H
#define QRIX_TOUR_H

void tourStrings();
void tourCore();
void tourFiles();
void tourProcesses();
void tourBinary();
void tourSync();

#endif // QRIX_TOUR_H
