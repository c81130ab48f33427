// kxfbuff.h - the line buffer of the block text format: an in-memory text with a read/write
// position, read line by line, written line by line with the user's comments carried over.
//
// Every persistent object writes itself as a block of indented text lines (see kxtextblock.h);
// FBuff is the text those blocks live in. Reading hands out one line at a time in the buffer's
// own line buffer; writing appends lines with the buffer's indent in front.
//
// Choices made here where the format leaves room:
// - Texts are byte strings. A line ends at "\n"; a "\r" before it (a file from a system that
//   ends lines with "\r\n") counts as a blank, so such files read the same.
// - Capacity grows in whole 4,096-byte steps: to the needed size, and once the buffer is past
//   8 KB by at least half its capacity, so that building a long text costs linear time.
//   Texts of 4 MB or more ask the system for large pages (fewer page faults).
// - Reading stops at the end of the text or at a NUL byte inside it.
// - getclB() never skips comment lines by itself (it is the comment reader), whatever the
//   skip-comments mode.
// - getnlc(maxLines) gathers at most maxLines comment lines after the current line; a
//   negative count gathers all of them.
// - scanline(fmt, ...) reads the next line as gets() does and scans it with vsscanf; it returns
//   the number of fields converted, or -1 when there is no line left.
// - Copies take the text, position, indent and modes, never the comment source or the line
//   buffer's contents.
// - SaveFile never writes into the old file: it writes a temporary file next to it, flushes it
//   to disk and renames it over the target, so a crash or a full disk mid-save leaves the old
//   file whole. A read-only target is refused even where the directory would allow replacing
//   it. Failures after the temporary file was made (a write, the flush or the rename) report
//   "Failed to open file \"%s\"\n" followed by the system's reason on a line of its own.
//
// Nested writing: a buffer can lend its storage to an empty buffer (LendTo), which then writes
// its lines straight at the end of the lender's text, each with the lender's indent in front,
// exactly as Append(child) would have put them, without a copy per nesting level; TakeBack
// ends the loan, keeping the written text or cutting it off. While the loan lasts the lender
// is empty and must not be used; it must outlive the loan. The borrower's text carries the
// lender's indentation in front of every line (reading it then sees that). An operation that
// replaces the borrower's text wholesale (assignment, unalloc, loading a block, sharing it
// as a source, a new header) first ends the nested writing by itself: the lender gets its
// storage back and the borrower keeps a copy of what it wrote without the lender's
// indentation, which TakeBack then appends as Append does. A borrower destroyed without
// TakeBack gives the storage back with its text cut off.
#ifndef KX_FOUNDATION_KXFBUFF_H
#define KX_FOUNDATION_KXFBUFF_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>

class TextBlock;

/// Signature of a block: its type name and version. In a required signature a negative minor
/// version accepts any minor version. The type is not copied: it must outlive the signature.
struct TBlockSig {
    const char *type; ///< type name, at most 31 significant characters, no "("
    int32_t major;
    int32_t minor;
};

class FBuff {
public:
    FBuff();
    FBuff(const FBuff &other);
    FBuff &operator=(const FBuff &other);
    virtual ~FBuff();

    /// Frees the text and the line buffer; the buffer becomes empty with position 0.
    void unalloc();

    bool alloced() const { return text_ != nullptr; }
    uint32_t getLen() const { return len_; }
    uint32_t getPosn() const { return posn_; }
    /// Moves the position; a position beyond the text is clamped to its end.
    void setPosn(uint32_t posn) { posn_ = posn > len_ ? len_ : posn; }
    /// The line last returned by a read; valid until the next read. Never null.
    const char *getLastLine() const { return line_ ? line_ : ""; }
    void setBlockIndent(int indent) { indent_ = indent < 0 ? 0 : indent; }
    int getBlockIndent() const { return indent_; }
    /// While set, every WriteLine carries over the next comment of `source` (not owned).
    void setCommentSrc(FBuff *source) { commentSrc_ = source; }
    /// The whole text, NUL-terminated; "" when there is none. Valid until the next change.
    const char *getText() const;

    /// Replaces the text by the whole file, read in 4,096-byte pieces; the position goes to 0.
    /// A file that cannot be read sets "Failed to open file \"%s\"\n" in the global error.
    [[nodiscard]] bool LoadFile(const char *path);
    /// Writes the whole text to `path`, replacing it only once the new text is safely on disk.
    [[nodiscard]] bool SaveFile(const char *path) const;

    /// Appends the indent (as blanks) and `text`; the position moves to the end.
    void Append(const char *text);
    /// Appends every line of `other`, each with this buffer's indent in front.
    void Append(const FBuff &other);
    /// Appends `line` (given without its newline) with the indent in front, and ends it with
    /// the next trailing comment of the comment source, or with a newline.
    void WriteLine(const char *line);
    /// Lends this buffer's storage to the empty buffer `child` for nested writing (see the top);
    /// false, with nothing lent, when this text does not end at a line start, `child` is not
    /// empty, either buffer already takes part in a loan, or out of memory. TakeBack works
    /// either way.
    bool LendTo(FBuff &child);
    /// Ends the loan to `child`: its text is kept (`keep`) or cut off, and `child` is left
    /// empty. A child that was not (or is no longer) writing in this buffer's storage is
    /// appended as by Append(child) when `keep`.
    void TakeBack(FBuff &child, bool keep);
    /// Makes room for a text of `bytes` bytes in one step (a hint; false when out of memory).
    bool ReserveText(size_t bytes) { return Reserve(bytes); }
    /// Formatted WriteLine; returns the formatted length.
    int writeline(const char *fmt, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

    /// The next line from the position, with its newline; null when no text is left.
    char *gets();
    /// Skips blank and comment lines from the position and returns the skipped text.
    char *getcl();
    /// trailing: the next line's comment from its last "//" to the line end, or "\n".
    /// !trailing: the next line from its "//" when it is a whole comment line; otherwise the
    /// position is left alone and "" is returned.
    char *getclB(bool trailing);
    /// The comment at the current line followed by the whole comment lines after it (at most
    /// `maxLines` of them, all when negative); the position moves past them. Null at the end.
    char *getnlc(int maxLines);
    /// Reads the next line and scans it; returns the fields converted, -1 when no line is left.
    int scanline(const char *fmt, ...)
#if defined(__GNUC__)
        __attribute__((format(scanf, 2, 3)))
#endif
        ;

    /// In skip-comments mode blank and whole comment lines are skipped after every line read.
    void SkipComments(bool on) { setFlag(kSkipComments, on); }
    /// In skip-leading-whitespace mode blanks and tabs before a line are skipped.
    void SkipWhitespace(bool on) { setFlag(kSkipWhitespace, on); }
    bool SkippingComments() const { return (flags_ & kSkipComments) != 0; }
    bool SkippingWhitespace() const { return (flags_ & kSkipWhitespace) != 0; }
    /// Skips blanks and tabs at the position now.
    void DoSkipWhitespace();

protected:
    friend class TextBlock;
    enum : uint32_t {
        kSkipComments = 1,
        kSkipWhitespace = 2
    };

    /// This buffer as a block, when it is one (a block loads its nested blocks faster).
    virtual TextBlock *asTextBlock() { return nullptr; }

    /// Lets other buffers view this text: from now on it is kept in shared storage, and a
    /// change of it first makes a copy of its own.
    void ShareText();
    /// Gives a text that views shared storage a copy of its own, with room for `needed` bytes
    /// and the terminator; false when out of memory.
    [[nodiscard]] bool Unshare(size_t needed) const;
    /// Makes room for `needed` bytes of text plus the terminator; false when out of memory.
    [[nodiscard]] bool Reserve(size_t needed);
    /// Reserve with the common case (room enough already) done in place.
    [[nodiscard]] bool Room(size_t needed)
    {
        if (shared_ || needed >= capacity_)
            return Reserve(needed);
        ++edits_;
        avgSize_ = (7 * avgSize_ + needed) / 8;
        return true;
    }
    /// Lengthens the text by `n` bytes (terminated after them) and returns where they start,
    /// for the caller to fill; null, reported as an internal fault, when out of memory.
    [[nodiscard]] char *Extend(size_t n);
    /// Appends raw bytes (no indent); false when out of memory.
    bool AppendRaw(const char *bytes, size_t n);
    /// Appends bytes as written text: in nested writing every line begun gets the lender's
    /// indentation in front. False when out of memory.
    bool AppendText(const char *bytes, size_t n);
    /// Appends the indent as blanks (and the lender's indentation at a line start in nested
    /// writing); false when out of memory.
    bool AppendIndent();
    /// Appends a line of `indent` blanks, `n` bytes (no line end among them) and a newline;
    /// false, reported as an internal fault, when out of memory.
    bool PutLine(size_t indent, const char *bytes, size_t n);
    /// The lender's indentation when the next byte written starts a line, else 0.
    size_t LineStartIndent() const
    {
        return nestIndent_ > 0 && AtLineStart() ? size_t(nestIndent_) : 0;
    }
    /// True when the next byte written starts a line.
    bool AtLineStart() const { return len_ == 0 || text_[len_ - 1] == '\n'; }
    /// Ends nested writing early (see the top): the lender gets its storage back and this
    /// buffer a copy of its text without the lender's indentation; `offsets` (positions in the
    /// text besides the position) are moved with it. Nothing to do (the common case) unless
    /// this buffer is writing in a lender's storage.
    void LeaveNested(std::initializer_list<uint32_t *> offsets)
    {
        if (lender_)
            EndLoanEarly(offsets);
    }
    void EndLoanEarly(std::initializer_list<uint32_t *> offsets);
    /// Empties the text (keeping its storage unless it is far above the usual size).
    void ClearText();
    /// Empties the line buffer.
    void ClearLine();
    /// End of the line starting at `from` (just past its "\n", or the end of the text).
    uint32_t LineEnd(uint32_t from) const;
    /// Position just past the blank and whole comment lines starting at `from`.
    uint32_t SkipCommentLinesFrom(uint32_t from) const;
    /// Copies [from, to) into the line buffer, adding "\n" when `addNewline`; returns it.
    char *SetLine(const char *from, size_t n, bool addNewline = false);
    void setFlag(uint32_t flag, bool on) { flags_ = on ? (flags_ | flag) : (flags_ & ~flag); }

    // While `shared_` is set the text is a read-only view into storage that other buffers may
    // view too (a nested block views its parent's text), capacity_ is 0 and the view need not
    // be NUL-terminated; getText() and every change first make the text a copy of its own.
    mutable char *text_ = nullptr;
    mutable size_t capacity_ = 0;
    mutable std::shared_ptr<char> shared_;
    size_t avgSize_ = 0;
    int32_t indent_ = 0;
    uint32_t posn_ = 0;
    uint32_t len_ = 0;
    uint32_t flags_ = 0;
    char *line_ = nullptr;
    size_t lineCapacity_ = 0;
    size_t lineAvgSize_ = 0;
    FBuff *commentSrc_ = nullptr;
    uint32_t edits_ = 0; ///< bumped by every change of the text
    // Nested writing: while `lender_` is set, text_ is lentOffset_ bytes into the storage
    // allocation (just past the lender's text of lenderLen_ bytes) and every line begun gets
    // nestIndent_ blanks in front.
    FBuff *lender_ = nullptr;
    size_t lentOffset_ = 0;
    uint32_t lenderLen_ = 0;
    int32_t nestIndent_ = 0;
    bool lentOut_ = false; ///< this buffer's storage is lent to another
};

#endif
