// SPDX-License-Identifier: MIT
#include <ORVEX/AutoPointer.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

using ORVEX::AutoPointer;

namespace {

struct Counted {
    static int living;
    Counted() { ++living; }
    ~Counted() { --living; }
    int value = 3;
};

int Counted::living = 0;

struct Record {
    void* pointer;
    long number;
    bool flag;
};

struct Broken {
    Broken() { throw std::runtime_error("broken"); }
};

// A class whose engine only its own source file knows.
class Holder {
public:
    Holder();
    ~Holder();
    int Value() const;

private:
    struct Engine;
    AutoPointer<Engine> engine;
};

struct Holder::Engine {
    int value = 12;
};

Holder::Holder() = default;
Holder::~Holder() = default;
int Holder::Value() const { return engine->value; }

} // namespace

static_assert(!std::is_copy_constructible<AutoPointer<int>>::value, "one pointer, one object");
static_assert(!std::is_copy_assignable<AutoPointer<int>>::value, "one pointer, one object");
static_assert(!std::is_move_constructible<AutoPointer<int>>::value, "nothing moves");
static_assert(sizeof(AutoPointer<Record>) == sizeof(void*), "a pointer and nothing else");

TEST(AutoPointer, MakesItsObjectAndDeletesIt)
{
    {
        const AutoPointer<Counted> pointer;
        EXPECT_EQ(1, Counted::living);
        EXPECT_EQ(3, pointer->value);
        pointer->value = 4;
        EXPECT_EQ(4, (*pointer).value);
    }
    EXPECT_EQ(0, Counted::living);
}

TEST(AutoPointer, PlainRecordsStartAsZero)
{
    const AutoPointer<Record> pointer;
    EXPECT_EQ(nullptr, pointer->pointer);
    EXPECT_EQ(0, pointer->number);
    EXPECT_FALSE(pointer->flag);
}

TEST(AutoPointer, HoldsATypeThatItsOwnersHeaderDoesNotKnow)
{
    const Holder holder;
    EXPECT_EQ(12, holder.Value());
}

TEST(AutoPointer, OtherExceptionsPass) { EXPECT_THROW(AutoPointer<Broken>(), std::runtime_error); }
