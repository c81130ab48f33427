// kxchecksum.cpp - CheckSum, Checkable and Updatable.
#include "kx/objects/kxchecksum.h"

#include "objects/kxfpguard.h"

#include <cstdio>
#include <cstring>

// ---------------------------------------------------------------------------------------------
// CheckSum

void CheckSum::AppendText(const char *text, std::size_t length)
{
    Rotate();
    const std::size_t whole = length / 4;
    for (std::size_t i = 0; i < whole; ++i) {
        std::uint32_t word;
        std::memcpy(&word, text + 4 * i, 4);
        Xor(int(i), word);
    }
    // The terminator and the bytes up to the next multiple of 4 are 0xFE.
    unsigned char last[4] = {0xFE, 0xFE, 0xFE, 0xFE};
    if (length % 4)
        std::memcpy(last, text + 4 * whole, length % 4);
    std::uint32_t word;
    std::memcpy(&word, last, 4);
    Xor(int(whole), word);
}

std::uint32_t CheckSum::GetWord(int i) const
{
    switch (i) {
    case 0: return std::uint32_t(lo_);
    case 1: return std::uint32_t(lo_ >> 32);
    case 2: return std::uint32_t(hi_);
    case 3: return std::uint32_t(hi_ >> 32);
    default: return 0;
    }
}

bool CheckSum::WriteString(char *buffer, int size) const
{
    if (!buffer || size <= 0)
        return false;
    std::snprintf(buffer, std::size_t(size), "%08x%08x%08x%08x", unsigned(GetWord(3)),
                  unsigned(GetWord(2)), unsigned(GetWord(1)), unsigned(GetWord(0)));
    return size >= 33;
}

// ---------------------------------------------------------------------------------------------
// Checkable, Updatable

// The class records of Checkable and Updatable are defined in kxobject.cpp, right after
// KXObject's, so that the registry lists KXObject before them whatever the link order.

CheckSum Checkable::getCurrCheckSum()
{
    kxGuardFloatingPoint();
    CheckSum sum;
    CollectCheckSum(sum);
    return sum;
}

CheckSum Checkable::getUpdatedCheckSum(const char *target)
{
    KXMessage message(target, kxMsgUpdate);
    sendMessage(message, kxMsgPostOrder);
    return getCurrCheckSum();
}

bool Checkable::IsOutOfDate()
{
    bool outOfDate = false;
    KXMessage message(nullptr, kxMsgIsOutOfDate, &outOfDate);
    sendMessage(message, kxMsgPreOrder);
    return outOfDate;
}

bool Updatable::Update(const char *)
{
    sum_ = getCurrCheckSum();
    return true;
}

void Updatable::OnMessage(KXMessage &message)
{
    switch (message.GetId()) {
    case kxMsgIsOutOfDate:
        if (message.GetData1() && IsSelfOutOfDate())
            *static_cast<bool *>(message.GetData1()) = true;
        return;
    case kxMsgUpdate:
        if (IsSelfOutOfDate())
            Update(message.GetTarget());
        return;
    default: Checkable::OnMessage(message); return;
    }
}
