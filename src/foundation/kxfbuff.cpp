// kxfbuff.cpp - FBuff, the growable text buffer read and written line by line.
//
// Internal faults are reported under the unit name "kxutils", as for the block reader.
#define KX_UNIT "kxutils"

#include "kx/foundation/kxfbuff.h"

#include "foundation/kxformat.h"
#include "foundation/kxlinescan.h"
#include "foundation/kxsavefile.h"
#include "kx/foundation/kxerror.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace {

using namespace kxLineScan;

constexpr size_t kStep = 4096;                   // growth step of the text and line buffers
constexpr size_t kLargeBuffer = size_t(4) << 20; // texts this big ask for large pages
constexpr size_t kBlankRun = 32;                 // indents up to this are copied from kBlanks
constexpr char kBlanks[kBlankRun + 1] = "                                ";

} // namespace

FBuff::FBuff() = default;

FBuff::FBuff(const FBuff &other) { *this = other; }

FBuff &FBuff::operator=(const FBuff &other)
{
    if (this == &other)
        return *this;
    LeaveNested({});
    ClearText();
    if (other.len_ > 0 && AppendRaw(other.text_, other.len_))
        posn_ = other.posn_;
    indent_ = other.indent_;
    flags_ = other.flags_;
    commentSrc_ = nullptr;
    return *this;
}

FBuff::~FBuff()
{
    if (lender_)
        lender_->TakeBack(*this, false);
    if (!shared_)
        std::free(text_);
    std::free(line_);
}

void FBuff::unalloc()
{
    LeaveNested({});
    if (!shared_)
        std::free(text_);
    shared_.reset();
    std::free(line_);
    text_ = line_ = nullptr;
    capacity_ = lineCapacity_ = 0;
    avgSize_ = lineAvgSize_ = 0;
    posn_ = len_ = 0;
    ++edits_;
}

const char *FBuff::getText() const
{
    if (!text_)
        return "";
    if (shared_ && text_[len_] != '\0' && !Unshare(len_)) {
        KX_CODE_ERROR("FBuff: not enough memory to copy a text");
        return "";
    }
    return text_;
}

void FBuff::ShareText()
{
    LeaveNested({});
    if (shared_ || !text_)
        return;
    shared_.reset(text_, std::free);
    capacity_ = 0;
}

bool FBuff::Unshare(size_t needed) const
{
    const size_t size = (std::max<size_t>(needed, len_) / kStep + 1) * kStep;
    char *own = static_cast<char *>(std::malloc(size));
    if (!own)
        return false;
    std::memcpy(own, text_, len_);
    own[len_] = '\0';
    text_ = own;
    capacity_ = size;
    shared_.reset();
    return true;
}

bool FBuff::Reserve(size_t needed)
{
    ++edits_;
    avgSize_ = (7 * avgSize_ + needed) / 8;
    if (needed > kMaxText)
        return false;
    if (shared_)
        return Unshare(needed);
    if (needed < capacity_)
        return true;
    // A borrowed text is the end of its lender's allocation: the whole allocation grows.
    const size_t offset = lentOffset_;
    if (needed > kMaxText - offset)
        return false;
    const size_t total = offset + capacity_;
    const size_t want = needed + 1 - capacity_; // room for the terminator
    size_t steps = (want + kStep - 1) / kStep;
    const size_t minimal = total + steps * kStep;
    if (total >= 2 * kStep && steps < total / 2 / kStep)
        steps = total / 2 / kStep;
    size_t grown = total + steps * kStep;
    char *const storage = text_ ? text_ - offset : nullptr;
    char *bigger = static_cast<char *>(std::realloc(storage, grown));
    if (!bigger && grown != minimal) {
        grown = minimal;
        bigger = static_cast<char *>(std::realloc(storage, grown));
    }
    if (!bigger)
        return false;
    if (!text_)
        bigger[0] = '\0';
    text_ = bigger + offset;
    capacity_ = grown - offset;
    if (grown >= kLargeBuffer)
        kxAdviseLargeBuffer(bigger, grown);
    return true;
}

char *FBuff::Extend(size_t n)
{
    if (!Room(size_t(len_) + n)) {
        KX_CODE_ERROR("FBuff: not enough memory to append text");
        return nullptr;
    }
    char *at = text_ + len_;
    len_ += uint32_t(n);
    text_[len_] = '\0';
    return at;
}

bool FBuff::AppendRaw(const char *bytes, size_t n)
{
    char *at = Extend(n);
    if (!at)
        return false;
    std::memcpy(at, bytes, n);
    return true;
}

bool FBuff::AppendText(const char *bytes, size_t n)
{
    if (nestIndent_ <= 0)
        return AppendRaw(bytes, n);
    while (n > 0) {
        const void *nl = std::memchr(bytes, '\n', n);
        const size_t line = nl ? size_t(static_cast<const char *>(nl) - bytes) + 1 : n;
        const size_t indent = AtLineStart() ? size_t(nestIndent_) : 0;
        char *at = Extend(indent + line);
        if (!at)
            return false;
        std::memset(at, ' ', indent);
        std::memcpy(at + indent, bytes, line);
        bytes += line;
        n -= line;
    }
    return true;
}

bool FBuff::AppendIndent()
{
    const size_t indent =
        size_t(indent_) + (nestIndent_ > 0 && AtLineStart() ? size_t(nestIndent_) : 0);
    if (indent == 0)
        return true;
    char *at = Extend(indent);
    if (!at)
        return false;
    std::memset(at, ' ', indent);
    return true;
}

void FBuff::ClearText()
{
    ++edits_;
    posn_ = len_ = 0;
    avgSize_ = avgSize_ * 7 / 8;
    if (shared_) { // a view: let go of the storage
        shared_.reset();
        text_ = nullptr;
        capacity_ = 0;
    } else if (!lender_ && capacity_ > 16 * kStep && capacity_ / 4 > avgSize_) {
        std::free(text_);
        text_ = nullptr;
        capacity_ = 0;
    }
    if (text_)
        text_[0] = '\0';
}

void FBuff::ClearLine()
{
    if (line_)
        line_[0] = '\0';
    lineAvgSize_ = lineAvgSize_ * 7 / 8;
}

uint32_t FBuff::LineEnd(uint32_t from) const { return LineEndIn(text_, len_, from); }

uint32_t FBuff::SkipCommentLinesFrom(uint32_t from) const
{
    return text_ ? SkipCommentLinesIn(text_, len_, from) : from;
}

char *FBuff::SetLine(const char *from, size_t n, bool addNewline)
{
    const size_t need = n + (addNewline ? 1 : 0) + 1;
    lineAvgSize_ = (7 * lineAvgSize_ + need) / 8;
    if (need > lineCapacity_ || need < lineAvgSize_ / 4) {
        char *resized = static_cast<char *>(std::realloc(line_, need));
        if (!resized && need > lineCapacity_) {
            KX_CODE_ERROR("FBuff: not enough memory for a line");
            return nullptr;
        }
        if (resized) {
            line_ = resized;
            lineCapacity_ = need;
        }
    }
    std::memmove(line_, from, n);
    if (addNewline)
        line_[n++] = '\n';
    line_[n] = '\0';
    return line_;
}

bool FBuff::LoadFile(const char *path)
{
    FILE *file = path ? std::fopen(path, "r") : nullptr;
    if (!file) {
        error.set("Failed to open file \"%s\"\n", path ? path : "");
        return false;
    }
    std::setvbuf(file, nullptr, _IOFBF, 64 * kStep); // fewer, larger reads underneath
    ClearText();
    struct stat st;
    if (fstat(fileno(file), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0 &&
        size_t(st.st_size) <= kMaxText)
        (void)Reserve(size_t(st.st_size) + kStep); // a hint: reading grows the text anyway
    // Read in 4,096-byte pieces straight into the text; the text ends at a NUL byte.
    bool ok = true;
    for (;;) {
        if (!Reserve(size_t(len_) + kStep)) {
            ok = false; // out of memory
            break;
        }
        const size_t got = std::fread(text_ + len_, 1, kStep, file);
        if (got == 0)
            break;
        const void *nul = std::memchr(text_ + len_, '\0', got);
        len_ += uint32_t(nul ? static_cast<const char *>(nul) - (text_ + len_) : got);
        text_[len_] = '\0';
        if (nul)
            break;
    }
    ok = ok && !std::ferror(file);
    std::fclose(file);
    if (!ok) {
        ClearText();
        error.set("Failed to open file \"%s\"\n", path);
        return false;
    }
    posn_ = 0;
    return true;
}

bool FBuff::SaveFile(const char *path) const
{
    const kxSaveStatus status = kxSaveFileAtomic(path, getText(), len_);
    if (status.result == kxSaveResult::Ok)
        return true;
    error.set("Failed to open file \"%s\"\n", path ? path : "");
    if (status.result == kxSaveResult::WriteFailed)
        error.set("%s\n", std::strerror(status.sysError));
    else if (kxFileIsReadable(path))
        error.Raise(kxErrFile, "File was read only?\n");
    return false;
}

void FBuff::Append(const char *text)
{
    const size_t n = text ? std::strlen(text) : 0;
    if (AppendIndent())
        AppendText(text ? text : "", n);
    posn_ = len_;
}

void FBuff::Append(const FBuff &other)
{
    if (this == &other) {
        const FBuff copy(other);
        Append(copy);
        return;
    }
    // One pass over the lines: room for the rest of the text and this line's indent is made
    // whenever the text runs short (growth is geometric, so this stays linear).
    const char *t = other.text_;
    const uint32_t n = other.len_;
    // In nested writing every line after the first starts a line of the lender's text too.
    const size_t indent = size_t(indent_) + size_t(nestIndent_);
    const size_t first = size_t(indent_) + (AtLineStart() ? size_t(nestIndent_) : 0);
    const uint32_t start = len_;
    for (uint32_t p = 0; p < n;) {
        const uint32_t e = LineEndIn(t, n, p);
        const size_t lineIndent = p == 0 ? first : indent;
        const size_t need = size_t(len_) + lineIndent + (e - p) + 1;
        if ((shared_ || need >= capacity_) && !Reserve(need + (n - e))) {
            KX_CODE_ERROR("FBuff: not enough memory to append text");
            len_ = start; // nothing of `other` is appended
            break;
        }
        std::memset(text_ + len_, ' ', lineIndent);
        len_ += uint32_t(lineIndent);
        std::memcpy(text_ + len_, t + p, e - p);
        len_ += e - p;
        if (t[e - 1] != '\n')
            text_[len_++] = '\n';
        p = e;
    }
    if (text_)
        text_[len_] = '\0';
    posn_ = len_;
}

void FBuff::WriteLine(const char *line)
{
    if (!commentSrc_) {
        // Indent, line and newline in one step: the common case of every block written. The
        // line is scanned once, for its end or a line end inside it.
        if (!line)
            line = "";
        const char *stop = strchrnul(line, '\n');
        if (*stop == '\n' && nestIndent_ > 0) {
            Append(line); // each line inside it starts a line of the lender's text
            AppendText("\n", 1);
            posn_ = len_;
            return;
        }
        const size_t n = size_t(stop - line) + (*stop ? std::strlen(stop) : 0);
        PutLine(size_t(indent_) + LineStartIndent(), line, n);
        posn_ = len_;
        return;
    }
    Append(line);
    const char *ending = commentSrc_->getclB(true);
    AppendText(ending ? ending : "\n", ending ? std::strlen(ending) : 1);
    for (;;) {
        const char *comment = commentSrc_->getclB(false);
        if (!comment || !*comment)
            break;
        Append(comment);
    }
    posn_ = len_;
}

bool FBuff::PutLine(size_t indent, const char *bytes, size_t n)
{
    const size_t total = indent + n + 1;
    // Room for a whole run of blanks as well, so that a usual indent is one fixed-size copy.
    if (!Room(size_t(len_) + std::max(total, kBlankRun))) {
        KX_CODE_ERROR("FBuff: not enough memory to append text");
        return false;
    }
    char *at = text_ + len_;
    if (indent <= kBlankRun)
        std::memcpy(at, kBlanks, kBlankRun);
    else
        std::memset(at, ' ', indent);
    std::memcpy(at + indent, bytes, n);
    at[indent + n] = '\n';
    len_ += uint32_t(total);
    text_[len_] = '\0';
    return true;
}

bool FBuff::LendTo(FBuff &child)
{
    if (&child == this || lentOut_ || child.lentOut_ || child.lender_ || child.len_ > 0 ||
        !AtLineStart())
        return false;
    if (!Room(size_t(len_) + 1)) // storage of our own to lend
        return false;
    if (child.shared_)
        child.shared_.reset();
    else
        std::free(child.text_);
    child.text_ = text_ + len_;
    child.capacity_ = capacity_ - len_;
    child.len_ = child.posn_ = 0;
    child.lender_ = this;
    child.lentOffset_ = lentOffset_ + len_;
    child.lenderLen_ = len_;
    child.nestIndent_ = nestIndent_ + indent_;
    ++child.edits_;
    // While lent the storage is the child's: this buffer is empty.
    lentOut_ = true;
    text_ = nullptr;
    capacity_ = 0;
    len_ = 0;
    return true;
}

void FBuff::TakeBack(FBuff &child, bool keep)
{
    if (child.lender_ != this) {
        if (keep)
            Append(child);
        return;
    }
    if (text_) { // written to while lent: that text cannot be kept
        KX_CODE_ERROR("FBuff: a buffer was changed while its storage was lent");
        if (!shared_)
            std::free(text_);
        shared_.reset();
    }
    lentOut_ = false;
    text_ = child.text_ - child.lenderLen_;
    capacity_ = child.capacity_ + child.lenderLen_;
    len_ = child.lenderLen_;
    ++edits_;
    if (keep && child.len_ > 0) {
        len_ += child.len_;
        if (text_[len_ - 1] != '\n' && Reserve(size_t(len_) + 1))
            text_[len_++] = '\n';
    }
    if (keep)
        posn_ = len_;
    text_[len_] = '\0';
    child.text_ = nullptr;
    child.capacity_ = 0;
    child.len_ = child.posn_ = 0;
    child.lender_ = nullptr;
    child.lentOffset_ = 0;
    child.lenderLen_ = 0;
    child.nestIndent_ = 0;
    ++child.edits_;
}

void FBuff::EndLoanEarly(std::initializer_list<uint32_t *> offsets)
{
    // A copy of the text without the lender's indentation at each line start; every offset
    // moves back by the blanks removed before it.
    const size_t indent = size_t(nestIndent_);
    const size_t size = (size_t(len_) / kStep + 1) * kStep;
    char *own = static_cast<char *>(std::malloc(size));
    if (!own) {
        KX_CODE_ERROR("FBuff: not enough memory to copy a text");
        lender_->TakeBack(*this, false);
        return;
    }
    uint32_t out = 0;
    uint32_t posn = posn_;
    std::vector<std::pair<uint32_t *, uint32_t>> moved; // offset, blanks removed before it
    moved.emplace_back(&posn, 0);
    for (uint32_t *o : offsets)
        moved.emplace_back(o, 0);
    for (uint32_t p = 0; p < len_;) {
        size_t blanks = 0;
        while (blanks < indent && p + blanks < len_ && text_[p + blanks] == ' ')
            ++blanks;
        for (auto &[o, removed] : moved)
            if (*o > p)
                removed += uint32_t(std::min<size_t>(blanks, *o - p));
        const uint32_t e = LineEndIn(text_, len_, uint32_t(p + blanks));
        std::memcpy(own + out, text_ + p + blanks, e - p - blanks);
        out += uint32_t(e - p - blanks);
        p = e;
    }
    own[out] = '\0';
    for (auto &[o, removed] : moved)
        *o = std::min(*o - std::min(*o, removed), out);
    FBuff *const lender = lender_;
    len_ = 0; // the lender gets its storage back without this text
    lender->TakeBack(*this, false);
    text_ = own;
    capacity_ = size;
    len_ = out;
    posn_ = posn;
}

int FBuff::writeline(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const std::string line = kxFormatV(fmt, args);
    va_end(args);
    WriteLine(line.c_str());
    return int(line.size());
}

char *FBuff::gets()
{
    if (!text_ || posn_ >= len_)
        return nullptr;
    if (SkippingWhitespace())
        DoSkipWhitespace();
    const uint32_t end = LineEnd(posn_);
    char *line = SetLine(text_ + posn_, end - posn_);
    posn_ = end;
    if (SkippingComments())
        posn_ = SkipCommentLinesFrom(posn_);
    return line;
}

char *FBuff::getcl()
{
    if (!text_)
        return SetLine("", 0);
    const uint32_t start = posn_;
    posn_ = SkipCommentLinesFrom(posn_);
    return SetLine(text_ + start, posn_ - start);
}

char *FBuff::getclB(bool trailing)
{
    if (!text_ || posn_ >= len_)
        return trailing ? SetLine("\n", 1) : SetLine("", 0);
    if (!trailing) {
        uint32_t p = posn_;
        while (p < len_ && (text_[p] == ' ' || text_[p] == '\t'))
            ++p;
        if (p + 1 >= len_ || text_[p] != '/' || text_[p + 1] != '/')
            return SetLine("", 0);
        const uint32_t end = LineEnd(p);
        posn_ = end;
        return SetLine(text_ + p, end - p, text_[end - 1] != '\n');
    }
    if (SkippingWhitespace())
        DoSkipWhitespace();
    const uint32_t start = posn_;
    const uint32_t end = LineEnd(start);
    posn_ = end;
    for (uint32_t p = end; p >= start + 2; --p)
        if (text_[p - 2] == '/' && text_[p - 1] == '/')
            return SetLine(text_ + p - 2, end - (p - 2), text_[end - 1] != '\n');
    return SetLine("\n", 1);
}

char *FBuff::getnlc(int maxLines)
{
    if (!text_ || posn_ >= len_)
        return nullptr;
    std::string gathered;
    const uint32_t end = LineEnd(posn_);
    for (uint32_t p = posn_; p + 1 < end; ++p)
        if (text_[p] == '/' && text_[p + 1] == '/') {
            gathered.assign(text_ + p, end - p);
            break;
        }
    posn_ = end;
    for (int taken = 0; maxLines < 0 || taken < maxLines; ++taken) {
        uint32_t p = posn_;
        while (p < len_ && (text_[p] == ' ' || text_[p] == '\t'))
            ++p;
        if (p + 1 >= len_ || text_[p] != '/' || text_[p + 1] != '/')
            break;
        if (!gathered.empty() && gathered.back() != '\n')
            gathered += '\n';
        posn_ = LineEnd(p);
        gathered.append(text_ + p, posn_ - p);
    }
    return SetLine(gathered.data(), gathered.size());
}

int FBuff::scanline(const char *fmt, ...)
{
    const char *line = gets();
    if (!line)
        return -1;
    va_list args;
    va_start(args, fmt);
    const int fields = std::vsscanf(line, fmt, args);
    va_end(args);
    return fields;
}

void FBuff::DoSkipWhitespace()
{
    while (posn_ < len_ && (text_[posn_] == ' ' || text_[posn_] == '\t'))
        ++posn_;
}
