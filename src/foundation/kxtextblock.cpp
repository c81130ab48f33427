// kxtextblock.cpp - the block text format: TextBlock (one block), checksig (whole-file
// signature) and the syntax-error counter.
//
// Internal faults of the block reader are reported under the unit name "kxutils".
#define KX_UNIT "kxutils"

#include "kx/foundation/kxtextblock.h"

#include "foundation/kxlinescan.h"
#include "kx/foundation/kxerror.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using namespace kxLineScan;

constexpr int kQuoteMax = 900;       // longest header quoted in an error
constexpr int kSyntaxQuoteMax = 400; // longest header quoted in a syntax error

/// White space as the scan functions see it.
inline bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}
inline char Lower(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

/// Case-insensitive equality over the letters a-z only.
bool SameNoCase(const char *a, const char *b)
{
    for (; *a && *b; ++a, ++b)
        if (Lower(*a) != Lower(*b))
            return false;
    return *a == *b;
}

enum class FirstWord {
    Other,
    Begin,
    End
};

/// Classifies the line [p, e) by its first word ("begin" or "end", without regard to case).
/// A word is a run of non-blank characters.
inline FirstWord FirstWordOf(const char *p, const char *e)
{
    while (p < e && IsSpace(*p))
        ++p;
    const size_t n = size_t(e - p);
    if (n >= 3 && Lower(p[0]) == 'e' && Lower(p[1]) == 'n' && Lower(p[2]) == 'd' &&
        (n == 3 || IsSpace(p[3])))
        return FirstWord::End;
    if (n >= 5 && Lower(p[0]) == 'b' && Lower(p[1]) == 'e' && Lower(p[2]) == 'g' &&
        Lower(p[3]) == 'i' && Lower(p[4]) == 'n' && (n == 5 || IsSpace(p[5])))
        return FirstWord::Begin;
    return FirstWord::Other;
}

/// Reads "%d" from [p, e) as the C library does: blanks, a sign, at least one digit; the value
/// is taken as a long (saturating) and narrowed to int.
bool ScanInt(const char *&p, const char *e, int32_t &value)
{
    while (p < e && IsSpace(*p))
        ++p;
    bool negative = false;
    if (p < e && (*p == '+' || *p == '-'))
        negative = *p++ == '-';
    if (p >= e || *p < '0' || *p > '9')
        return false;
    unsigned long magnitude = 0;
    const unsigned long limit = negative ? 0UL - static_cast<unsigned long>(LONG_MIN)
                                         : static_cast<unsigned long>(LONG_MAX);
    for (; p < e && *p >= '0' && *p <= '9'; ++p) {
        const unsigned digit = unsigned(*p - '0');
        magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
    }
    const unsigned long bits = negative ? 0UL - magnitude : magnitude;
    value = static_cast<int32_t>(static_cast<uint32_t>(bits));
    return true;
}

/// Appends the decimal digits of `value` (as "%d" writes them).
void AppendInt(std::string &out, int32_t value)
{
    char digits[12];
    const std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, value);
    out.append(digits, r.ptr);
}

/// The header line `begin <type(major.minor)> "name"` with its newline, the type cut to 31
/// characters; built without printf, since every block written passes here.
void AppendHeaderLine(std::string &out, const TBlockSig &sig, const char *name)
{
    const char *type = sig.type ? sig.type : "";
    out.assign("begin <");
    out.append(type, strnlen(type, 31));
    out += '(';
    AppendInt(out, sig.major);
    out += '.';
    AppendInt(out, sig.minor);
    out += ")>";
    if (name && *name) {
        out += " \"";
        out += name;
        out += "\"\n";
    } else {
        out += '\n';
    }
}

bool gSyntaxErrFlag = false;
int gSyntaxErrCount = 0;

} // namespace
// =============================================================================================
// TextBlock

TextBlock::TextBlock() = default;

TextBlock::TextBlock(const TextBlock &other) : FBuff(other) { CopyBlockFields(other); }

TextBlock &TextBlock::operator=(const TextBlock &other)
{
    if (this == &other)
        return *this;
    FBuff::operator=(other);
    delete previousText_;
    previousText_ = nullptr;
    CopyBlockFields(other);
    return *this;
}

TextBlock::~TextBlock() { delete previousText_; }

void TextBlock::CopyBlockFields(const TextBlock &other)
{
    blockEnd_ = other.blockEnd_;
    bodyStart_ = other.bodyStart_;
    bodyEnd_ = other.bodyEnd_;
    major_ = other.major_;
    minor_ = other.minor_;
    std::memcpy(type_, other.type_, sizeof type_);
    name_ = other.name_;
    hasName_ = other.hasName_;
    const bool nestedValid = other.nestedEdits_ == other.edits_;
    nested_ = nestedValid ? other.nested_ : nullptr;
    nestedFirst_ = nestedValid ? other.nestedFirst_ : 0;
    nestedLast_ = nestedValid ? other.nestedLast_ : 0;
    nestedBase_ = nestedValid ? other.nestedBase_ : 0;
    nestedEdits_ = nestedValid ? edits_ : UINT32_MAX;
    nestedCursor_ = nestedFirst_;
}

void TextBlock::ResetBlock()
{
    ClearText();
    blockEnd_ = bodyStart_ = bodyEnd_ = 0;
    major_ = minor_ = -1;
    type_[0] = '\0';
    hasName_ = false;
    nested_.reset();
    nestedFirst_ = nestedLast_ = 0;
    nestedBase_ = 0;
    nestedEdits_ = UINT32_MAX;
}

const char *TextBlock::getHeader() const
{
    const uint32_t end = bodyStart_ < len_ ? bodyStart_ : len_;
    uint32_t p = 0, e = end;
    while (p < e && (text_[p] == ' ' || text_[p] == '\t'))
        ++p;
    while (e > p && (text_[e - 1] == '\n' || text_[e - 1] == '\r'))
        --e;
    headerLine_.assign(text_ ? text_ + p : "", e - p);
    return headerLine_.c_str();
}

// The header is read as the C scan patterns " %*s <%[^>]> \"%255[^\"]" and, on the part in
// angle brackets, "%31[^(](%d.%d)" would read it; by hand, so that reading a file does not
// copy every header line.
void TextBlock::ParseHeader(const char *line, size_t n)
{
    major_ = minor_ = 0;
    type_[0] = '\0';
    hasName_ = false;

    const char *p = line;
    const char *const e = line + n;
    while (p < e && IsSpace(*p))
        ++p;
    if (p == e)
        return;
    while (p < e && !IsSpace(*p))
        ++p;
    while (p < e && IsSpace(*p))
        ++p;
    if (p == e || *p != '<')
        return;
    const char *const angle = ++p;
    while (p < e && *p != '>')
        ++p;
    if (p == angle)
        return;

    // Type part: "%31[^(](%d.%d)".
    const char *t = angle;
    while (t < p && *t != '(' && t - angle < 31)
        ++t;
    if (t > angle) {
        std::memcpy(type_, angle, size_t(t - angle));
        type_[t - angle] = '\0';
        int32_t value;
        if (t < p && *t == '(' && ScanInt(++t, p, value)) {
            major_ = value;
            if (t < p && *t == '.' && ScanInt(++t, p, value))
                minor_ = value;
        }
    }

    // Name: "> \"%255[^\"]".
    if (p == e)
        return;
    ++p;
    while (p < e && IsSpace(*p))
        ++p;
    if (p == e || *p != '"')
        return;
    const char *const quote = ++p;
    while (p < e && *p != '"' && p - quote < 255)
        ++p;
    if (p > quote) {
        name_.assign(quote, size_t(p - quote));
        hasName_ = true;
    }
}

TextBlock::Extent TextBlock::ScanExtent(const char *src, uint32_t srcLen, uint32_t head,
                                        bool skipWhitespace, std::vector<Nested> &nested)
{
    const uint32_t headEnd = LineEndIn(src, srcLen, head);
    Extent extent{false, headEnd, headEnd, headEnd - head};
    std::vector<size_t> open;
    for (int level = 1; level > 0;) {
        uint32_t s = extent.next;
        if (skipWhitespace)
            while (s < srcLen && (src[s] == ' ' || src[s] == '\t'))
                ++s;
        if (s >= srcLen)
            return extent;
        const uint32_t e = LineEndIn(src, srcLen, s);
        const FirstWord word = FirstWordOf(src + s, src + e);
        if (word == FirstWord::End) {
            if (--level > 0 && !skipWhitespace) {
                Nested &closed = nested[open.back()];
                open.pop_back();
                closed.bodyEnd = s - head;
                closed.end = e - head;
            }
        } else if (word == FirstWord::Begin) {
            ++level;
            if (!skipWhitespace) {
                open.push_back(nested.size());
                nested.push_back(Nested{s - head, e - head, 0, 0});
            }
        }
        extent.bytes += e - s;
        extent.lastLine = s;
        extent.next = e;
    }
    extent.closed = true;
    return extent;
}

bool TextBlock::LoadFrom(const char *src, uint32_t srcLen, uint32_t &posn, bool skipWhitespace,
                         FBuff *owner)
{
    const uint32_t entry = posn;
    auto lineStart = [&](uint32_t p) {
        if (skipWhitespace)
            while (p < srcLen && (src[p] == ' ' || src[p] == '\t'))
                ++p;
        return p;
    };
    const uint32_t head = lineStart(entry);
    const uint32_t headEnd = LineEndIn(src, srcLen, head);
    if (head >= srcLen || FirstWordOf(src + head, src + headEnd) != FirstWord::Begin) {
        ResetBlock();
        return false;
    }

    // Find the closing line, recording where each nested block starts and ends (the offsets
    // are only kept when the text is copied unchanged).
    std::vector<Nested> nested;
    const Extent extent = ScanExtent(src, srcLen, head, skipWhitespace, nested);
    if (!extent.closed) {
        ResetBlock();
        posn = entry;
        uint32_t quote = head, quoteEnd = headEnd;
        while (quote < quoteEnd && (src[quote] == ' ' || src[quote] == '\t'))
            ++quote;
        while (quoteEnd > quote && (src[quoteEnd - 1] == '\n' || src[quoteEnd - 1] == '\r'))
            --quoteEnd;
        error.set("Missing \"end\" in block beginning\r\n%.*s\r\n",
                  int(std::min<uint32_t>(quoteEnd - quote, kQuoteMax)), src + quote);
        return false;
    }
    const size_t bytes = extent.bytes;
    const uint32_t p = extent.next;
    const uint32_t lastLine = extent.lastLine;

    ClearText();
    if (owner && !skipWhitespace) {
        // The block is an unchanged part of the owner's text: view it instead of copying.
        owner->ShareText();
        std::shared_ptr<char> storage = owner->shared_;
        std::free(text_); // storage of our own, kept by ClearText for reuse: a view needs none
        shared_ = std::move(storage);
        text_ = owner->text_ + head;
        capacity_ = 0;
        len_ = uint32_t(bytes);
        bodyEnd_ = lastLine - head;
    } else if (!Reserve(bytes)) {
        const uint32_t cut = std::min<uint32_t>(headEnd - head, 40);
        ResetBlock();
        posn = entry;
        error.set("not enough memory to read text block beginning \r\n%.*s...\r\n", int(cut),
                  src + head);
        return false;
    } else if (!skipWhitespace) {
        std::memcpy(text_, src + head, bytes);
        len_ = uint32_t(bytes);
        bodyEnd_ = lastLine - head;
    } else {
        for (uint32_t s = head; s < p;) {
            s = lineStart(s);
            const uint32_t e = LineEndIn(src, srcLen, s);
            if (s == lastLine)
                bodyEnd_ = len_;
            std::memcpy(text_ + len_, src + s, e - s);
            len_ += e - s;
            s = e;
        }
    }
    nestedLast_ = nested.size();
    nested_ = std::make_shared<std::vector<Nested>>(std::move(nested));
    nestedFirst_ = 0;
    nestedBase_ = 0;
    FinishLoad(src, srcLen, head, headEnd, p, posn);
    if (skipWhitespace)
        nestedEdits_ = UINT32_MAX; // the text moved: nested blocks are found by scanning
    return true;
}

int TextBlock::LoadNested(TextBlock &source, uint32_t &posn)
{
    if (source.nestedEdits_ != source.edits_ || source.SkippingWhitespace() || !source.nested_)
        return kNestedUnknown;
    // The source's nested blocks are entries [first, last) of the shared table, at offsets
    // `base` above the source's own.
    const std::vector<Nested> &table = *source.nested_;
    const size_t first = source.nestedFirst_, last = source.nestedLast_;
    const uint32_t base = source.nestedBase_;
    const uint32_t key = posn + base;
    const auto byBegin = [](const Nested &n, uint32_t b) { return n.begin < b; };
    size_t at = source.nestedCursor_;
    if (at >= last || table[at].begin != key) {
        // Every header line inside the source is in the table: a line start that is not
        // there is no header. Reading goes forward, so the cursor mostly answers at once.
        const bool lineStart = posn > 0 && posn < source.len_ && source.text_[posn - 1] == '\n';
        if (lineStart && at >= first && at <= last && (at == first || table[at - 1].begin < key) &&
            (at >= last || key < table[at].begin))
            return kNestedNone;
        at = size_t(std::lower_bound(table.begin() + first, table.begin() + last, key, byBegin) -
                    table.begin());
        if (at >= last || table[at].begin != key)
            return lineStart ? kNestedNone : kNestedUnknown;
    }
    // The nested block views its part of the source's text and of its table of nested blocks
    // instead of copying them, so a walk through deeply nested blocks costs no more than
    // their text.
    const Nested block = table[at];
    const size_t next =
        size_t(std::lower_bound(table.begin() + at + 1, table.begin() + last, block.end, byBegin) -
               table.begin());
    source.ShareText();
    std::shared_ptr<char> storage = source.shared_;
    std::shared_ptr<const std::vector<Nested>> nestedTable = source.nested_;
    char *const src = source.text_;
    ClearText();
    std::free(text_); // storage of our own, kept by ClearText for reuse: a view needs none
    shared_ = std::move(storage);
    text_ = src + (block.begin - base);
    capacity_ = 0;
    len_ = block.end - block.begin;
    bodyEnd_ = block.bodyEnd - block.begin;
    nested_ = std::move(nestedTable);
    nestedFirst_ = at + 1;
    nestedLast_ = next;
    nestedBase_ = block.begin;
    source.nestedCursor_ = next;
    FinishLoad(src, source.len_, block.begin - base, block.bodyStart - base, block.end - base,
               posn);
    return kNestedLoaded;
}

void TextBlock::FinishLoad(const char *src, uint32_t srcLen, uint32_t head, uint32_t headEnd,
                           uint32_t next, uint32_t &posn)
{
    if (!shared_)
        text_[len_] = '\0';
    bodyStart_ = headEnd - head;
    blockEnd_ = len_;
    posn_ = len_;
    ParseHeader(src + head, headEnd - head);
    posn = SkipCommentLinesIn(src, srcLen, next);
    nestedEdits_ = edits_;
    nestedCursor_ = nestedFirst_;
}

bool TextBlock::LoadBlock(FBuff &source)
{
    if (&source == this) {
        FBuff copy(source);
        const bool loaded = LoadBlock(copy);
        source.setPosn(copy.getPosn());
        return loaded;
    }
    LeaveNestedWrite();
    TextBlock *const sourceBlock = source.asTextBlock();
    if (sourceBlock)
        sourceBlock->LeaveNestedWrite(); // a source is viewed, so it must hold its own text
    uint32_t posn = source.getPosn();
    if (TextBlock *block = sourceBlock) {
        const int nested = LoadNested(*block, posn);
        if (nested == kNestedNone)
            ResetBlock();
        if (nested != kNestedUnknown) {
            source.setPosn(posn);
            return nested == kNestedLoaded;
        }
    }
    const bool loaded =
        LoadFrom(source.getText(), source.getLen(), posn, source.SkippingWhitespace(), &source);
    source.setPosn(posn);
    return loaded;
}

bool TextBlock::LoadBlock(const char *text)
{
    LeaveNestedWrite();
    const size_t n = text ? std::strlen(text) : 0;
    if (n > kMaxText) {
        ResetBlock();
        return false;
    }
    // Our own text, or storage we view: copy it first, since loading lets go of it.
    if (shared_ || (text_ && text >= text_ && text < text_ + capacity_)) {
        const std::string copy(text, n);
        uint32_t posn = 0;
        return LoadFrom(copy.c_str(), uint32_t(n), posn, false);
    }
    uint32_t posn = 0;
    return LoadFrom(text ? text : "", uint32_t(n), posn, false);
}

bool TextBlock::StartChecks(const TBlockSig &sig, bool checkVersion, bool asSyntaxErrors)
{
    if (!Loaded()) {
        KX_CODE_ERROR("TextBlock::LoadBlock not called?");
        return false;
    }
    if (!IsType(sig.type)) {
        if (asSyntaxErrors)
            SyntaxErr("Unexpected type in block beginning: %.*s   required type: %.*s\n",
                      kSyntaxQuoteMax, getHeader(), kSyntaxQuoteMax, sig.type ? sig.type : "");
        else
            error.set("Expected \"begin <%s(?.?)>\" in block beginning\r\n%.*s\r\n",
                      sig.type ? sig.type : "", kQuoteMax, getHeader());
        return false;
    }
    if (checkVersion && (major_ != sig.major || (sig.minor >= 0 && minor_ != sig.minor))) {
        if (asSyntaxErrors)
            SyntaxErr("Unexpected version in block beginning: %.*s   required version: %d.%d\n",
                      kSyntaxQuoteMax, getHeader(), sig.major, sig.minor);
        else
            error.set("Expected version (%d.%d) in block beginning\r\n%.*s\r\n", sig.major,
                      sig.minor, kQuoteMax, getHeader());
        return false;
    }
    posn_ = bodyStart_ < len_ ? bodyStart_ : len_;
    SkipComments(true);
    posn_ = SkipCommentLinesFrom(posn_);
    return true;
}

bool TextBlock::StartRead(const TBlockSig &sig, bool checkVersion)
{
    if (error)
        return false;
    return StartChecks(sig, checkVersion, false);
}

bool TextBlock::CheckStartRead(const TBlockSig &sig, bool checkVersion)
{
    return StartChecks(sig, checkVersion, true);
}

void TextBlock::EndRead()
{
    posn_ = blockEnd_ < len_ ? blockEnd_ : len_;
    SkipComments(false);
}

void TextBlock::GotoBody()
{
    posn_ = bodyStart_ < len_ ? bodyStart_ : len_;
    if (SkippingComments())
        posn_ = SkipCommentLinesFrom(posn_);
}

int TextBlock::getNBodyLines()
{
    const uint32_t end = bodyEnd_ < len_ ? bodyEnd_ : len_;
    uint32_t p = bodyStart_;
    int lines = 0;
    if (SkippingComments())
        p = SkipCommentLinesFrom(p);
    while (p < end) {
        p = LineEnd(p);
        ++lines;
        if (SkippingComments())
            p = SkipCommentLinesFrom(p);
    }
    return lines;
}

void TextBlock::StartWrite(const TBlockSig &sig, const char *name, const char *previousText)
{
    // 1. The old text, kept as the source of the comments to carry over.
    delete previousText_;
    previousText_ = nullptr;
    // A fresh block with no previous text has no comments to carry: no copy is made.
    const bool hasPrevious = len_ > 0 || (previousText && *previousText);
    TextBlock *previous = hasPrevious ? new TextBlock(*this) : nullptr;
    if (previous && previous->getLen() == 0)
        previous->AppendRaw(previousText, std::strlen(previousText));
    if (previous && previous->getLen() == 0) {
        delete previous;
        previous = nullptr;
    } else if (previous) {
        previous->SkipComments(false);
        previous->SkipWhitespace(true);
        previous->posn_ = 0;
        previous->gets();
    }
    previousText_ = previous;

    // 2. A fresh text with the new signature and name.
    ClearText();
    ClearLine();
    setName(name);
    setType(sig.type);
    major_ = sig.major;
    minor_ = sig.minor;

    // 3. The header line.
    indent_ = 0;
    PutHeader(sig);
    posn_ = len_;
    bodyStart_ = len_;
    bodyEnd_ = blockEnd_ = 0;
    indent_ = 2;
    commentSrc_ = previousText_;

    // 4. Comment lines right after the old header stay right after the new one.
    if (!previousText_)
        return;
    for (;;) {
        const char *comment = previousText_->getclB(false);
        if (!comment || !*comment)
            break;
        Append(comment);
    }
}

void TextBlock::PutHeader(const TBlockSig &sig)
{
    // `begin <type(major.minor)>` is formatted here, the name copied straight into the text.
    char head[96]; // 7 + 31 + 1 + 11 + 1 + 11 + 2 bytes at most
    const char *type = sig.type ? sig.type : "";
    const size_t typeLen = strnlen(type, 31);
    char *p = head;
    std::memcpy(p, "begin <", 7);
    p += 7;
    std::memcpy(p, type, typeLen);
    p += typeLen;
    *p++ = '(';
    char digits[12];
    const size_t majorLen = size_t(std::to_chars(digits, digits + 12, sig.major).ptr - digits);
    std::memcpy(p, digits, std::min<size_t>(majorLen, 11));
    p += std::min<size_t>(majorLen, 11);
    *p++ = '.';
    const size_t minorLen = size_t(std::to_chars(digits, digits + 12, sig.minor).ptr - digits);
    std::memcpy(p, digits, std::min<size_t>(minorLen, 11));
    p += std::min<size_t>(minorLen, 11);
    *p++ = ')';
    *p++ = '>';
    const size_t headLen = size_t(p - head);
    const size_t nameLen = hasName_ ? name_.size() : 0;
    if (nestIndent_ > 0 && hasName_ && name_.find('\n') != std::string::npos) {
        std::string header; // a line end inside the name: each line gets the lender's indent
        AppendHeaderLine(header, sig, getName());
        if (AppendIndent())
            AppendText(header.data(), header.size());
        return;
    }
    const size_t indent = LineStartIndent();
    const size_t total = indent + headLen + (nameLen > 0 ? nameLen + 3 : 0) + 1;
    char *at = Extend(total);
    if (!at)
        return;
    std::memset(at, ' ', indent);
    at += indent;
    std::memcpy(at, head, headLen);
    at += headLen;
    if (nameLen > 0) {
        *at++ = ' ';
        *at++ = '"';
        std::memcpy(at, name_.data(), nameLen);
        at += nameLen;
        *at++ = '"';
    }
    *at = '\n';
}

void TextBlock::EndWrite()
{
    delete previousText_;
    previousText_ = nullptr;
    commentSrc_ = nullptr;
    bodyEnd_ = len_;
    indent_ = 0;
    PutLine(LineStartIndent(), "end", 3);
    posn_ = len_;
    blockEnd_ = len_;
}

void TextBlock::AppendEnd()
{
    bodyEnd_ = len_;
    PutLine(LineStartIndent(), "end", 3);
    blockEnd_ = len_;
    posn_ = len_;
}

void TextBlock::setHeader(const TBlockSig &sig, const char *name)
{
    LeaveNestedWrite(); // the header is replaced in place, as in a text of its own
    setName(name);
    setType(sig.type);
    major_ = sig.major;
    minor_ = sig.minor;
    std::string header;
    AppendHeaderLine(header, sig, getName());

    // Replace the old header line [0, bodyStart) by the new one, moving the rest.
    const uint32_t oldHead = bodyStart_ < len_ ? bodyStart_ : len_;
    const size_t newLen = size_t(len_) - oldHead + header.size();
    if (!Reserve(newLen)) {
        KX_CODE_ERROR("TextBlock: not enough memory for the header");
        return;
    }
    std::memmove(text_ + header.size(), text_ + oldHead, len_ - oldHead);
    std::memcpy(text_, header.data(), header.size());
    len_ = uint32_t(newLen);
    text_[len_] = '\0';
    const int64_t shift = int64_t(header.size()) - int64_t(oldHead);
    auto moved = [&](uint32_t at) {
        return at >= oldHead ? uint32_t(int64_t(at) + shift) : uint32_t(header.size());
    };
    posn_ = moved(posn_);
    if (bodyEnd_ > 0)
        bodyEnd_ = moved(bodyEnd_);
    if (blockEnd_ > 0)
        blockEnd_ = moved(blockEnd_);
    bodyStart_ = uint32_t(header.size());
}

const char *TextBlock::MakeTBlockHeader(const TBlockSig &sig, const char *name)
{
    static std::string shared;
    AppendHeaderLine(shared, sig, name);
    return shared.c_str();
}

void TextBlock::setName(const char *name)
{
    hasName_ = name && *name;
    if (hasName_)
        name_.assign(name); // safe when `name` is our own name
}

void TextBlock::setType(const char *type)
{
    std::strncpy(type_, type ? type : "", sizeof type_ - 1);
    type_[sizeof type_ - 1] = '\0';
}

bool TextBlock::IsType(const char *type) const
{
    if (!type)
        return false;
    // Only the characters a type keeps count: the rest of a longer type is not compared.
    size_t i = 0;
    for (; i < sizeof type_ - 1 && type_[i] && type[i]; ++i)
        if (Lower(type_[i]) != Lower(type[i]))
            return false;
    return i == sizeof type_ - 1 || type_[i] == type[i];
}

bool TextBlock::IsVersion(int major, int minorLow, int minorHigh) const
{
    if (major_ != major)
        return false;
    if (minorLow < 0)
        return true;
    const int upper = minorHigh < 0 ? minorLow : minorHigh;
    return minorLow <= minor_ && minor_ <= upper;
}

bool TextBlock::VersionAtLeast(int major, int minor) const
{
    return major_ > major || (major_ == major && minor_ >= minor);
}

bool TextBlock::eCheckType(const char *type)
{
    if (error)
        return false;
    if (IsType(type))
        return true;
    error.set("Expected \"begin <%s(?.?)>\" in block beginning\r\n%.*s\r\n", type ? type : "",
              kQuoteMax, getHeader());
    return false;
}

bool TextBlock::eCheckVersion(int major, int minorLow, int minorHigh)
{
    if (error)
        return false;
    if (IsVersion(major, minorLow, minorHigh))
        return true;
    error.set("Expected version (%d.%d) in block beginning\r\n%.*s\r\n", major,
              minorHigh < 0 ? minorLow : minorHigh, kQuoteMax, getHeader());
    return false;
}

bool TextBlock::eCheckSig(const TBlockSig &sig)
{
    if (error)
        return false;
    if (!IsType(sig.type)) {
        error.set("Expected \"begin <%s(%d.%d)>\" in block beginning\r\n%.*s\r\n",
                  sig.type ? sig.type : "", sig.major, sig.minor, kQuoteMax, getHeader());
        return false;
    }
    if (major_ != sig.major || (sig.minor >= 0 && minor_ != sig.minor)) {
        error.set("Expected block version (%d.%d) in block beginning\r\n%.*s\r\n", sig.major,
                  sig.minor, kQuoteMax, getHeader());
        return false;
    }
    return true;
}

// =============================================================================================
// Whole-file signature

namespace {

struct SigParts {
    std::string name;
    std::string version;
};

std::string Trimmed(const char *p, const char *e)
{
    while (p < e && IsSpace(*p))
        ++p;
    while (e > p && IsSpace(e[-1]))
        --e;
    return std::string(p, size_t(e - p));
}

/// Splits "name(version)" into its name and the text in the parentheses.
SigParts SplitSignature(const char *sig)
{
    if (!sig)
        sig = "";
    const char *const end = sig + std::strlen(sig);
    const char *open = std::strchr(sig, '(');
    if (!open)
        return {Trimmed(sig, end), std::string()};
    const char *close = std::strchr(open + 1, ')');
    return {Trimmed(sig, open), Trimmed(open + 1, close ? close : end)};
}

} // namespace

int checksig(const char *found, const char *expected, const char *fileName)
{
    const SigParts got = SplitSignature(found);
    const SigParts want = SplitSignature(expected);
    if (!SameNoCase(got.name.c_str(), want.name.c_str())) {
        error.Raise(kxErrGeneric,
                    "Invalid signature in file \"%s\" - wrong file?\nExpected signature \"%s\" ",
                    fileName ? fileName : "", expected ? expected : "");
        return 1;
    }
    if (got.version != want.version) {
        error.Raise(kxErrVersion, "Invalid version number in file %s\r\nExpected version %s",
                    fileName ? fileName : "", want.version.c_str());
        return 1;
    }
    return 0;
}

int checksig(FILE *file, const char *expected, const char *fileName)
{
    std::string first;
    if (file) {
        int c;
        while ((c = std::fgetc(file)) != EOF && c != '\n')
            first += char(c);
    }
    return checksig(first.c_str(), expected, fileName);
}

// =============================================================================================
// Syntax errors

std::string kxQuoteCut(const std::string &text, size_t max)
{
    return text.size() <= max ? text : text.substr(0, max) + "...";
}

void SyntaxErr(const char *fmt, ...)
{
    char message[1000];
    va_list args;
    va_start(args, fmt);
    const int n = std::vsnprintf(message, sizeof message, fmt, args);
    va_end(args);
    if (n < 0 || n >= int(sizeof message))
        exitfn("Fatal error in SyntaxErr", 1);
    wlprintf("%s", message);
    ++gSyntaxErrCount;
    gSyntaxErrFlag = true;
}

void ResetSyntaxErrFlag()
{
    gSyntaxErrFlag = false;
    gSyntaxErrCount = 0;
}

bool GetSyntaxErrFlag() { return gSyntaxErrFlag; }

int GetSyntaxErrCount() { return gSyntaxErrCount; }
