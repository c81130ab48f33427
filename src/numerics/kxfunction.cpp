// Numerical derivative of the function interface, and the registry that binds functions to the
// formula parsers. Parser routines are plain function pointers without user data, so each
// registry slot has its own pair of routines (one real, one complex) made from a template.
#define KX_UNIT "kxfunction"
#include "kx/numerics/kxfunction.h"

#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include <array>
#include <cmath>
#include <utility>

double kxFunction::Derivative(double x, double y, int variable) const
{
    const double at = variable == 0 ? x : y;
    const double h = 1e-5 * (1.0 + std::fabs(at));
    if (variable == 0)
        return (Value(x + h, y) - Value(x - h, y)) / (2.0 * h);
    return (Value(x, y + h) - Value(x, y - h)) / (2.0 * h);
}

namespace {

struct Slot {
    KXString name;
    std::shared_ptr<kxFunction> function;
};

std::array<Slot, kxMaxRegisteredFunctions> &Slots()
{
    static std::array<Slot, kxMaxRegisteredFunctions> slots;
    return slots;
}

// The function of a slot, or null after the error has been reported.
const kxFunction *SlotFunction(int slot)
{
    const Slot &s = Slots()[slot];
    if (!s.function)
        error.Raise(kxErrGeneric, "function \"%s\" is not defined any more\n", s.name.c_str());
    return s.function.get();
}

template <int N>
double RoutineR(const ParListR &args)
{
    const kxFunction *f = SlotFunction(N);
    if (!f)
        return 0.0;
    return f->Value(args[0], args.Count() > 1 ? args[1] : 0.0);
}

template <int N>
std::complex<double> RoutineC(const ParListC &args)
{
    const kxFunction *f = SlotFunction(N);
    if (!f)
        return 0.0;
    return f->ValueC(args[0], args.Count() > 1 ? args[1] : std::complex<double>(0.0));
}

template <int... N>
constexpr std::array<KXFuncParserR::Routine, sizeof...(N)>
RealRoutines(std::integer_sequence<int, N...>)
{
    return {&RoutineR<N>...};
}

template <int... N>
constexpr std::array<KXFuncParserC::Routine, sizeof...(N)>
ComplexRoutines(std::integer_sequence<int, N...>)
{
    return {&RoutineC<N>...};
}

constexpr auto kRealRoutines =
    RealRoutines(std::make_integer_sequence<int, kxMaxRegisteredFunctions>());
constexpr auto kComplexRoutines =
    ComplexRoutines(std::make_integer_sequence<int, kxMaxRegisteredFunctions>());

int FindSlot(const KXString &name)
{
    for (int i = 0; i < kxMaxRegisteredFunctions; ++i)
        if (!Slots()[i].name.Empty() && Slots()[i].name == name)
            return i;
    return -1;
}

int FreeSlot()
{
    for (int i = 0; i < kxMaxRegisteredFunctions; ++i)
        if (Slots()[i].name.Empty())
            return i;
    return -1;
}

} // namespace

bool kxRegisterFunction(const KXString &name, std::shared_ptr<kxFunction> function)
{
    if (!function || name.Empty() || function->Dimension() < 1 || function->Dimension() > 2) {
        KX_CODE_ERROR("kxRegisterFunction: no function, no name or a bad dimension");
        return false;
    }
    int slot = FindSlot(name);
    if (slot < 0) {
        if (kxGetRealParser().IsFunctionRegistered(name) ||
            kxGetComplexParser().IsFunctionRegistered(name)) {
            error.Raise(kxErrGeneric, "\"%s\" is a built-in function\n", name.c_str());
            return false;
        }
        slot = FreeSlot();
    }
    if (slot < 0) {
        error.Raise(kxErrGeneric, "too many registered functions\n");
        return false;
    }
    const int nargs = function->Dimension();
    if (!kxGetRealParser().RegisterFunction(kRealRoutines[slot], name, nargs) ||
        !kxGetComplexParser().RegisterFunction(kComplexRoutines[slot], name, nargs)) {
        KX_CODE_ERROR("kxRegisterFunction: the parser refused the function");
        return false;
    }
    Slots()[slot] = Slot{name, std::move(function)};
    return true;
}

bool kxUnregisterFunction(const KXString &name)
{
    const int slot = FindSlot(name);
    if (slot < 0 || !Slots()[slot].function)
        return false;
    // The name keeps its slot: the parsers still route calls of it here.
    Slots()[slot].function.reset();
    return true;
}

std::shared_ptr<kxFunction> kxFindRegisteredFunction(const KXString &name)
{
    const int slot = FindSlot(name);
    return slot < 0 ? nullptr : Slots()[slot].function;
}
