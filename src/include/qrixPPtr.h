// PPtr<T>: a reference-counted owning pointer whose kind says how the pointee
// is freed. The counter is a plain int shared by all holders of one pointee.
#ifndef QRIX_PPTR_H
#define QRIX_PPTR_H

#include "qrixTypes.h"

enum ePtrType : int {
    PTR_SINGLE = 0, // freed with delete
    PTR_ARRAY = 1   // freed with delete[]
    // any other value: the pointee is not freed
};

template <class T>
class PPtr {
public:
    PPtr(T* p = nullptr, ePtrType kind = PTR_SINGLE) { init(p, nullptr, kind); }
    PPtr(const PPtr& other) { init(other.ptr, other.counter, other.type); }
    virtual ~PPtr() { clear(); }

    // Taking a new raw pointer keeps the ownership kind and starts a new count.
    PPtr& operator=(T* p)
    {
        if (p == ptr)
            return *this;
        ePtrType kept = type;
        clear();
        init(p, nullptr, kept);
        return *this;
    }

    PPtr& operator=(const PPtr& other)
    {
        if (this == &other)
            return *this;
        clear();
        init(other.ptr, other.counter, other.type);
        return *this;
    }

    operator T*() const { return ptr; }
    T* getPtr() const { return ptr; }
    T* operator->() const { return ptr; }
    ePtrType getType() const { return type; }

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

    // Holders of one pointee share `counter`; a null PPtr holds none.
    T* ptr;
    int* counter;
    ePtrType type;

protected:
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

    virtual void newCounter() {}

    virtual void freePtr()
    {
        if (type == PTR_SINGLE)
            delete ptr;
        else if (type == PTR_ARRAY)
            delete[] ptr;
    }
};

#endif // QRIX_PPTR_H
