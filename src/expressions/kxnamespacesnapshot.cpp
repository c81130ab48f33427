// kxnamespacesnapshot.cpp - recording the variables of a namespace and bringing them back
// through the variables' public operations.
#include "kx/expressions/kxnamespacesnapshot.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"

#include <set>

kxNamedVariableSnapshot::kxNamedVariableSnapshot(const kxNamedVariable &variable)
    : index_(variable.GetIndex()), name_(variable.GetName()), isValue_(variable.IsValue()),
      property_(variable.IsProperty()), value_(variable.GetStoredValue()),
      expression_(variable.GetExpression())
{
}

bool kxNamedVariableSnapshot::ContentsEqual(const kxNamedVariable &variable) const
{
    if (variable.IsValue() != isValue_)
        return false;
    return isValue_ ? variable.GetStoredValue() == value_ : variable.GetExpression() == expression_;
}

void kxNamedVariableSnapshot::RestoreContents(kxNamedVariable &variable) const
{
    if (ContentsEqual(variable))
        return;
    if (isValue_)
        variable.SetValue(value_);
    else
        variable.SetExpression(expression_);
}

kxNameSpaceSnapshot::kxNameSpaceSnapshot(kxNameSpace &ns) : ns_(ns)
{
    for (int i = 0; i < ns.GetVariableCount(); ++i)
        if (const kxNamedVariable *variable = ns.GetVariableAt(i))
            variables_.emplace_back(*variable);
}

kxNameSpaceSnapshot::~kxNameSpaceSnapshot() = default;

void kxNameSpaceSnapshot::Restore()
{
    replaced_ = std::make_unique<kxNameSpaceSnapshot>(ns_);
    Apply(variables_);
}

bool kxNameSpaceSnapshot::Unrestore()
{
    if (!replaced_)
        return false;
    replaced_->Apply(replaced_->variables_);
    replaced_.reset();
    return true;
}

void kxNameSpaceSnapshot::Apply(std::vector<kxNamedVariableSnapshot> &records)
{
    // 1. Variables that the records do not know are removed.
    std::set<int> recorded;
    for (const kxNamedVariableSnapshot &record : records)
        recorded.insert(record.GetIndex());
    for (int i = 0; i < ns_.GetVariableCount(); ++i)
        if (ns_.GetVariableAt(i) && recorded.count(i) == 0)
            ns_.RemoveVariable(i);

    // 2. Recorded variables that were removed since are made again, in new slots.
    for (kxNamedVariableSnapshot &record : records) {
        if (ns_.GetVariableAt(record.GetIndex()))
            continue;
        auto *variable =
            new kxNamedVariable(&ns_, record.IsProperty() ? 0 : kxNamedVariable::NotProperty);
        record.SetIndex(variable->GetIndex());
    }

    // 3. Names: first every changed name is let go, so that names exchanged between
    //    variables never clash on the way, then the recorded names are given.
    for (const kxNamedVariableSnapshot &record : records) {
        kxNamedVariable *variable = ns_.GetVariableAt(record.GetIndex());
        if (variable->GetName() != record.GetName())
            (void)variable->SetName(""); // the empty name is always accepted
    }
    for (const kxNamedVariableSnapshot &record : records) {
        kxNamedVariable *variable = ns_.GetVariableAt(record.GetIndex());
        if (variable->GetName() != record.GetName())
            (void)variable->SetName(record.GetName());
    }

    // 4. Values and formulas.
    for (const kxNamedVariableSnapshot &record : records)
        record.RestoreContents(*ns_.GetVariableAt(record.GetIndex()));
}
