#include "kx/foundation/kxgarbage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>

// This test program counts what is freed: the global allocation functions are replaced by
// malloc/free wrappers that remember freed addresses while `tracking` is set.
namespace {
bool tracking = false;
void *freedSingles[1024];
void *freedArrays[1024];
int singlesFreed = 0;
int arraysFreed = 0;

void *Allocate(std::size_t n)
{
    if (void *p = std::malloc(n ? n : 1))
        return p;
    throw std::bad_alloc();
}

// Every form of delete ends here, so that the sized and unsized forms free alike.
void Release(void *p, void **freed, int &n)
{
    if (tracking && p && n < 1024)
        freed[n++] = p;
    std::free(p);
}

int Count(void *const *freed, int n, const void *p)
{
    return static_cast<int>(std::count(freed, freed + n, p));
}
} // namespace

void *operator new(std::size_t n) { return Allocate(n); }
void *operator new[](std::size_t n) { return Allocate(n); }
void operator delete(void *p) noexcept { Release(p, freedSingles, singlesFreed); }
void operator delete[](void *p) noexcept { Release(p, freedArrays, arraysFreed); }
void operator delete(void *p, std::size_t) noexcept { Release(p, freedSingles, singlesFreed); }
void operator delete[](void *p, std::size_t) noexcept { Release(p, freedArrays, arraysFreed); }

TEST(KXGarbageCollectorTest, FreesLiveRegistrationsWhenArmed)
{
    int unknown = 0;
    int *single = new int(3);
    int *twice = new int(5);
    double *array = new double[10];
    char *many[600];
    {
        kxGarbageCollector gc;
        EXPECT_TRUE(gc.IsArmed());
        gc.RegisterPointer(single);
        gc.RegisterArray(array);
        gc.RegisterPointer(twice); // twice ...
        gc.RegisterPointer(twice);
        gc.UnregisterPointer(twice);    // ... and once back: still freed once
        gc.UnregisterPointer(&unknown); // unknown: ignored
        gc.UnregisterArray(single);     // not an array registration: ignored
        for (char *&p : many) {         // beyond one block of records
            p = new char[4];
            gc.RegisterArray(p);
        }
        singlesFreed = arraysFreed = 0;
        tracking = true;
    }
    tracking = false;
    EXPECT_EQ(Count(freedSingles, singlesFreed, single), 1);
    EXPECT_EQ(Count(freedSingles, singlesFreed, twice), 1);
    EXPECT_EQ(Count(freedArrays, arraysFreed, array), 1);
    EXPECT_EQ(Count(freedArrays, arraysFreed, many[0]), 1);
    EXPECT_EQ(Count(freedArrays, arraysFreed, many[599]), 1);
    // Singles are freed first, in order of registration.
    EXPECT_EQ(freedSingles[0], single);
    EXPECT_EQ(freedSingles[1], twice);
}

TEST(KXGarbageCollectorTest, UnregisteredOrDisarmedFreesNothing)
{
    int *kept = new int(4);
    int *keptToo = new int[3];
    {
        kxGarbageCollector gc;
        gc.RegisterPointer(kept);
        gc.RegisterArray(keptToo);
        gc.UnregisterPointer(kept);
        gc.UnregisterArray(keptToo);
        singlesFreed = arraysFreed = 0;
        tracking = true;
    }
    tracking = false;
    EXPECT_EQ(Count(freedSingles, singlesFreed, kept), 0);
    EXPECT_EQ(Count(freedArrays, arraysFreed, keptToo), 0);
    {
        kxGarbageCollector gc;
        gc.RegisterPointer(kept);
        gc.RegisterArray(keptToo);
        gc.Disarm();
        EXPECT_FALSE(gc.IsArmed());
        singlesFreed = arraysFreed = 0;
        tracking = true;
    }
    tracking = false;
    EXPECT_EQ(Count(freedSingles, singlesFreed, kept), 0);
    EXPECT_EQ(Count(freedArrays, arraysFreed, keptToo), 0);
    delete kept;
    delete[] keptToo;
}
