/// @file
/// PCounter: a signed 32-bit counter that wraps around; every change goes
/// through the virtual change() and set(), which PCounterSync wraps in a lock.
#ifndef QRIX_PCOUNTER_H
#define QRIX_PCOUNTER_H

#include "qrixPMutex.h"
#include "qrixTypes.h"

/// A signed 32-bit counter with arithmetic and comparison operators.
///
/// Sums wrap around (2,147,483,647 + 1 gives -2,147,483,648). Not synchronised:
/// share one between threads only under your own lock, or use `std::atomic<int>`.
class QRIX_EXPORT PCounter {
public:
    /// A counter holding @p value.
    PCounter(int value = 0);
    /// A counter holding @p other's value (set() is not called).
    PCounter(const PCounter& other);
    /// Does nothing more.
    virtual ~PCounter();

    ///@{
    /// Stores the value through set() and returns the counter.
    PCounter& operator=(const PCounter& other);
    PCounter& operator=(int value);
    ///@}
    ///@{
    /// Adds or subtracts through change() and returns the counter (prefix
    /// forms only).
    PCounter& operator+=(const PCounter& other);
    PCounter& operator+=(int delta);
    PCounter& operator-=(const PCounter& other);
    PCounter& operator-=(int delta);
    PCounter& operator++();
    PCounter& operator--();
    ///@}

    ///@{
    /// Signed comparison of the values.
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
    ///@}

    /// The value.
    operator int() const { return fValue; }

    /// Adds @p delta modulo 2^32 and returns the new value.
    virtual int change(int delta);
    /// Stores @p value.
    virtual void set(int value);

protected:
    int fValue; ///< The value.
};

/// A PCounter whose changes are wrapped in calls to its own mutex.
///
/// @warning Not synchronised in fact: the mutex is never initialised, so its
/// lock calls fail at once and the counter is no safer than PCounter. Guard it
/// with your own initialised PMutex, or use `std::atomic<int>`.
class QRIX_EXPORT PCounterSync : public PCounter {
public:
    /// A counter holding @p value.
    PCounterSync(int value = 0);
    /// A counter holding @p other's value.
    PCounterSync(const PCounterSync& other);
    /// Sets the value to 0.
    ~PCounterSync() override;

    /// Stores the value through set() and returns the counter.
    using PCounter::operator=;
    /// Stores @p other's value through set().
    PCounterSync& operator=(const PCounterSync& other);

    /// PCounter::change() between the (failing) lock and unlock calls.
    int change(int delta) override;
    /// PCounter::set() between the (failing) lock and unlock calls.
    void set(int value) override;

private:
    PMutex fMutex;
};

#endif // QRIX_PCOUNTER_H
