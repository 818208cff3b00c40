// PPtr: shared counting, the three ownership kinds and raw reassignment.
#include <string>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

namespace {

std::string gDestroyed; // ids of destroyed Tracked objects, in order

struct Base {
    virtual ~Base() = default;
};

struct Tracked : Base {
    char id = '?';
    ~Tracked() override { gDestroyed += id; }
};

Tracked* make(char id)
{
    Tracked* t = new Tracked;
    t->id = id;
    return t;
}

} // namespace

TEST(PPtr, CopiesAndRawReassignmentShareOneCount)
{
    gDestroyed.clear();
    {
        PPtr<Base> first(make('a'), PTR_SINGLE); // freed through the virtual destructor
        PPtr<Base> second(first), third;
        third = second;
        third = third;
        first = first.getPtr(); // the same pointer: the count must not drop
        second.clear();
        third = make('b'); // 'a' is still held by first
        EXPECT_EQ(gDestroyed, "");
        first = make('c'); // first was the last holder of 'a'
        EXPECT_EQ(gDestroyed, "a");
    }
    EXPECT_EQ(gDestroyed, "abc");
}

TEST(PPtr, ArraysGoLastFirstAndReassignmentKeepsTheKind)
{
    gDestroyed.clear();
    Tracked* items = new Tracked[3];
    items[0].id = '0', items[1].id = '1', items[2].id = '2';
    Tracked* more = new Tracked[2];
    more[0].id = 'x', more[1].id = 'y';
    {
        PPtr<Tracked> arr(items, PTR_ARRAY);
        PPtr<Tracked> keep(arr);
        arr = more; // freed with delete[] later, not delete
        keep.clear();
        EXPECT_EQ(gDestroyed, "210");
        EXPECT_EQ(keep.getType(), PTR_SINGLE); // a cleared holder reads kind 0
        EXPECT_EQ((Tracked*)keep, nullptr);
    }
    EXPECT_EQ(gDestroyed, "210yx");
}

TEST(PPtr, OtherKindsAndNullFreeNothing)
{
    gDestroyed.clear();
    Tracked* t = make('n');
    {
        PPtr<Tracked> p(t, (ePtrType)2), copy(p);
        PPtr<Tracked> empty(nullptr, PTR_ARRAY), emptyCopy(empty);
    }
    EXPECT_EQ(gDestroyed, "");
    delete t;

    // An argument vector: only the array of pointers is freed, never the strings.
    char a[] = "a", b[] = "b";
    PPtr<char*> argv(new char*[2]{a, b}, PTR_ARRAY);
}
