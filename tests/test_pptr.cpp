// PPtr: holders share one count; the kind decides how, and whether, the pointee goes.
#include <string>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

namespace {

std::string gDestroyed; // ids of destroyed Tracked objects, in order

struct Base {
    virtual ~Base() = default;
};

struct Tracked : Base {
    char id;
    explicit Tracked(char c = '?') : id(c) {}
    ~Tracked() override { gDestroyed += id; }
};

} // namespace

TEST(PPtr, CopiesAndRawReassignmentShareOneCount)
{
    gDestroyed.clear();
    {
        PPtr<Base> first(new Tracked('a'), PTR_SINGLE); // freed through the virtual destructor
        PPtr<Base> second(first), third;
        third = second;
        third = third;
        first = first.getPtr(); // the same pointer: the count must not drop
        second.clear();
        third = new Tracked('b'); // 'a' is still held by first
        EXPECT_EQ(gDestroyed, "");
        first = new Tracked('c'); // first was the last holder of 'a'
        EXPECT_EQ(gDestroyed, "a");
    }
    EXPECT_EQ(gDestroyed, "abc");
}

TEST(PPtr, ArraysGoLastFirstOtherKindsFreeNothing)
{
    gDestroyed.clear();
    Tracked* items = new Tracked[3];
    items[0].id = '0', items[1].id = '1', items[2].id = '2';
    Tracked* loose = new Tracked('n');
    {
        PPtr<Tracked> arr(items, PTR_ARRAY), keep(arr);
        arr = new Tracked[2]; // keeps the array kind, so delete[] and not delete
        keep.clear();
        EXPECT_EQ(gDestroyed, "210");
        EXPECT_TRUE(keep.getType() == PTR_SINGLE && keep.getPtr() == nullptr);
        PPtr<Tracked> other(loose, (ePtrType)2), copy(other), empty(nullptr, PTR_ARRAY), emptyCopy(empty);
    }
    delete loose;
    EXPECT_EQ(gDestroyed, "210??n");
}
