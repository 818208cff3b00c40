// Platform file: only definitions of qrixPlatform.h, here named semaphores.
#include "qrixPlatform.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

namespace {

// Systems that refuse long names still take this many characters.
constexpr size_t SHORT_NAME_LEN = 13;
// NAME_MAX less the "sem." the system puts before the name.
constexpr size_t LONGEST_NAME = 251;

sem_t* popenSem(const char* name, bool create, unsigned int count)
{
    return create ? sem_open(name, O_CREAT | O_EXCL, 0770, count) : sem_open(name, 0);
}

// glibc answers EINVAL instead of ENAMETOOLONG once "sem." and the name
// (leading slashes dropped) cannot fit in NAME_MAX at all.
bool isNameTooLong(int err, const char* name)
{
    if (err == ENAMETOOLONG)
        return true;
    while (*name == '/')
        ++name;
    return err == EINVAL && std::strlen(name) > LONGEST_NAME;
}

} // namespace

sem_t* qrix::detail::openNamedSem(char* name, bool create, unsigned int count)
{
    // A name that did not convert is refused like an empty one.
    if (!name)
        return popenSem("", create, count);
    sem_t* sem = popenSem(name, create, count);
    if (sem == SEM_FAILED && isNameTooLong(errno, name) && std::strlen(name) >= SHORT_NAME_LEN) {
        name[SHORT_NAME_LEN] = '\0';
        sem = popenSem(name, create, count);
    }
    return sem;
}
