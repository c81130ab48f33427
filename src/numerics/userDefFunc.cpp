// User formulas of x and y bound to a namespace: the scan for the names a formula uses, and the
// evaluation with the namespace variables' current values.
#define KX_UNIT "userDefFunc"
#include "kx/numerics/userDefFunc.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace {

bool IsNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }
bool IsNamePart(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

// Every name of the formula that is neither a call, a constant nor part of a number, in order
// of first use, without repeats.
std::vector<std::string> ScanNames(const char *text)
{
    std::vector<std::string> names;
    for (const char *p = text; *p;) {
        const char c = *p;
        if (std::isdigit(static_cast<unsigned char>(c)) || c == '.' || c == '_') {
            // A number (a letter right after a digit belongs to it) or a constant.
            ++p;
            while (IsNamePart(*p) || *p == '.')
                ++p;
            continue;
        }
        if (!IsNameStart(c)) {
            ++p;
            continue;
        }
        const char *start = p;
        while (IsNamePart(*p))
            ++p;
        const char *next = p;
        while (*next == ' ' || *next == '\t')
            ++next;
        if (*next == '(')
            continue;
        std::string name(start, p);
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    }
    return names;
}

} // namespace

kxUserDefFunc::kxUserDefFunc(kxNameSpace *ns, int dimension)
    : ns_(kxNameSpace::IsActual(ns) ? ns : nullptr), dimension_(dimension == 2 ? 2 : 1),
      expression_(nullptr)
{
}

kxUserDefFunc::kxUserDefFunc(const kxUserDefFunc &other)
    : kxFunction(other), ns_(other.ns_), dimension_(other.dimension_), formula_(other.formula_),
      name_(other.name_), names_(other.names_), expression_(other.expression_),
      values_(other.values_)
{
}

bool kxUserDefFunc::SetFormula(const KXString &text)
{
    formula_ = KXString();
    names_.clear();
    expression_.ClearParams();
    expression_.setExpression(KXString());
    stamp_ = -1;
    expression_.DeclareParam(KXString("x"), KXString(), 0, -1);
    if (dimension_ == 2)
        expression_.DeclareParam(KXString("y"), KXString(), 0, -1);
    for (const std::string &name : ScanNames(text.c_str())) {
        if (name == "x" || (dimension_ == 2 && name == "y"))
            continue;
        names_.emplace_back(name.c_str());
        expression_.DeclareParam(names_.back(), KXString(), 0, -1);
    }
    expression_.setExpression(text);
    if (!expression_.Compile()) {
        names_.clear();
        expression_.ClearParams();
        expression_.setExpression(KXString());
        return false;
    }
    formula_ = text;
    values_.assign(dimension_ + names_.size(), 0.0);
    return true;
}

void kxUserDefFunc::SetNameSpace(kxNameSpace *ns)
{
    ns_ = kxNameSpace::IsActual(ns) ? ns : nullptr;
    stamp_ = -1;
}

bool kxUserDefFunc::RefreshValues() const
{
    if (names_.empty())
        return true;
    const int now = ns_ ? ns_->GetPseudoTime() : 0;
    if (ns_ && stamp_ == now)
        return true;
    for (size_t k = 0; k < names_.size(); ++k) {
        kxNamedVariable *v = ns_ ? ns_->GetVariableByName(names_[k].c_str()) : nullptr;
        if (!v) {
            stamp_ = -1;
            error.Raise(kxErrGeneric, "undefined variable \"%s\"\n", names_[k].c_str());
            return false;
        }
        values_[dimension_ + k] = v->GetValue();
    }
    // Reading the variables may itself have moved the counter; the values are those of `now`
    // or later, so the stamp taken afterwards is the one to keep.
    stamp_ = ns_->GetPseudoTime();
    return true;
}

std::complex<double> kxUserDefFunc::ValueC(std::complex<double> x, std::complex<double> y) const
{
    if (formula_.Empty())
        return 0.0;
    if (busy_) {
        error.Raise(kxErrGeneric, "function \"%s\" calls itself\n", name_.c_str());
        return 0.0;
    }
    if (!RefreshValues())
        return 0.0;
    values_[0] = x;
    if (dimension_ == 2)
        values_[1] = y;
    busy_ = true;
    const std::complex<double> v = expression_.Evaluate(values_.data());
    busy_ = false;
    return v;
}

double kxUserDefFunc::Value(double x, double y) const { return ValueC(x, y).real(); }
