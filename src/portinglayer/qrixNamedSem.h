// Opening a named semaphore, shared by PMutex and PSemaphore. Private to the
// library.
#ifndef QRIX_NAMED_SEM_H
#define QRIX_NAMED_SEM_H

#include <semaphore.h>

// sem_open with the name as given: create (exclusive, mode 0770, initial
// count) or open an existing one. A name the system finds too long is cut
// after its 13th character, in place and for good, so that close unlinks the
// name actually used, and tried once more. A null name fails as an empty
// one does. errno tells why it failed.
sem_t* openNamedSem(char* name, bool create, unsigned int count);

#endif // QRIX_NAMED_SEM_H
