// Tests of the floating-point guard that keeps checksums of doubles reproducible.
#include "objects/kxfpguard.h"

#include <gtest/gtest.h>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

#include "kx/objects/kxchecksum.h"

namespace {

// A fake control: `stuck` makes writes fail to change the bits.
unsigned gBits = 0;
bool gStuck = false;
int gWrites = 0;
unsigned ReadFake() { return gBits; }
void WriteFake(unsigned bits)
{
    ++gWrites;
    if (!gStuck)
        gBits = bits;
}

} // namespace

TEST(KXFPGuardTest, RestoresAndComplainsWhenItWillNotStick)
{
    static const kxFPControl fake = {&ReadFake, &WriteFake, 0x0};
    gBits = 0x6000;
    kxFPGuard guard(fake);
    guard.Check(); // the first call sets the library's setting
    EXPECT_EQ(gBits, 0u);
    guard.Check(); // unchanged: nothing written
    EXPECT_EQ(gWrites, 1);

    gBits = 0x8040; // someone switched on flush-to-zero
    testing::internal::CaptureStdout();
    guard.Check();
    EXPECT_EQ(gBits, 0u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    gBits = 0x2000;
    gStuck = true;
    testing::internal::CaptureStdout();
    guard.Check();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Oops, still wrong ( 2000 instead of 0 )\n");
    gStuck = false;
}

#if defined(__x86_64__)
TEST(KXFPGuardTest, CheckSumRestoresTheSseControl)
{
    Checkable object;
    (void)object.getCurrCheckSum();
    _MM_SET_ROUNDING_MODE(_MM_ROUND_TOWARD_ZERO);
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    const CheckSum sum = object.getCurrCheckSum();
    EXPECT_EQ(_MM_GET_ROUNDING_MODE(), unsigned(_MM_ROUND_NEAREST));
    EXPECT_EQ(_MM_GET_FLUSH_ZERO_MODE(), unsigned(_MM_FLUSH_ZERO_OFF));
    EXPECT_EQ(kxPlatformFPControl().read(), kxPlatformFPControl().wanted);
    CheckSum expected;
    expected.Append("Checkable");
    EXPECT_EQ(sum, expected);
    // The exception masks are not the guard's business and are left alone.
    EXPECT_EQ(_mm_getcsr() & 0x1F80u, 0x1F80u);
}
#endif
