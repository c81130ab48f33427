// kxmatreader.cpp - line reader for the body of a material block.
#define KX_UNIT "kxmatreader"
#include "materials/kxmatreader.h"

#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdlib>

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/// End of the line starting at `from` (the position of its '\n' or the end of the text).
size_t LineEndAt(const std::string &text, size_t from)
{
    const size_t nl = text.find('\n', from);
    return nl == std::string::npos ? text.size() : nl;
}

} // namespace

std::string kxFirstWordLower(const char *line, size_t n)
{
    size_t i = 0;
    while (i < n && IsBlank(line[i]))
        ++i;
    std::string word;
    for (; i < n && !IsBlank(line[i]) && line[i] != '\n'; ++i)
        word += static_cast<char>(std::tolower(static_cast<unsigned char>(line[i])));
    return word;
}

bool kxParseFinite(const std::string &text, double &value)
{
    if (text.empty() || IsBlank(text[0]))
        return false;
    char *end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(v))
        return false;
    value = v;
    return true;
}

kxMaterialReader::kxMaterialReader(const std::string &text, const char *file, int firstLine,
                                   kxNameSpace *ns)
    : text_(text), file_(file ? file : ""), ns_(ns), line_(firstLine), firstLine_(firstLine)
{
    pos_ = text_.size();
    bodyEnd_ = text_.size();
    const size_t headerEnd = LineEndAt(text_, 0);
    if (headerEnd < text_.size())
        pos_ = headerEnd + 1;
    // The body ends at the "end" line that closes the header's level.
    int level = 1;
    for (size_t p = pos_; p < text_.size();) {
        const size_t e = LineEndAt(text_, p);
        const std::string w = kxFirstWordLower(text_.c_str() + p, e - p);
        if (w == "begin")
            ++level;
        else if (w == "end" && --level == 0) {
            bodyEnd_ = p;
            break;
        }
        p = e + 1;
    }
}

bool kxMaterialReader::Next()
{
    atChild_ = false;
    words_.clear();
    while (pos_ < bodyEnd_) {
        const size_t e = LineEndAt(text_, pos_);
        const size_t start = pos_;
        pos_ = e + 1;
        ++line_;
        const std::string w = kxFirstWordLower(text_.c_str() + start, e - start);
        if (w == "begin") {
            // A nested block runs to its matching "end" line.
            int level = 1;
            size_t p = pos_;
            while (p < bodyEnd_ && level > 0) {
                const size_t le = LineEndAt(text_, p);
                const std::string lw = kxFirstWordLower(text_.c_str() + p, le - p);
                if (lw == "begin")
                    ++level;
                else if (lw == "end")
                    --level;
                p = le + 1;
            }
            childText_ = text_.substr(start, (p < text_.size() ? p : text_.size()) - start);
            childLine_ = line_;
            for (size_t q = pos_; q < p && q < text_.size(); ++q)
                if (text_[q] == '\n')
                    ++line_;
            pos_ = p;
            atChild_ = true;
            return true;
        }
        if (!SplitWords(text_.substr(start, e - start)))
            return false;
        if (!words_.empty())
            return true;
    }
    return false;
}

bool kxMaterialReader::SplitWords(const std::string &line)
{
    size_t i = 0;
    const size_t n = line.size();
    while (i < n) {
        while (i < n && IsBlank(line[i]))
            ++i;
        if (i >= n || line.compare(i, 2, "//") == 0)
            break;
        std::string word;
        if (line[i] == '"') {
            ++i;
            bool closed = false;
            while (i < n) {
                const char c = line[i++];
                if (c == '"') {
                    closed = true;
                    break;
                }
                if (c == '\\' && i < n)
                    word += line[i++];
                else
                    word += c;
            }
            if (!closed) {
                words_.clear();
                return Fail("a quoted text has no closing quote");
            }
        } else {
            while (i < n && !IsBlank(line[i]) && line.compare(i, 2, "//") != 0)
                word += line[i++];
        }
        words_.push_back(word);
    }
    return true;
}

bool kxMaterialReader::Fail(const char *fmt, ...)
{
    char problem[600];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(problem, sizeof problem, fmt, args);
    va_end(args);
    error.Raise(kxErrGeneric, "%s:%d: %s\n", file_.c_str(), atChild_ ? childLine_ : line_, problem);
    return false;
}

bool kxMaterialReader::Number(size_t i, double &value)
{
    if (i >= words_.size())
        return Fail("\"%s\" needs more values", words_.empty() ? "" : words_[0].c_str());
    if (!kxParseFinite(words_[i], value))
        return Fail("\"%.100s\" is not a finite number", words_[i].c_str());
    return true;
}

bool kxMaterialReader::Numbers(size_t first, size_t min, std::vector<double> &values)
{
    values.clear();
    if (words_.size() < first + min)
        return Fail("\"%s\" needs at least %zu values", words_.empty() ? "" : words_[0].c_str(),
                    min);
    for (size_t i = first; i < words_.size(); ++i) {
        double v = 0;
        if (!Number(i, v))
            return false;
        values.push_back(v);
    }
    return true;
}

bool kxMaterialReader::ExpectWords(size_t count)
{
    if (words_.size() != count + 1)
        return Fail("\"%s\" takes %zu value%s", words_[0].c_str(), count, count == 1 ? "" : "s");
    return true;
}
