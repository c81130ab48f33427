// kxweightfunc.cpp - taper weight components and the interpolation command parser.
#include "kx/geometry/kxweightfunc.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxmath.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/objects/kxmessage.h"

#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <sys/stat.h>

KX_IMPLEMENT_CLASS(WeightFunc, KXObject)

namespace {

/// Largest table file read for a FILE weight (a device or a huge file is refused).
constexpr off_t kMaxTableFileBytes = 64L << 20;
/// Longest piece of user text quoted in a message (SyntaxErr refuses 1,000 characters).
constexpr size_t kMaxQuoted = 900;

std::string Quoted(const std::string &text) { return kxQuoteCut(text, kMaxQuoted); }

bool IsNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }
bool IsNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

bool IsValidName(const std::string &s)
{
    if (s.empty() || !IsNameStart(s[0]))
        return false;
    for (char c : s)
        if (!IsNameChar(c))
            return false;
    return true;
}

std::string Upper(std::string s)
{
    for (char &c : s)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

struct Token {
    std::string text;
    bool quoted = false;
};

/// Whitespace-separated tokens; a double-quoted stretch is one token (an unclosed quote runs to
/// the end). "X:" forms are split into the selector and the rest.
std::vector<Token> Tokenize(const char *s)
{
    std::vector<Token> out;
    const char *p = s;
    while (*p) {
        if (std::isspace(static_cast<unsigned char>(*p))) {
            ++p;
            continue;
        }
        Token t;
        if (*p == '"') {
            const char *q = ++p;
            while (*p && *p != '"')
                ++p;
            t.text.assign(q, p);
            t.quoted = true;
            if (*p)
                ++p;
        } else {
            const char *q = p;
            while (*p && !std::isspace(static_cast<unsigned char>(*p)))
                ++p;
            t.text.assign(q, p);
            const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(t.text[0])));
            if (t.text.size() > 2 && t.text[1] == ':' && (c == 'D' || c == 'X' || c == 'Y')) {
                out.push_back(Token{t.text.substr(0, 2), false});
                t.text.erase(0, 2);
            }
        }
        out.push_back(t);
    }
    return out;
}

bool ReadNumber(const Token &t, double &v)
{
    return !t.quoted && kxStringToNumber(t.text.c_str(), v);
}

void ParamsToText(const List<WeightParam> &params, KXString &out)
{
    out = "";
    for (int i = 1; i <= params.size(); ++i) {
        if (i > 1)
            out += " ";
        out += params[i].name;
        out += "=";
        out += numtoA(params[i].value);
    }
}

/// The coordinate's name: the formula's first name that is not a parameter, function or constant.
KXString CoordinateName(const KXString &formula, const List<WeightParam> &params)
{
    const char *s = formula.c_str();
    const int len = formula.Length();
    for (int i = 0; i < len;) {
        const bool afterNumber =
            i > 0 && (std::isdigit(static_cast<unsigned char>(s[i - 1])) || s[i - 1] == '.');
        if (!IsNameStart(s[i]) || afterNumber || (i > 0 && IsNameChar(s[i - 1]))) {
            ++i;
            continue;
        }
        int j = i;
        while (j < len && IsNameChar(s[j]))
            ++j;
        const KXString name(s + i, j - i);
        const bool constant = i > 0 && s[i - 1] == '_';
        bool known = constant || kxGetRealParser().IsFunctionRegistered(name);
        for (int k = 1; !known && k <= params.size(); ++k)
            known = params[k].name == name;
        if (!known)
            return name;
        i = j;
    }
    return KXString("x");
}

bool ReadPairs(const char *fileName, CSpline &spline)
{
    struct stat info;
    if (stat(fileName, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > kMaxTableFileBytes)
        return false;
    std::FILE *f = std::fopen(fileName, "rb");
    if (!f)
        return false;
    std::vector<double> numbers;
    std::string word;
    auto flush = [&]() {
        if (word.empty())
            return true;
        double v;
        const bool ok = kxStringToNumber(word.c_str(), v);
        numbers.push_back(v);
        word.clear();
        return ok;
    };
    bool ok = true;
    for (int c; ok && (c = std::fgetc(f)) != EOF;) {
        if (std::isspace(c) || c == ',' || c == ';')
            ok = flush();
        else
            word += static_cast<char>(c);
    }
    std::fclose(f);
    ok = ok && flush();
    if (!ok || numbers.size() % 2 != 0)
        return false;
    return spline.Set(numbers.data(), numbers.data() + 1, static_cast<int>(numbers.size() / 2), 2);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// DWeightFac

bool DWeightFac::Prepare(const List<WeightParam> &params)
{
    prepared = true;
    if (kind == FILE)
        return ReadPairs(fileName.c_str(), spline);
    if (kind != FORMULA)
        return true;
    expression = KXExpressionR();
    expression.setExpression(formula);
    expression.DeclareParam(CoordinateName(formula, params), KXString(""), 0, -1);
    for (int i = 1; i <= params.size(); ++i)
        expression.DeclareParam(params[i].name, KXString(""), 0, -1);
    RefreshParams(params);
    return expression.Compile();
}

void DWeightFac::RefreshParams(const List<WeightParam> &params)
{
    if (kind != FORMULA)
        return;
    for (int i = 1; i <= params.size(); ++i) {
        const int k = expression.FindParam(params[i].name);
        if (k > 0)
            expression.GetParam(k).SetValue(params[i].value);
    }
}

double DWeightFac::Value(double t, const List<WeightParam> &params)
{
    if (!prepared && !Prepare(params))
        error.set("Failure preparing Weighting Function\n");
    if (static_cast<int>(error) != 0 || kind > FORMULA || kind < FLAT)
        return 0.0;
    const double u = (rangeEnd - rangeStart) * t + rangeStart;
    switch (kind) {
    case FLAT: return param;
    case LIN: return u;
    case EXP:
        return std::fabs(param) > 1e-8 ? (std::exp(param * u) - 1.0) / (std::exp(param) - 1.0) : u;
    case POWER: {
        int n = 1;
        if (param >= static_cast<double>(INT_MAX))
            n = INT_MAX;
        else if (param > 1.0)
            n = static_cast<int>(param);
        return 1.0 - std::pow(1.0 - u, n);
    }
    case SFUNC: return (1.0 - std::cos(kxPi * u)) / 2.0;
    case FILE: return spline.Evaluate(u);
    default: { // FORMULA
        expression.GetParam(0).SetValue(u);
        const double v = expression.Evaluate();
        if (static_cast<int>(error) != 0 && static_cast<int>(error) != kxErrCode)
            error.reset();
        return v;
    }
    }
}

// ---------------------------------------------------------------------------------------------
// WeightFunc

WeightFunc::WeightFunc(const char *command)
{
    // A faulty command has been reported by the parse, as the header describes; a constructor
    // has no result to pass the failure on with.
    (void)SetCommand(command);
}

bool WeightFunc::SetCommand(const char *command)
{
    command_ = command ? command : "";
    return ParseCmdString();
}

bool WeightFunc::ParseCmdString()
{
    def_ = DWeightFac(DWeightFac::LIN);
    x_ = DWeightFac(DWeightFac::SAME);
    y_ = DWeightFac(DWeightFac::SAME);
    params_.unalloc();

    const std::vector<Token> tokens = Tokenize(command_.c_str());
    const size_t n = tokens.size();
    int errors = 0;
    auto unrecognised = [&](const std::string &word) {
        SyntaxErr("Unrecognised symbol \"%s\"\n", Quoted(word).c_str());
        ++errors;
    };
    DWeightFac *cur = &def_;
    for (size_t i = 0; i < n; ++i) {
        const Token &tok = tokens[i];
        const std::string word = tok.quoted ? std::string() : Upper(tok.text);
        if (word == "D:" || word == "X:" || word == "Y:" ||
            ((word == "D" || word == "X" || word == "Y") && i + 1 < n &&
             tokens[i + 1].text == ":")) {
            cur = word[0] == 'D' ? &def_ : word[0] == 'X' ? &x_ : &y_;
            if (word.size() == 1)
                ++i;
        } else if (word == "RANGE") {
            double s = 0, e = 0;
            if (i + 1 >= n || !ReadNumber(tokens[i + 1], s)) {
                unrecognised(i + 1 < n ? tokens[i + 1].text : tok.text);
                ++i;
                continue;
            }
            if (i + 2 >= n || !ReadNumber(tokens[i + 2], e)) {
                unrecognised(i + 2 < n ? tokens[i + 2].text : tok.text);
                i += 2;
                continue;
            }
            i += 2;
            if (s == e || s < 0.0 || e > 1.0)
                wlprintf("WARNING: silly range in Weighting Function\n");
            cur->rangeStart = s;
            cur->rangeEnd = e;
        } else if (word == "LIN") {
            cur->kind = DWeightFac::LIN;
        } else if (word == "SFUNC") {
            cur->kind = DWeightFac::SFUNC;
        } else if (word == "FLAT" || word == "EXP" || word == "POWER") {
            double v = 0;
            if (i + 1 >= n || !ReadNumber(tokens[i + 1], v)) {
                unrecognised(i + 1 < n ? tokens[i + 1].text : tok.text);
                ++i;
                continue;
            }
            ++i;
            cur->kind = word == "FLAT"  ? DWeightFac::FLAT
                        : word == "EXP" ? DWeightFac::EXP
                                        : DWeightFac::POWER;
            cur->param = v;
        } else if (word == "FILE" || word == "FORMULA") {
            if (i + 1 >= n) {
                unrecognised(tok.text);
                continue;
            }
            const std::string &arg = tokens[++i].text;
            if (word == "FILE") {
                cur->kind = DWeightFac::FILE;
                cur->fileName = arg.c_str();
                continue;
            }
            cur->kind = DWeightFac::FORMULA;
            cur->formula = arg.c_str();
            for (; i + 1 < n && !tokens[i + 1].quoted; ++i) {
                const std::string &pv = tokens[i + 1].text;
                const size_t eq = pv.find('=');
                double v = 0;
                if (eq == std::string::npos || !IsValidName(pv.substr(0, eq)))
                    break;
                if (!kxStringToNumber(pv.c_str() + eq + 1, v)) {
                    unrecognised(pv);
                    continue;
                }
                WeightParam param;
                param.name = pv.substr(0, eq).c_str();
                param.value = v;
                params_.append(param);
            }
        } else {
            unrecognised(tok.text);
        }
    }
    ParamsToText(params_, paramsText_);
    if (errors)
        SyntaxErr("There were syntax error(s) in interpolation command:\n   \"%s\"\n",
                  Quoted(command_.c_str()).c_str());
    return errors == 0;
}

void WeightFunc::OnEvaluate()
{
    ParseCmdString();
    def_.prepared = x_.prepared = y_.prepared = false;
    if (!def_.Prepare(params_))
        error.set("Failure preparing Weighting Function\n");
    for (DWeightFac *c : {&x_, &y_})
        if (c->kind != DWeightFac::SAME && !c->Prepare(params_))
            error.set("Failure preparing Weighting Function\n");
    for (DWeightFac *c : {&def_, &x_, &y_})
        c->RefreshParams(params_);
}

WeightType WeightFunc::WeightVal(double t)
{
    const double wx = (x_.kind == DWeightFac::SAME ? def_ : x_).Value(t, params_);
    const double wy = (y_.kind == DWeightFac::SAME ? def_ : y_).Value(t, params_);
    return WeightType(wx, wy, def_.Value(t, params_));
}

void WeightFunc::OnPublish()
{
    KXObject::OnPublish();
    PublishVar("string", command_, "definition");
    PublishVar("params", paramsText_, "parameters used if a FORMULA is used", kxPublishReadOnly);
}

void WeightFunc::OnMessage(KXMessage &message)
{
    if (message.GetId() == kxMsgUpdate)
        OnEvaluate();
    KXObject::OnMessage(message);
}
