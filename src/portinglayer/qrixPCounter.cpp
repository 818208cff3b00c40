#include "qrixPCounter.h"

namespace {
// Two's-complement wrap-around without signed overflow.
int wrappedSum(int value, int delta)
{
    return (int)((unsigned int)value + (unsigned int)delta);
}

int negated(int value)
{
    return (int)(0u - (unsigned int)value);
}
} // namespace

PCounter::PCounter(int value) : fValue(value) {}

PCounter::PCounter(const PCounter& other) : fValue(other.fValue) {}

PCounter::~PCounter() {}

PCounter& PCounter::operator=(const PCounter& other)
{
    set(other.fValue);
    return *this;
}

PCounter& PCounter::operator=(int value)
{
    set(value);
    return *this;
}

PCounter& PCounter::operator+=(const PCounter& other)
{
    change(other.fValue);
    return *this;
}

PCounter& PCounter::operator+=(int delta)
{
    change(delta);
    return *this;
}

PCounter& PCounter::operator-=(const PCounter& other)
{
    change(negated(other.fValue));
    return *this;
}

PCounter& PCounter::operator-=(int delta)
{
    change(negated(delta));
    return *this;
}

PCounter& PCounter::operator++()
{
    change(1);
    return *this;
}

PCounter& PCounter::operator--()
{
    change(-1);
    return *this;
}

int PCounter::change(int delta)
{
    fValue = wrappedSum(fValue, delta);
    return fValue;
}

void PCounter::set(int value)
{
    fValue = value;
}
