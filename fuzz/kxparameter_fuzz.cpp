// Fuzz target: variable definition texts ("name = formula" lines, evaluated in a namespace and
// its child) and the parameter text reader (kxParameter<T>::Read for the four types, and the
// static plain-number Read), on arbitrary bytes.
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/expressions/kxnamespacesnapshot.h"
#include "kx/expressions/kxparameter.h"
#include "kx/foundation/kxerror.h"
#include "kx/objects/kxchecksum.h"

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

void QuietLine(int, const char *) {}
void QuietReport(const char *) {}

/// Reads parameters of type T from `line` until the text is used up or a read fails, the way a
/// shape definition reads its comma-separated fields.
template <class T>
void ReadAll(kxNameSpace *ns, const std::string &line)
{
    KXString text(line.c_str());
    kxParameter<T> parameter;
    for (int guard = 0; guard < 64 && parameter.Read(ns, text); ++guard) {
        (void)static_cast<T>(parameter);
        (void)parameter.GetValueString();
        KXString out;
        parameter.Write(out);
        const int comma = text.Index(',');
        if (comma < 0)
            break;
        text = KXString(text.c_str() + comma + 1);
    }
    T value{};
    KXString plain(line.c_str());
    (void)kxParameter<T>::Read(value, plain);
}

void Define(kxNameSpace &ns, const std::string &line)
{
    const size_t eq = line.find('=');
    auto *variable = new kxNamedVariable(&ns);
    std::string name = eq == std::string::npos ? std::string() : line.substr(0, eq);
    while (!name.empty() && name.back() == ' ')
        name.pop_back();
    while (!name.empty() && name.front() == ' ')
        name.erase(0, 1);
    if (!variable->SetName(name.c_str())) {
        ns.RemoveVariable(variable->GetIndex());
        return;
    }
    variable->SetValueOrExpression(eq == std::string::npos ? line.c_str() : line.c_str() + eq + 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool quiet = (InitialiseKXUtils("fuzz", KXString("kxfuzz"), 1, nullptr, nullptr,
                                                 nullptr, &QuietLine, &QuietReport),
                               true);
    (void)quiet;
    const std::string input(reinterpret_cast<const char *>(data), size);
    std::vector<std::string> lines;
    size_t start = 0;
    while (start <= input.size() && lines.size() < 32) {
        size_t end = input.find('\n', start);
        if (end == std::string::npos)
            end = input.size();
        std::string line = input.substr(start, end - start);
        line.erase(std::remove(line.begin(), line.end(), '\0'), line.end());
        lines.push_back(line);
        start = end + 1;
    }

    {
        kxNameSpace ns;
        kxNameSpace child(&ns);
        for (const std::string &line : lines)
            Define(line.size() % 2 ? ns : child, line);
        kxNameSpaceSnapshot snapshot(ns);
        for (kxNameSpace *space : {&ns, &child})
            for (int i = 0; i < space->GetVariableCount(); ++i)
                if (kxNamedVariable *v = space->GetVariableAt(i)) {
                    (void)v->GetValue();
                    (void)v->GetValueString();
                    CheckSum sum;
                    v->AppendCheckSum(sum);
                }
        if (ns.GetVariableAt(0))
            ns.GetVariableAt(0)->SetValue(std::complex<double>(2.5, 0.0));
        snapshot.Restore();
        (void)snapshot.Unrestore();
        for (const std::string &line : lines) {
            ReadAll<int>(&child, line);
            ReadAll<float>(nullptr, line);
            ReadAll<double>(&ns, line);
            ReadAll<std::complex<double>>(&child, line);
        }
    }
    error.reset();
    return 0;
}
