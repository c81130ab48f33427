// kxmatyaml.cpp - database YAML files through yaml-cpp, and plain n,k tables. yaml-cpp reports
// problems by exceptions; they are caught here and turned into messages, never passed on.
#define KX_UNIT "kxmatyaml"
#include "kx/materials/kxmatyaml.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxfbuff.h"
#include "materials/kxmatreader.h"

#include <yaml-cpp/yaml.h>

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <sstream>

namespace {

/// Collects the messages of one file.
class FileProblems {
public:
    explicit FileProblems(const char *file) : file_(file ? file : "") {}
    bool Fail(int line, const char *fmt, ...) KX_PRINTF_LIKE(3, 4)
    {
        char problem[600];
        va_list args;
        va_start(args, fmt);
        std::vsnprintf(problem, sizeof problem, fmt, args);
        va_end(args);
        error.Raise(kxErrGeneric, "%s:%d: %s\n", file_.c_str(), line, problem);
        return false;
    }
    [[nodiscard]] const char *File() const { return file_.c_str(); }

private:
    std::string file_;
};

int LineOf(const YAML::Node &node) { return node.Mark().line + 1; }

/// Splits a text into numbers separated by blanks, tabs, commas or semicolons.
bool SplitNumbers(const std::string &text, std::vector<double> &out, std::string &bad)
{
    out.clear();
    std::string word;
    auto flush = [&]() {
        if (word.empty())
            return true;
        double v = 0;
        if (!kxParseFinite(word, v)) {
            bad = word;
            return false;
        }
        out.push_back(v);
        word.clear();
        return true;
    };
    for (char c : text) {
        if (c == ' ' || c == '\t' || c == ',' || c == ';' || c == '\r' || c == '\n') {
            if (!flush())
                return false;
        } else {
            word += c;
        }
    }
    return flush();
}

/// Numbers given as one text or as a list.
bool NumbersOf(const YAML::Node &node, std::vector<double> &out, FileProblems &fp, const char *what)
{
    std::string bad;
    if (node.IsScalar()) {
        if (!SplitNumbers(node.Scalar(), out, bad))
            return fp.Fail(LineOf(node), "\"%.60s\" in %s is not a finite number", bad.c_str(),
                           what);
        return true;
    }
    if (!node.IsSequence())
        return fp.Fail(LineOf(node), "%s must be numbers", what);
    out.clear();
    for (const YAML::Node &item : node) {
        double v = 0;
        if (!item.IsScalar() || !kxParseFinite(item.Scalar(), v))
            return fp.Fail(LineOf(item), "%s must be finite numbers", what);
        out.push_back(v);
    }
    return true;
}

struct Rows {
    std::vector<double> lambda, a, b;
};

/// Reads the rows of a table text; `firstLine` is the file line of its first row.
bool ReadRows(const std::string &text, size_t columns, int firstLine, FileProblems &fp, Rows &rows,
              bool allowHeading)
{
    std::istringstream in(text);
    std::string line;
    int lineNo = firstLine - 1;
    bool first = true;
    std::vector<double> v;
    while (std::getline(in, line)) {
        ++lineNo;
        const size_t start = line.find_first_not_of(" \t\r");
        if (start == std::string::npos || line[start] == '#' || line.compare(start, 2, "//") == 0)
            continue;
        std::string bad;
        if (!SplitNumbers(line, v, bad)) {
            if (first && allowHeading) {
                first = false;
                continue;
            }
            return fp.Fail(lineNo, "\"%.60s\" is not a finite number", bad.c_str());
        }
        first = false;
        if (columns == 0) {
            if (v.size() != 2 && v.size() != 3)
                return fp.Fail(lineNo, "a row holds 2 or 3 numbers (lambda, n [, k])");
            columns = v.size();
        }
        if (v.size() != columns)
            return fp.Fail(lineNo, "a row holds %zu numbers, not %zu", columns, v.size());
        if (!(v[0] > 0.0))
            return fp.Fail(lineNo, "the wavelength must be positive");
        if (!rows.lambda.empty() && !(v[0] > rows.lambda.back()))
            return fp.Fail(lineNo, "the wavelengths must increase");
        rows.lambda.push_back(v[0]);
        rows.a.push_back(v[1]);
        if (columns == 3)
            rows.b.push_back(v[2]);
    }
    if (rows.lambda.size() < 2)
        return fp.Fail(lineNo < firstLine ? firstLine : lineNo, "a table needs at least 2 rows");
    return true;
}

bool ReadFormula(const YAML::Node &entry, int type, kxDatabaseMaterial &m, FileProblems &fp)
{
    const YAML::Node coef = entry["coefficients"];
    if (!coef)
        return fp.Fail(LineOf(entry), "formula %d has no \"coefficients\"", type);
    std::vector<double> c;
    if (!NumbersOf(coef, c, fp, "the coefficients"))
        return false;
    if (const char *problem = kxDatabaseFormulaProblem(type, c))
        return fp.Fail(LineOf(coef), "%s", problem);
    // yaml-cpp: assigning to a node that was not found is refused, so each lookup is its own.
    const YAML::Node newer = entry["wavelength_range"];
    const YAML::Node range = newer ? newer : entry["range"];
    if (!range)
        return fp.Fail(LineOf(entry), "formula %d has no \"wavelength_range\"", type);
    std::vector<double> r;
    if (!NumbersOf(range, r, fp, "the wavelength range"))
        return false;
    if (r.size() != 2 || !(r[0] >= 0.0 && r[1] > r[0]))
        return fp.Fail(LineOf(range), "the wavelength range must be two numbers lo < hi");
    if (!m.SetFormula(type, c, r[0], r[1]))
        return false;
    return true;
}

bool ReadEntry(const YAML::Node &entry, kxDatabaseMaterial &m, FileProblems &fp)
{
    if (!entry.IsMap())
        return fp.Fail(LineOf(entry), "each entry of \"DATA\" must be a map");
    const YAML::Node typeNode = entry["type"];
    if (!typeNode || !typeNode.IsScalar())
        return fp.Fail(LineOf(entry), "an entry of \"DATA\" has no \"type\"");
    const std::string type = typeNode.Scalar();
    int number = 0;
    char extra = 0;
    if (std::sscanf(type.c_str(), "formula %d%c", &number, &extra) == 1) {
        if (number < 1 || number > 9)
            return fp.Fail(LineOf(typeNode), "unknown type \"%.60s\"", type.c_str());
        if (m.HasN())
            return fp.Fail(LineOf(typeNode), "n is given twice");
        return ReadFormula(entry, number, m, fp);
    }
    size_t columns = 0;
    if (type == "tabulated nk")
        columns = 3;
    else if (type == "tabulated n" || type == "tabulated k")
        columns = 2;
    else
        return fp.Fail(LineOf(typeNode), "unknown type \"%.60s\"", type.c_str());
    const bool givesN = type != "tabulated k";
    const bool givesK = type != "tabulated n";
    if ((givesN && m.HasN()) || (givesK && !m.KTable().Empty()))
        return fp.Fail(LineOf(typeNode), "%s is given twice", givesN ? "n" : "k");
    const YAML::Node data = entry["data"];
    if (!data || !data.IsScalar())
        return fp.Fail(LineOf(entry), "\"%s\" has no \"data\"", type.c_str());
    // A block text ("data: |") starts on the line after its indicator.
    const int first = LineOf(data) + (data.Tag() == "!" ? 1 : 0);
    Rows rows;
    if (!ReadRows(data.Scalar(), columns, first, fp, rows, false))
        return false;
    bool ok = true;
    if (type == "tabulated k")
        ok = m.SetKTable(rows.lambda, rows.a);
    else
        ok = m.SetNTable(rows.lambda, rows.a) && (columns == 2 || m.SetKTable(rows.lambda, rows.b));
    return ok || fp.Fail(LineOf(data), "the table could not be used");
}

kxDatabaseMaterial *ParseYAML(const std::string &text, FileProblems &fp,
                              kxMaterialTable::Interpolation mode)
{
    YAML::Node root = YAML::Load(text);
    if (!root.IsMap()) {
        fp.Fail(root.IsDefined() && !root.IsNull() ? LineOf(root) : 1,
                "a database file is a map with \"DATA\"");
        return nullptr;
    }
    const YAML::Node data = root["DATA"];
    if (!data || !data.IsSequence() || data.size() == 0) {
        fp.Fail(data ? LineOf(data) : 1, "\"DATA\" must be a list of entries");
        return nullptr;
    }
    auto m = std::make_unique<kxDatabaseMaterial>();
    m->SetInterpolation(mode);
    if (const YAML::Node refs = root["REFERENCES"]; refs && refs.IsScalar())
        m->SetSource(KXString(refs.Scalar().c_str()));
    if (const YAML::Node comments = root["COMMENTS"]; comments && comments.IsScalar())
        m->SetComments(KXString(comments.Scalar().c_str()));
    for (const YAML::Node &entry : data)
        if (!ReadEntry(entry, *m, fp))
            return nullptr;
    if (!m->HasN()) {
        fp.Fail(LineOf(data), "the file gives no n (a formula or a table of n)");
        return nullptr;
    }
    return m.release();
}

std::string Number(double v) { return kxMaterialNumber(v); }

std::string TableText(const kxMaterialTable &a, const kxMaterialTable *b)
{
    std::string out;
    for (int i = 0; i < a.Count(); ++i) {
        out += Number(a.Lambda(i)) + " " + Number(a.Value(i));
        if (b)
            out += " " + Number(b->Value(i));
        out += "\n";
    }
    return out;
}

bool LoadText(const char *path, std::string &text)
{
    FBuff buf;
    if (!buf.LoadFile(path))
        return false;
    text.assign(buf.getText(), buf.getLen());
    return true;
}

} // namespace

std::string kxMaterialNameFromPath(const char *path)
{
    std::string p = path ? path : "";
    const size_t slash = p.find_last_of("/\\");
    if (slash != std::string::npos)
        p = p.substr(slash + 1);
    const size_t dot = p.find_last_of('.');
    if (dot != std::string::npos && dot > 0)
        p = p.substr(0, dot);
    return p;
}

kxDatabaseMaterial *kxParseDatabaseYAML(const std::string &text, const char *fileName,
                                        kxMaterialTable::Interpolation mode)
{
    FileProblems fp(fileName);
    kxDatabaseMaterial *m = nullptr;
    try {
        m = ParseYAML(text, fp, mode);
    } catch (const YAML::Exception &e) {
        fp.Fail(e.mark.line + 1, "%s", e.msg.c_str());
    } catch (const std::exception &e) {
        fp.Fail(0, "%s", e.what());
    }
    if (m)
        m->SetName(KXString(kxMaterialNameFromPath(fileName).c_str()));
    return m;
}

kxDatabaseMaterial *kxReadDatabaseYAML(const char *path, kxMaterialTable::Interpolation mode)
{
    std::string text;
    return LoadText(path, text) ? kxParseDatabaseYAML(text, path, mode) : nullptr;
}

std::string kxDatabaseYAMLText(const kxDatabaseMaterial &m)
{
    YAML::Emitter out;
    out << YAML::BeginMap;
    if (!m.GetSource().Empty())
        out << YAML::Key << "REFERENCES" << YAML::Value << m.GetSource().c_str();
    if (!m.GetComments().Empty())
        out << YAML::Key << "COMMENTS" << YAML::Value << m.GetComments().c_str();
    out << YAML::Key << "DATA" << YAML::Value << YAML::BeginSeq;
    if (m.FormulaType() != 0) {
        std::string coef;
        for (double c : m.FormulaCoefficients())
            coef += (coef.empty() ? "" : " ") + Number(c);
        out << YAML::BeginMap << YAML::Key << "type" << YAML::Value
            << ("formula " + std::to_string(m.FormulaType())) << YAML::Key << "wavelength_range"
            << YAML::Value << (Number(m.FormulaLo()) + " " + Number(m.FormulaHi())) << YAML::Key
            << "coefficients" << YAML::Value << coef << YAML::EndMap;
    }
    auto table = [&](const char *type, const std::string &rows) {
        out << YAML::BeginMap << YAML::Key << "type" << YAML::Value << type << YAML::Key << "data"
            << YAML::Value << YAML::Literal << rows << YAML::EndMap;
    };
    const kxMaterialTable &n = m.NTable(), &k = m.KTable();
    bool sameGrid = !n.Empty() && !k.Empty() && n.Count() == k.Count();
    for (int i = 0; sameGrid && i < n.Count(); ++i)
        sameGrid = n.Lambda(i) == k.Lambda(i);
    if (sameGrid) {
        table("tabulated nk", TableText(n, &k));
    } else {
        if (!n.Empty())
            table("tabulated n", TableText(n, nullptr));
        if (!k.Empty())
            table("tabulated k", TableText(k, nullptr));
    }
    out << YAML::EndSeq << YAML::EndMap;
    return std::string(out.c_str()) + "\n";
}

bool kxWriteDatabaseYAML(const kxDatabaseMaterial &m, const char *path)
{
    FBuff buf;
    buf.Append(kxDatabaseYAMLText(m).c_str());
    return buf.SaveFile(path);
}

kxDatabaseMaterial *kxParseTableText(const std::string &text, const char *fileName,
                                     kxMaterialTable::Interpolation mode)
{
    FileProblems fp(fileName);
    Rows rows;
    if (!ReadRows(text, 0, 1, fp, rows, true))
        return nullptr;
    auto m = std::make_unique<kxDatabaseMaterial>();
    m->SetInterpolation(mode);
    if (!m->SetNTable(rows.lambda, rows.a) ||
        (!rows.b.empty() && !m->SetKTable(rows.lambda, rows.b))) {
        fp.Fail(1, "the table could not be used");
        return nullptr;
    }
    m->SetName(KXString(kxMaterialNameFromPath(fileName).c_str()));
    return m.release();
}

kxDatabaseMaterial *kxReadTableFile(const char *path, kxMaterialTable::Interpolation mode)
{
    std::string text;
    return LoadText(path, text) ? kxParseTableText(text, path, mode) : nullptr;
}
