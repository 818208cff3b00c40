// PCounter: a signed 32-bit counter that wraps around; every change goes
// through the virtual change() and set(), which PCounterSync wraps in a lock.
#ifndef QRIX_PCOUNTER_H
#define QRIX_PCOUNTER_H

#include "qrixPMutex.h"
#include "qrixTypes.h"

class QRIX_EXPORT PCounter {
public:
    PCounter(int value = 0);
    PCounter(const PCounter& other);
    virtual ~PCounter();

    PCounter& operator=(const PCounter& other);
    PCounter& operator=(int value);
    PCounter& operator+=(const PCounter& other);
    PCounter& operator+=(int delta);
    PCounter& operator-=(const PCounter& other);
    PCounter& operator-=(int delta);
    PCounter& operator++();
    PCounter& operator--();

    bool operator==(const PCounter& o) const { return fValue == o.fValue; }
    bool operator!=(const PCounter& o) const { return fValue != o.fValue; }
    bool operator<(const PCounter& o) const { return fValue < o.fValue; }
    bool operator<=(const PCounter& o) const { return fValue <= o.fValue; }
    bool operator>(const PCounter& o) const { return fValue > o.fValue; }
    bool operator>=(const PCounter& o) const { return fValue >= o.fValue; }
    bool operator==(int v) const { return fValue == v; }
    bool operator!=(int v) const { return fValue != v; }
    bool operator<(int v) const { return fValue < v; }
    bool operator<=(int v) const { return fValue <= v; }
    bool operator>(int v) const { return fValue > v; }
    bool operator>=(int v) const { return fValue >= v; }

    operator int() const { return fValue; }

    // Adds delta modulo 2^32 and returns the new value.
    virtual int change(int delta);
    virtual void set(int value);

protected:
    int fValue;
};

// The mutex is never initialised, so its lock calls fail at once and the
// counter is in fact no safer than PCounter.
class QRIX_EXPORT PCounterSync : public PCounter {
public:
    PCounterSync(int value = 0);
    PCounterSync(const PCounterSync& other);
    ~PCounterSync() override;

    using PCounter::operator=;
    PCounterSync& operator=(const PCounterSync& other);

    int change(int delta) override;
    void set(int value) override;

private:
    PMutex fMutex;
};

#endif // QRIX_PCOUNTER_H
