// kxfpguard.h - the guard of the floating-point control state on which reproducible checksums
// of doubles depend (internal to the objects module).
//
// The guarded bits are those that change the result of arithmetic on this processor: on x86-64
// the SSE control register's rounding mode, flush-to-zero and denormals-are-zero bits (the
// counterpart of the x87 precision control); elsewhere the C rounding mode. The guard is given
// the platform's control by default; tests hand it a fake one.
#ifndef KX_SRC_OBJECTS_KXFPGUARD_H
#define KX_SRC_OBJECTS_KXFPGUARD_H

/// Access to the guarded bits of a floating-point control state.
struct kxFPControl {
    unsigned (*read)();           ///< the guarded bits now
    void (*write)(unsigned bits); ///< sets the guarded bits (the others are kept)
    unsigned wanted;              ///< the library's setting of the guarded bits
};

/// The control of the processor the library runs on.
[[nodiscard]] const kxFPControl &kxPlatformFPControl();

class kxFPGuard {
public:
    explicit kxFPGuard(const kxFPControl &control) : control_(control) {}

    /// First call: sets the library's setting and remembers it. Later calls: when the bits
    /// differ from the remembered ones, restores them; when they still differ, prints
    /// "Oops, still wrong ( %x instead of %x )\n" (found, wanted) with wlprintf.
    void Check();

private:
    const kxFPControl &control_;
    bool initialised_ = false;
    unsigned remembered_ = 0;
};

/// Check() of the process-wide guard on the platform control (used by getCurrCheckSum).
void kxGuardFloatingPoint();

#endif
