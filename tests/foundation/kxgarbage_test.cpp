#include "kx/foundation/kxgarbage.h"

#include <gtest/gtest.h>

namespace {
int destroyedSentinel = 0;
}

TEST(GarbageCollectorTest, FreesLiveRegistrationsWhenArmed)
{
    // Leaks or double frees here show up in the sanitizer build.
    {
        kxGarbageCollector gc;
        EXPECT_TRUE(gc.IsArmed());
        int *single = new int(3);
        double *array = new double[10];
        gc.RegisterPointer(single);
        gc.RegisterArray(array);
        gc.RegisterPointer(single);   // twice ...
        gc.UnregisterPointer(single); // ... and once back: still freed once
        gc.UnregisterPointer(&destroyedSentinel);   // unknown: ignored
        gc.UnregisterArray(single);                 // not an array registration: ignored
        for (int i = 0; i < 600; ++i)   // beyond one block of records
            gc.RegisterArray(new char[4]);
    }
    // Unregistered pointers are handed back.
    int *kept = new int(4);
    {
        kxGarbageCollector gc;
        gc.RegisterPointer(kept);
        gc.UnregisterPointer(kept);
    }
    EXPECT_EQ(*kept, 4);
    // A disarmed collector frees nothing.
    {
        kxGarbageCollector gc;
        gc.RegisterPointer(kept);
        gc.Disarm();
        EXPECT_FALSE(gc.IsArmed());
    }
    EXPECT_EQ(*kept, 4);
    delete kept;
}
