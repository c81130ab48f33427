// kxgarbage.h - kxGarbageCollector: frees registered heap pointers when it dies.
//
// Register what was allocated with `new` (RegisterPointer) or `new[]` (RegisterArray); an armed
// collector releases every still-registered pointer in its destructor, single objects first, in
// order of registration. Unregister hands a pointer back to the caller (the newest live record
// of that pointer is dropped; an unknown pointer is ignored); Disarm makes the collector free
// nothing at all, so that a function can register its allocations as it goes and Disarm once
// it has succeeded and handed them on.
//
// The collector knows only the address, not the type: the storage is released with
// ::operator delete / ::operator delete[] and no destructor runs. Register only objects and
// arrays of trivially destructible types (plain numbers, PODs, arrays of them).
#ifndef KX_FOUNDATION_KXGARBAGE_H
#define KX_FOUNDATION_KXGARBAGE_H

#include "kx/foundation/kxdynarray.h"

class kxGarbageCollector {
public:
    kxGarbageCollector();
    ~kxGarbageCollector();
    kxGarbageCollector(const kxGarbageCollector &) = delete;
    kxGarbageCollector &operator=(const kxGarbageCollector &) = delete;

    void RegisterPointer(void *pointer);
    void RegisterArray(void *array);
    void UnregisterPointer(void *pointer);
    void UnregisterArray(void *array);
    /// From now on the destructor frees nothing that was registered.
    void Disarm() { armed_ = false; }
    bool IsArmed() const { return armed_; }

private:
    static void Unregister(kxGarbageArrayArray &records, void *pointer);

    bool armed_ = true;
    kxGarbageArrayArray pointers_;
    kxGarbageArrayArray arrays_;
};

#endif
