#include "qor/mt/handle.h"

#include "mt/shared_count.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

struct Counted : virtual Shared {
    explicit Counted(int& deleted) : deleted_(&deleted) {}
    Counted(const Counted&) = default;
    ~Counted() override { ++*deleted_; }
    int* deleted_;
};

struct Derived : Counted {
    using Counted::Counted;
    ~Derived() override {
        // A Handle to an object that is being destroyed does not delete it again.
        const Handle<Counted> self(this);
    }
};

TEST(Handle, DeletesTheObjectOnceWithItsLastOwner) {
    int deleted = 0;
    auto* object = new Derived(deleted);
    EXPECT_EQ(object->__GetRef(), 0);
    Handle<Derived> first(object);
    {
        Handle<Counted> second = first;
        const Handle<Counted> third = second;
        EXPECT_EQ(object->__GetRef(), 3);
        Handle<Counted>& same = second;
        second = std::move(same);
        EXPECT_EQ(second, third);
        EXPECT_EQ(third.as<Derived>(), first);
    }
    EXPECT_EQ(object->__GetRef(), 1);
    first = new Derived(deleted);
    EXPECT_EQ(deleted, 1);
    first.reset();
    EXPECT_EQ(deleted, 2);
    EXPECT_TRUE(first == nullptr && !first);
}

TEST(Handle, AdoptsAShareAndLeavesDeletionToTheCaller) {
    int deleted = 0;
    auto* object = new Counted(deleted);
    SharedCount::takeFirst(*object);
    Handle<Counted> owner = Handle<Counted>::adopt(object);
    object->__AddRef();
    EXPECT_FALSE(SharedCount::release(*object));
    EXPECT_EQ(object->__GetRef(), 1);
    owner.reset();
    EXPECT_EQ(deleted, 1);
    Counted local(deleted);
    for (const bool noDelete : {true, false}) {
        local.__setNoDelete(noDelete);
        local.__AddRef();
        EXPECT_EQ(SharedCount::release(local), !noDelete);
    }
    EXPECT_EQ(deleted, 1);
}

TEST(Handle, LeavesAnObjectWithNoDeleteAlone) {
    int deleted = 0;
    {
        Counted object(deleted);
        object.__setNoDelete(true);
        { const Handle<Counted> only(&object); }
        EXPECT_EQ(deleted, 0);
        // A copy is an object of its own: with no owner, and to be deleted.
        auto* copy = new Counted(object);
        EXPECT_EQ(copy->__GetRef(), 0);
        { const Handle<Counted> only(copy); }
        EXPECT_EQ(deleted, 1);
    }
    EXPECT_EQ(deleted, 2);
}

TEST(Handle, RaisesWhenNullIsFollowed) {
    const Handle<Counted> null;
    const std::string name = raisedIn<NullHandleException>([&] { (void)*null; });
    EXPECT_TRUE(name.starts_with("qor::SmartPtrBase<class qor::")) << name;
    EXPECT_TRUE(name.ends_with("::Counted>::operator ->")) << name;
    EXPECT_DEATH(
        {
            nullHandleAbort = true;
            (void)null->deleted_;
        },
        "");
}

TEST(Handle, CountsFromManyThreads) {
    int deleted = 0;
    Handle<const Counted> shared(new Counted(deleted));
    inThreads(2, [&shared] {
        for (int n = 0; n < 5000; ++n)
            Handle<const Counted>(shared).reset();
    });
    EXPECT_EQ(shared->__GetRef(), 1);
    EXPECT_EQ(deleted, 0);
}

TEST(Handle, IsAKey) {
    int deleted = 0;
    const Handle<Counted> one(new Counted(deleted));
    const Handle<Counted> two(new Counted(deleted));
    const std::unordered_set<Handle<Counted>> set{one, two, one};
    EXPECT_EQ(set.size(), 2u);
    EXPECT_NE(one < two, two < one);
    EXPECT_EQ(Handle<Counted>(NULL), nullptr);
}

}  // namespace
}  // namespace qor
