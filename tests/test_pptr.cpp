// PPtr: holders share one count; the kind decides how, and whether, the pointee goes.
#include "testSupport.h"

namespace {
std::string gDestroyed; // ids of destroyed Tracked objects, in order

struct Base { virtual ~Base() = default; };

struct Tracked : Base {
    char id;
    Tracked(char c = '?') : id(c) {}
    ~Tracked() override { gDestroyed += id; }
};

// Counts the fresh counters announced to it.
struct CountedPtr : PPtr<Tracked> {
    int fresh = 0;
    using PPtr<Tracked>::operator=;
    void newCounter() override { ++fresh; }
};
} // namespace

TEST(PPtr, HoldersShareOneCountTheKindDecidesTheFree)
{
    gDestroyed.clear();
    {
        PPtr<Base> first(new Tracked('a')); // single by default, freed through the virtual destructor
        PPtr<Base> second(first), third;
        third = second;
        PPtr<Base>& alias = third;
        third = alias;
        first = first.getPtr(); // the same pointer: the count must not drop
        second.clear();
        third = new Tracked('b'); // 'a' is still held by first
        EXPECT_EQ(gDestroyed, "");
        first = new Tracked('c'); // first was the last holder of 'a'
        EXPECT_EQ(gDestroyed, "a");
    }
    EXPECT_EQ(gDestroyed, "abc");

    // Arrays go last first; other kinds free nothing.
    Tracked loose('n');
    {
        PPtr<Tracked> arr(new Tracked[3]{'0', '1', '2'}, PTR_ARRAY), keep(arr);
        arr = new Tracked[2]; // keeps the array kind, so delete[] and not delete
        keep.clear();
        EXPECT_EQ(gDestroyed, "abc210");
        EXPECT_TRUE(keep.getType() == PTR_SINGLE && keep.getPtr() == nullptr);
        PPtr<Tracked> other(&loose, (ePtrType)2), copy(other), empty(nullptr, PTR_ARRAY), emptyCopy(empty);
    }
    EXPECT_EQ(gDestroyed, "abc210??");

    // Assignment takes the kind with the pointer; a fresh counter is announced
    // (in the constructor the base's own hook runs), a shared one is not.
    PPtr<Tracked> array(new Tracked[2], PTR_ARRAY), assigned, single(new Tracked('s'));
    assigned = array;
    CountedPtr counted;
    counted = new Tracked('t');
    counted = single;
    counted = (Tracked*)nullptr;
    EXPECT_TRUE(assigned.getType() == PTR_ARRAY && counted.fresh == 1);
}
