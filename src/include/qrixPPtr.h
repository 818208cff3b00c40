/// @file
/// PPtr<T>, the library's reference-counted owning pointer.
#ifndef QRIX_PPTR_H
#define QRIX_PPTR_H

#include "qrixTypes.h"

/// How a PPtr frees its pointee when the last holder lets go. Any other value
/// frees nothing (only the counter goes).
enum ePtrType : int {
    PTR_SINGLE = 0, ///< One object made with `new`; freed with `delete`.
    PTR_ARRAY = 1   ///< An array made with `new[]`; freed with `delete[]`.
};

/// A reference-counted owning pointer whose kind says how the pointee is freed.
///
/// All holders of one pointee share one counter; the pointee (by its kind) and
/// the counter go when the last holder is destroyed, cleared or reassigned.
/// Nothing is reported and nothing throws except `new int` for the counter.
///
/// @warning Make a second holder only by copying a PPtr. Two PPtr made from
/// the same raw pointer keep two counters and free the pointee twice.
/// @warning The counter is a plain `int`: copying or releasing holders of one
/// pointee from several threads at once needs the caller's own lock.
/// @note `PPtr<char*>` frees only the array of pointers, never the strings.
template <class T>
class PPtr {
public:
    /// Takes ownership of @p p (may be null) with a fresh count of 1.
    PPtr(T* p = nullptr, ePtrType kind = PTR_SINGLE) { init(p, nullptr, kind); }
    /// Shares @p other's pointee and counter.
    PPtr(const PPtr& other) { init(other.ptr, other.counter, other.type); }
    /// Releases this holder's share.
    virtual ~PPtr() { clear(); }

    /// Releases the current pointee and takes @p p with a fresh count, keeping
    /// the ownership kind. Assigning the pointer already held changes nothing.
    PPtr& operator=(T* p)
    {
        if (p == ptr)
            return *this;
        ePtrType kept = type;
        clear();
        init(p, nullptr, kept);
        return *this;
    }

    /// Releases the current pointee and shares @p other's.
    PPtr& operator=(const PPtr& other)
    {
        if (this == &other)
            return *this;
        clear();
        init(other.ptr, other.counter, other.type);
        return *this;
    }

    ///@{
    /// The held pointer, possibly null (no check is made).
    operator T*() const { return ptr; }
    T* getPtr() const { return ptr; }
    T* operator->() const { return ptr; }
    ///@}
    /// The ownership kind; #PTR_SINGLE after clear().
    ePtrType getType() const { return type; }

    /// Releases this holder's share, freeing the pointee if it was the last,
    /// and leaves the object null with kind #PTR_SINGLE.
    void clear()
    {
        if (ptr) {
            if (--*counter == 0) {
                freePtr();
                delete counter;
            }
        }
        ptr = nullptr;
        counter = nullptr;
        type = PTR_SINGLE;
    }

    T* ptr;          ///< The held pointer, or null.
    int* counter;    ///< The count shared by all holders; null while #ptr is null.
    ePtrType type;   ///< How the pointee is freed.

protected:
    /// Holds @p p with @p sharedCounter, or with a new counter when that is
    /// null, and counts this holder.
    void init(T* p, int* sharedCounter, ePtrType kind)
    {
        ptr = p;
        counter = sharedCounter;
        type = kind;
        if (p && !counter) {
            counter = new int(0);
            newCounter();
        }
        if (p)
            ++*counter;
    }

    /// Called right after a fresh counter is made; does nothing here.
    virtual void newCounter() {}

    /// Frees #ptr according to #type.
    virtual void freePtr()
    {
        if (type == PTR_SINGLE)
            delete ptr;
        else if (type == PTR_ARRAY)
            delete[] ptr;
    }
};

#endif // QRIX_PPTR_H
