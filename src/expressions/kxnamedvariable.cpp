// kxnamedvariable.cpp - named variables: names, setters, and the lazy evaluation of formulas
// against the namespace's pseudo-time, run on an explicit work stack.
#include "kx/expressions/kxnamedvariable.h"

#include "kx/expressions/kxfnparser.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/objects/kxchecksum.h"

#include <cstring>
#include <new>
#include <string>
#include <vector>

#define KX_UNIT "kxnamedvariable"

/// Where a formula's name was last found: `levels` parents up, slot `index` there (-1: not
/// found), and the variable that was there. The pointer is used only while no variable was
/// unlinked anywhere since it was taken (kxNameSpace::Generation), so it never dangles.
struct kxNamedVariable::Reference {
    kxNamedVariable *target;
    int index;
    int levels;
};

/// The references of a formula, one per declared parameter, in declaration order, and the value
/// last seen for each, in one block allocated for them: the references, then the values. The
/// owner keeps the block and the count.
struct kxNamedVariable::References {
    static size_t BlockSize(int n)
    {
        return n * (sizeof(Reference) + sizeof(std::complex<double>));
    }

    static std::complex<double> *Values(const kxNamedVariable &owner)
    {
        return reinterpret_cast<std::complex<double> *>(owner.references_ + owner.referenceCount_);
    }

    static void Make(const std::vector<Reference> &items, kxNamedVariable &owner)
    {
        const int n = static_cast<int>(items.size());
        Reference *refs = static_cast<Reference *>(::operator new(BlockSize(n)));
        for (int k = 0; k < n; ++k)
            new (refs + k) Reference(items[k]);
        owner.references_ = refs;
        owner.referenceCount_ = n;
        std::complex<double> *values = Values(owner);
        for (int k = 0; k < n; ++k)
            new (values + k) std::complex<double>(0.0, 0.0);
    }
    static void Free(kxNamedVariable &owner)
    {
        ::operator delete(owner.references_);
        owner.references_ = nullptr;
        owner.referenceCount_ = 0;
    }
};

// ---------------------------------------------------------------------------------------------
// Construction

kxNamedVariable::kxNamedVariable(kxNameSpace *ns, int flags, int index)
    : ns_(kxNameSpace::IsActual(ns) ? ns : nullptr), property_((flags & NotProperty) == 0)
{
    const int now = PseudoTime();
    nameStamp_ = expressionStamp_ = valueStamp_ = now;
    if (flags & NotListed)
        return;
    if (flags & Temporary) {
        temporary_ = true;
        index_ = index;
        return;
    }
    if (ns_)
        index_ = ns_->AddVariable(this);
}

kxNamedVariable::~kxNamedVariable()
{
    DiscardCompiled();
    if (ns_ && !temporary_ && index_ >= 0)
        ns_->UnlinkVariable(index_);
}

const KXString &kxNamedVariable::InitialExpression()
{
    static const KXString zero("0");
    return zero;
}

int kxNamedVariable::PseudoTime() const { return ns_ ? ns_->pseudoTime_ : 0; }

void kxNamedVariable::DiscardCompiled()
{
    delete compiled_;
    compiled_ = nullptr;
    References::Free(*this);
}

// ---------------------------------------------------------------------------------------------
// Names

bool kxNamedVariable::IsNameValid(const char *name)
{
    if (!name || !IsStartCharacter(static_cast<unsigned char>(name[0])))
        return false;
    const char *p = name + 1;
    for (; *p; ++p)
        if (!IsContinuationCharacter(static_cast<unsigned char>(*p)))
            return false;
    // Looked up in place: no copy of the name is made for the parser's tables.
    const KXFuncParserC &parser = kxGetComplexParser();
    const int length = static_cast<int>(p - name);
    return !parser.FindFunction(name, length) && !parser.FindConstant(name, length);
}

bool kxNamedVariable::IsNameUnique(const char *name) const
{
    return !ns_ || ns_->FindVariable(name ? name : "", false) < 0;
}

bool kxNamedVariable::SetName(const char *name)
{
    if (!name)
        name = "";
    if (name_ == name)
        return true;
    if (*name && (!IsNameValid(name) || !IsNameUnique(name)))
        return false;
    const int listed = GetListedIndex();
    if (ns_)
        ns_->NotifyVariableWillChange(listed);
    const bool entered = ns_ && !temporary_ && index_ >= 0;
    if (entered && !name_.Empty())
        ns_->IndexErase(name_.c_str());
    name_ = name;
    if (entered && !name_.Empty())
        ns_->IndexInsert(name_.c_str(), index_);
    if (ns_)
        ns_->NotifyVariableChanged(listed, &nameStamp_);
    return true;
}

// ---------------------------------------------------------------------------------------------
// Value or formula

void kxNamedVariable::SetExpression(const char *text)
{
    const int listed = GetListedIndex();
    if (ns_)
        ns_->NotifyVariableWillChange(listed);
    isValue_ = false;
    expression_ = text ? text : "";
    expressionSet_ = true;
    DiscardCompiled();
    if (ns_)
        ns_->NotifyVariableChanged(listed, &expressionStamp_);
}

void kxNamedVariable::SetValue(const std::complex<double> &value)
{
    const int listed = GetListedIndex();
    if (ns_)
        ns_->NotifyVariableWillChange(listed);
    isValue_ = true;
    value_ = value;
    DiscardCompiled();
    if (ns_)
        ns_->NotifyVariableChanged(listed, &expressionStamp_);
}

bool kxNamedVariable::SetValue(const char *text)
{
    std::complex<double> value;
    if (!kxStringToNumber(text ? text : "", value))
        return false;
    SetValue(value);
    return true;
}

void kxNamedVariable::SetValueOrExpression(const char *text)
{
    if (!SetValue(text))
        SetExpression(text);
}

KXString kxNamedVariable::GetValueString()
{
    const std::complex<double> value = GetValue();
    if (value.imag() == 0.0)
        return kxNumberToString(value.real());
    return kxNumberToString(value);
}

void kxNamedVariable::AppendCheckSum(CheckSum &sum)
{
    sum.Append(name_.c_str());
    sum.Append(isValue_);
    if (!isValue_)
        sum.Append(GetExpression().c_str());
    sum.Append(GetValue());
}

// ---------------------------------------------------------------------------------------------
// Evaluation
//
// GetValue of an expression variable whose cache is stale runs kxVariableEvaluator: one frame
// per variable being computed, kept in a heap vector. A frame walks its references; a
// referenced variable whose value is at hand (a plain value, a current cache, or a cycle) is
// used at once, any other one gets a frame of its own on top, and its result is handed down
// when that frame finishes. So the depth of a chain of variables costs heap, not machine stack.

class kxVariableEvaluator {
public:
    static std::complex<double> Run(kxNamedVariable &variable);
    static void WarnCircular(const kxNamedVariable &variable);

private:
    struct Frame {
        kxNamedVariable *variable;
        int next;     ///< the reference to look at next
        bool marked;  ///< the formula must be evaluated
        bool rebuilt; ///< the formula was compiled afresh
    };

    static std::vector<Frame> &Stack();
    static int ReferenceCount(const kxNamedVariable &variable) { return variable.referenceCount_; }
    static void Begin(kxNamedVariable &variable);
    static void Rebuild(kxNamedVariable &variable);
    static kxNamedVariable *Resolve(kxNamedVariable &variable, int k);
    static void Deliver(Frame &frame, const std::complex<double> &value);
    static std::complex<double> Finish(kxNamedVariable &variable, bool marked);
    static void Evaluate(kxNamedVariable &variable);
    static void WarnUndefined(kxNamedVariable &variable);
};

std::complex<double> kxNamedVariable::GetValue()
{
    if (isValue_)
        return value_;
    if (ns_ && valueStamp_ == ns_->pseudoTime_)
        return value_;
    if (busy_) {
        kxVariableEvaluator::WarnCircular(*this);
        return {0.0, 0.0};
    }
    return kxVariableEvaluator::Run(*this);
}

std::vector<kxVariableEvaluator::Frame> &kxVariableEvaluator::Stack()
{
    // Shared by every evaluation of the process (the library runs on one thread). A nested
    // evaluation (from a warning hook, say) works above the frames of the outer one.
    static std::vector<Frame> stack;
    return stack;
}

std::complex<double> kxVariableEvaluator::Run(kxNamedVariable &variable)
{
    std::vector<Frame> &stack = Stack();
    const size_t base = stack.size();
    Begin(variable);
    std::complex<double> result;
    while (stack.size() > base) {
        const size_t top = stack.size() - 1;
        bool descended = false;
        while (!descended) {
            Frame &frame = stack[top];
            if (frame.next >= ReferenceCount(*frame.variable))
                break;
            kxNamedVariable *target = Resolve(*frame.variable, frame.next);
            if (!target) {
                Deliver(frame, {0.0, 0.0});
            } else if (target->isValue_ ||
                       (target->ns_ && target->valueStamp_ == target->ns_->pseudoTime_)) {
                Deliver(frame, target->value_);
            } else if (target->busy_) {
                WarnCircular(*target); // may run a hook: fetch the frame again
                Deliver(stack[top], {0.0, 0.0});
            } else {
                Begin(*target);
                descended = true;
            }
        }
        if (descended)
            continue;
        const Frame done = stack[top];
        result = Finish(*done.variable, done.marked);
        stack.resize(top);
        if (stack.size() > base)
            Deliver(stack.back(), result);
    }
    return result;
}

void kxVariableEvaluator::Begin(kxNamedVariable &variable)
{
    variable.busy_ = true;
    Frame frame{&variable, 0, false, false};
    if (!variable.compiled_ || variable.expressionStamp_ > variable.valueStamp_) {
        Rebuild(variable);
        frame.marked = frame.rebuilt = true;
    } else if (variable.references_ && variable.refGeneration_ == kxNameSpace::Generation()) {
        // The referenced variables are about to be read one after the other: ask for all of
        // them at once, so that their cache misses overlap.
        // The compiled form is asked for too, for the evaluation that follows when a value
        // changed.
        const kxNamedVariable::Reference *items = variable.references_;
        for (int k = 0; k < variable.referenceCount_; ++k)
            if (items[k].target)
                __builtin_prefetch(items[k].target);
        __builtin_prefetch(variable.compiled_);
    }
    Stack().push_back(frame);
}

// Compiles the formula afresh: every name of the text that is neither a function nor (written
// after an underscore) a constant is declared once, in order of first use, and located.
void kxVariableEvaluator::Rebuild(kxNamedVariable &variable)
{
    variable.DiscardCompiled();
    variable.compiled_ = new KXExpressionC();
    KXExpressionC &compiled = *variable.compiled_;
    const KXFuncParserC &parser = kxGetComplexParser();
    const char *text = variable.GetExpression().c_str();
    const int length = variable.GetExpression().Length();
    std::vector<kxNamedVariable::Reference> references;

    int i = 0;
    while (i < length) {
        const char before = i > 0 ? text[i - 1] : '\0';
        const bool afterNumber = (before >= '0' && before <= '9') || before == '.';
        if (!kxNamedVariable::IsStartCharacter(static_cast<unsigned char>(text[i])) ||
            afterNumber) {
            ++i;
            continue;
        }
        int end = i + 1;
        while (end < length &&
               kxNamedVariable::IsContinuationCharacter(static_cast<unsigned char>(text[end])))
            ++end;
        const int start = i;
        i = end;
        if (parser.FindFunction(text + start, end - start))
            continue;
        // A constant is written with its underscore, which cannot start a name: look the name
        // up with the underscore in front.
        if (before == '_' && parser.FindConstant(text + start - 1, end - start + 1))
            continue;
        const KXString name(text + start, end - start);
        if (compiled.FindParam(name) >= 0)
            continue;
        compiled.DeclareParam(name, KXString(), 0, -1);
        kxNamedVariable::Reference reference{nullptr, -1, 0};
        if (variable.ns_ && variable.ns_->LocateVariable(name, reference.levels, reference.index))
            reference.target = variable.ns_->PeekVariable(reference.levels, reference.index);
        references.push_back(reference);
    }
    if (!references.empty())
        kxNamedVariable::References::Make(references, variable);
    variable.refGeneration_ = kxNameSpace::Generation();
    compiled.BorrowExpression(variable.GetExpression()); // the variable keeps the text alive
}

// The variable that reference k leads to, looked up again when the one it led to is gone or
// was renamed since this variable's value was computed; null when the name is not defined.
kxNamedVariable *kxVariableEvaluator::Resolve(kxNamedVariable &variable, int k)
{
    kxNamedVariable::Reference &reference = variable.references_[k];
    kxNameSpace *ns = variable.ns_;
    if (!ns)
        return nullptr;
    kxNamedVariable *target = reference.target;
    if (variable.refGeneration_ != kxNameSpace::Generation()) {
        target =
            reference.index >= 0 ? ns->PeekVariable(reference.levels, reference.index) : nullptr;
        reference.target = target;
    }
    if (target && target->nameStamp_ <= variable.valueStamp_)
        return target;
    const char *declared = variable.compiled_->ParamName(k);
    if (target && target->name_ == declared)
        return target;
    if (!ns->LocateVariable(declared, reference.levels, reference.index)) {
        reference.target = nullptr;
        reference.index = -1;
        reference.levels = 0;
        return nullptr;
    }
    reference.target = ns->PeekVariable(reference.levels, reference.index);
    return reference.target;
}

void kxVariableEvaluator::Deliver(Frame &frame, const std::complex<double> &value)
{
    std::complex<double> &seen = kxNamedVariable::References::Values(*frame.variable)[frame.next];
    if (frame.rebuilt || seen != value) {
        seen = value;
        frame.marked = true;
    }
    ++frame.next;
}

void kxVariableEvaluator::Evaluate(kxNamedVariable &variable)
{
    if (variable.references_)
        variable.value_ =
            variable.compiled_->Evaluate(kxNamedVariable::References::Values(variable));
    else
        variable.value_ = variable.compiled_->Evaluate();
    if (!error)
        return;
    if (variable.name_.Empty())
        kxWarningLog("Expression %s could not be evaluated: %s", variable.GetExpression().c_str(),
                     error.chars());
    else
        kxWarningLog("Variable %s = %s could not be evaluated: %s", variable.name_.c_str(),
                     variable.GetExpression().c_str(), error.chars());
    error.reset();
}

std::complex<double> kxVariableEvaluator::Finish(kxNamedVariable &variable, bool marked)
{
    WarnUndefined(variable);
    if (marked)
        Evaluate(variable);
    variable.valueStamp_ = variable.PseudoTime();
    variable.refGeneration_ = kxNameSpace::Generation(); // every reference was resolved
    variable.busy_ = false;
    return variable.value_;
}

void kxVariableEvaluator::WarnCircular(const kxNamedVariable &variable)
{
    if (variable.name_.Empty())
        kxWarningLog("Expression %s is directly or indirectly circular\n",
                     variable.GetExpression().c_str());
    else
        kxWarningLog("Variable %s = %s is directly or indirectly circular\n",
                     variable.name_.c_str(), variable.GetExpression().c_str());
}

void kxVariableEvaluator::WarnUndefined(kxNamedVariable &variable)
{
    const int count = ReferenceCount(variable);
    int undefined = 0;
    std::string names;
    for (int k = 0; k < count; ++k) {
        if (variable.references_[k].index >= 0)
            continue;
        names += undefined == 0 ? " " : ", ";
        names += variable.compiled_->ParamName(k);
        ++undefined;
    }
    if (undefined == 0)
        return;
    const char *plural = undefined > 1 ? "s" : "";
    if (variable.name_.Empty())
        kxWarningLog("Expression \"%s\" refers to undefined variable%s%s\n",
                     variable.GetExpression().c_str(), plural, names.c_str());
    else
        kxWarningLog("Variable %s = %s refers to undefined variable%s%s\n", variable.name_.c_str(),
                     variable.GetExpression().c_str(), plural, names.c_str());
}
