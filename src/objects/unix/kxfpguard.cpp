// kxfpguard.cpp - the floating-point guard and the platform's floating-point control.
#include "objects/kxfpguard.h"

#include "kx/foundation/kxerror.h"

#if defined(__x86_64__) || defined(__i386__)
#include <xmmintrin.h>
#else
#include <cfenv>
#endif

void kxFPGuard::Check()
{
    if (!initialised_) {
        control_.write(control_.wanted);
        remembered_ = control_.wanted;
        initialised_ = true;
        return;
    }
    if (control_.read() == remembered_)
        return;
    control_.write(remembered_);
    const unsigned found = control_.read();
    if (found != remembered_)
        wlprintf("Oops, still wrong ( %x instead of %x )\n", found, remembered_);
}

namespace {

#if defined(__x86_64__) || defined(__i386__)
// MXCSR: rounding control (bits 13-14), flush-to-zero (bit 15), denormals-are-zero (bit 6).
constexpr unsigned kGuardedMxcsrBits = 0x6000u | 0x8000u | 0x0040u;

unsigned ReadControl() { return _mm_getcsr() & kGuardedMxcsrBits; }

void WriteControl(unsigned bits)
{
    _mm_setcsr((_mm_getcsr() & ~kGuardedMxcsrBits) | (bits & kGuardedMxcsrBits));
}

// Round to nearest, no flush-to-zero, no denormals-are-zero: all guarded bits clear.
constexpr unsigned kWantedControl = 0;
#else
unsigned ReadControl() { return static_cast<unsigned>(std::fegetround()); }

void WriteControl(unsigned bits) { std::fesetround(static_cast<int>(bits)); }

const unsigned kWantedControl = static_cast<unsigned>(FE_TONEAREST);
#endif

} // namespace

const kxFPControl &kxPlatformFPControl()
{
    static const kxFPControl control = {&ReadControl, &WriteControl, kWantedControl};
    return control;
}

void kxGuardFloatingPoint()
{
    static kxFPGuard guard(kxPlatformFPControl());
    guard.Check();
}
