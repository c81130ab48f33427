// kxtextblock.h - one block of the block text format (header line, indented body, "end"),
// the whole-file signature check and the syntax-error counter used by every text reader.
//
// A block looks like
//     begin <Type(1.2)> "name"
//       body lines, each indented by 2 blanks, and nested blocks indented as a whole
//     end
// Nesting is found by counting lines whose first word is "begin" or "end" (any case), so a
// body line must never start with either word. When a block is rewritten, the comments of its
// previous text are carried into the new one line by line (see StartWrite and
// FBuff::WriteLine).
//
// Choices made here where the format leaves room:
// - A first word is a run of non-blank characters, so "end//x" is not the word "end".
// - LoadBlock leaves the source's position where it was when the line there is not a header.
// - After a failed LoadBlock the block is empty and not Loaded(). Loaded() means "version
//   known", so a header that gives the version (-1.-1) reads as a block never loaded.
// - Types are compared on their first 31 characters (all a block keeps), without regard to
//   case.
// - Messages that quote a header line (the missing "end" too) give it without its leading
//   blanks and its line end.
// - getHeader() gives the header line without its leading blanks and its line end.
// - EndRead() moves to the end of the block and turns skip-comments mode off.
// - getNBodyLines() counts every line between the header and the closing line, nested blocks'
//   lines included; in skip-comments mode blank and comment lines are not counted.
// - AppendEnd() writes "end" at indent 0 and records the body and block ends, but keeps the
//   previous text, the comment source and the indent.
// - setHeader() on a block with text replaces its header line in place.
// - When comments are carried over, a blank line of the previous text counts as a line (it
//   has no comment to give).
// - StartRead, eCheckType, eCheckVersion and eCheckSig return true when the block passed;
//   with an error already pending they do nothing and return false. CheckStartRead reports
//   through SyntaxErr and runs whatever the error record holds.
// - Lines of any length are scanned in place; when the text of a block cannot be allocated,
//   LoadBlock reports "not enough memory to read text block beginning \r\n%s...\r\n" with
//   the header cut to 40 characters.
// - Headers quoted in messages are cut to 900 characters (400 in syntax errors), so that a
//   runaway header line cannot overflow the message.
//
// Cost: loading a block scans its text once for the closing line and records where every
// nested block begins and ends. Loading a nested block from its parent neither scans nor
// copies: the nested block views its part of the parent's text (kept alive while it is
// viewed, even when the parent goes) and gets a copy of its own only when it is changed, so a
// full read of a file is linear in its size however deep the nesting.
// Copies of a block never carry its writing state (previous text, comment source).
#ifndef KX_FOUNDATION_KXTEXTBLOCK_H
#define KX_FOUNDATION_KXTEXTBLOCK_H

#include "kx/foundation/kxfbuff.h"

#include <cstdio>
#include <string>
#include <vector>

class TextBlock : public FBuff {
public:
    TextBlock();
    TextBlock(const TextBlock &other);
    TextBlock &operator=(const TextBlock &other);
    ~TextBlock() override;

    // Writing: StartWrite, body lines (WriteLine/writeline) and finished child blocks
    // (Append(const FBuff &)), then EndWrite. A child block may instead be written straight
    // into this block's storage (LendTo / TakeBack, see kxfbuff.h): the text is the same.
    /// Starts a new text for this block. The block's old text (or `previousText` when the
    /// block has none) is kept until EndWrite as the source of the comments to carry over.
    void StartWrite(const TBlockSig &sig, const char *name, const char *previousText = nullptr);
    /// Writes the closing line and drops the previous text.
    void EndWrite();
    /// Writes the closing line only.
    void AppendEnd();
    /// Sets type, version and name and (re)writes the header line.
    void setHeader(const TBlockSig &sig, const char *name);
    /// The header line for `sig` and `name`, newline included, in a buffer shared by all
    /// calls: valid until the next call.
    static const char *MakeTBlockHeader(const TBlockSig &sig, const char *name);

    // Reading.
    /// Loads the block that starts at the source's position (skipping the source past it and
    /// the blank and comment lines after it). False, with no error, when the line there is
    /// not a block header; false with "Missing \"end\" ..." when the block is not closed.
    [[nodiscard]] bool LoadBlock(FBuff &source);
    [[nodiscard]] bool LoadBlock(const char *text);
    /// Checks type (and version when `checkVersion`) into the global error and moves to the
    /// first body line with skip-comments mode on.
    [[nodiscard]] bool StartRead(const TBlockSig &sig, bool checkVersion = true);
    /// The same checks reported through SyntaxErr.
    [[nodiscard]] bool CheckStartRead(const TBlockSig &sig, bool checkVersion = true);
    void EndRead();
    /// Returns to the first body line.
    void GotoBody();
    int getNBodyLines();
    /// True at the end of the body.
    bool EOB() const { return !text_ || len_ == 0 || posn_ >= bodyEnd_ || text_[posn_] == '\0'; }

    // Queries.
    bool Loaded() const { return major_ != -1 || minor_ != -1; }
    /// The block's name, or null when it has none.
    const char *getName() const { return hasName_ ? name_.c_str() : nullptr; }
    const char *getType() const { return type_; }
    /// The header line; valid until the next call or change of the block.
    const char *getHeader() const;
    int getMajorVer() const { return major_; }
    int getMinorVer() const { return minor_; }
    uint32_t getBodyStart() const { return bodyStart_; }
    uint32_t getBodyEnd() const { return bodyEnd_; }
    uint32_t getBlockEnd() const { return blockEnd_; }
    void setName(const char *name);
    void setType(const char *type);
    bool IsType(const char *type) const;
    bool IsType(const TBlockSig &sig) const { return IsType(sig.type); }
    /// Majors equal and minorLow <= minor <= minorHigh (minorHigh < 0: minor == minorLow;
    /// minorLow < 0: any minor).
    bool IsVersion(int major, int minorLow, int minorHigh = -1) const;
    bool IsVersion(const TBlockSig &sig) const { return IsVersion(sig.major, sig.minor); }
    bool VersionAtLeast(int major, int minor) const;
    bool VersionAtLeast(const TBlockSig &sig) const { return VersionAtLeast(sig.major, sig.minor); }
    bool IsBeforeVersion(int major, int minor) const { return !VersionAtLeast(major, minor); }
    bool IsBeforeVersion(const TBlockSig &sig) const
    {
        return IsBeforeVersion(sig.major, sig.minor);
    }
    bool IsAfterVersion(int major, int minor) const { return VersionAtLeast(major, minor + 1); }
    bool IsAfterVersion(const TBlockSig &sig) const { return IsAfterVersion(sig.major, sig.minor); }

    // Checks reporting into the global error.
    bool eCheckType(const char *type);
    bool eCheckVersion(int major, int minorLow, int minorHigh = -1);
    bool eCheckSig(const TBlockSig &sig);

protected:
    TextBlock *asTextBlock() override { return this; }

private:
    /// A block nested in this one, as offsets in this block's text: its header line, the line
    /// after it, its closing line and the end of its closing line. Recorded while the text is loaded, so
    /// that loading a nested block needs no second scan for its end.
    struct Nested {
        uint32_t begin;
        uint32_t bodyStart;
        uint32_t bodyEnd;
        uint32_t end;
    };

    /// Where a block found by counting "begin" and "end" lines ends.
    struct Extent {
        bool closed;       ///< its closing line was found
        uint32_t next;     ///< position after the closing line (or the end of the source)
        uint32_t lastLine; ///< where the closing line starts
        size_t bytes;      ///< bytes of the block as it will be copied
    };

    static Extent ScanExtent(const char *src, uint32_t srcLen, uint32_t head, bool skipWhitespace,
                             std::vector<Nested> &nested);
    /// Loads the block at `posn` of `src`; when `owner` (the buffer holding `src`) is given
    /// and the text needs no change, the block views the owner's text instead of copying it.
    bool LoadFrom(const char *src, uint32_t srcLen, uint32_t &posn, bool skipWhitespace,
                  FBuff *owner = nullptr);
    enum {
        kNestedLoaded,
        kNestedNone,
        kNestedUnknown
    };
    /// Loads the nested block of `source` at `posn` from its recorded place: kNestedLoaded,
    /// kNestedNone when no block starts there, kNestedUnknown when the scan must decide.
    int LoadNested(TextBlock &source, uint32_t &posn);
    void FinishLoad(const char *src, uint32_t srcLen, uint32_t head, uint32_t headEnd,
                    uint32_t next, uint32_t &posn);
    bool StartChecks(const TBlockSig &sig, bool checkVersion, bool asSyntaxErrors);
    void ParseHeader(const char *line, size_t n);
    void ResetBlock();
    /// Appends the header line for `sig` and the block's name (as MakeTBlockHeader gives it).
    void PutHeader(const TBlockSig &sig);
    /// Ends nested writing early (see kxfbuff.h), moving the block's offsets with its text.
    void LeaveNestedWrite() { LeaveNested({&bodyStart_, &bodyEnd_, &blockEnd_}); }
    void CopyBlockFields(const TextBlock &other);

    uint32_t blockEnd_ = 0;
    uint32_t bodyStart_ = 0;
    uint32_t bodyEnd_ = 0;
    int32_t major_ = -1;
    int32_t minor_ = -1;
    std::string name_; ///< the name, when hasName_
    bool hasName_ = false;
    char type_[32] = {};
    TextBlock *previousText_ = nullptr;
    mutable std::string headerLine_; ///< what getHeader() last returned
    /// The nested blocks of the text this block was loaded from, sorted by begin and shared
    /// with every block loaded from it: this block's are entries [nestedFirst_, nestedLast_),
    /// their offsets nestedBase_ above this block's own. Valid while nestedEdits_ == edits_.
    std::shared_ptr<const std::vector<Nested>> nested_;
    size_t nestedFirst_ = 0;
    size_t nestedLast_ = 0;
    uint32_t nestedBase_ = 0;
    uint32_t nestedEdits_ = UINT32_MAX;
    size_t nestedCursor_ = 0; ///< where the next nested lookup starts
};

/// Compares a whole-file signature "name(version)" with the expected one: names without
/// regard to case, versions exactly. Returns 0 on a match; otherwise sets the global error
/// (code 1 for a wrong name, 2 for a wrong version) and returns 1.
int checksig(const char *found, const char *expected, const char *fileName);
/// The same with the signature taken from the first line of `file`.
int checksig(FILE *file, const char *expected, const char *fileName);

/// Prints a syntax error found while reading text (through wlprintf), counts it and sets the
/// syntax-error flag. A message of 1,000 characters or more is fatal.
void SyntaxErr(const char *fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;
/// A text as a message quotes it: cut to `max` bytes followed by "..." when it is longer, so that
/// a syntax error quoting user input stays short of the fatal length.
[[nodiscard]] std::string kxQuoteCut(const std::string &text, size_t max);
/// Clears the syntax-error flag and count.
void ResetSyntaxErrFlag();
bool GetSyntaxErrFlag();
int GetSyntaxErrCount();

#endif
