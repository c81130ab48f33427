// kxgarbage.cpp - kxGarbageCollector.
#include "kx/foundation/kxgarbage.h"

#include <new>

kxGarbageCollector::kxGarbageCollector() : pointers_(256), arrays_(256) {}

kxGarbageCollector::~kxGarbageCollector()
{
    if (!armed_)
        return;
    for (int i = 0; i < pointers_.Size(); ++i)
        if (pointers_[i].live)
            ::operator delete(pointers_[i].pointer);
    for (int i = 0; i < arrays_.Size(); ++i)
        if (arrays_[i].live)
            ::operator delete[](arrays_[i].pointer);
}

void kxGarbageCollector::RegisterPointer(void *pointer)
{
    pointers_.Add(kxGarbageArray{pointer, true});
}

void kxGarbageCollector::RegisterArray(void *array) { arrays_.Add(kxGarbageArray{array, true}); }

void kxGarbageCollector::Unregister(kxGarbageArrayArray &records, void *pointer)
{
    for (int i = records.Size() - 1; i >= 0; --i) {
        kxGarbageArray &record = records[i];
        if (record.live && record.pointer == pointer) {
            record.live = false;
            return;
        }
    }
}

void kxGarbageCollector::UnregisterPointer(void *pointer) { Unregister(pointers_, pointer); }

void kxGarbageCollector::UnregisterArray(void *array) { Unregister(arrays_, array); }
