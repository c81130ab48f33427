// kxmatreader.h - reads the body of one material block line by line for the models: keeps the
// file name and line number for messages, splits a line into words (a double-quoted text is one
// word, with \" \\ and \/ unescaped), drops comments, and hands nested blocks over whole.
//
// Messages have the form "<file>:<line>: <problem>\n" and are raised in the global error with
// the generic code (1).
#ifndef KX_MATERIALS_KXMATREADER_H
#define KX_MATERIALS_KXMATREADER_H

#include "kx/foundation/kxerror.h"

#include <string>
#include <vector>

class kxNameSpace;

class kxMaterialReader {
public:
    /// Reads `text` (a whole block, header line first) of `file`; the header is on line
    /// `firstLine` of the file.
    kxMaterialReader(const std::string &text, const char *file, int firstLine, kxNameSpace *ns);

    /// Moves to the next line that holds words or a nested block; false at the end of the body.
    [[nodiscard]] bool Next();
    /// True when the current item is a nested block (its text in ChildText()).
    [[nodiscard]] bool AtChild() const { return atChild_; }
    [[nodiscard]] const std::string &ChildText() const { return childText_; }
    /// The words of the current line.
    [[nodiscard]] const std::vector<std::string> &Words() const { return words_; }
    [[nodiscard]] size_t WordCount() const { return words_.size(); }
    [[nodiscard]] int Line() const { return line_; }
    /// The file line of the current nested block's header.
    [[nodiscard]] int ChildLine() const { return childLine_; }
    [[nodiscard]] const char *File() const { return file_.c_str(); }
    [[nodiscard]] kxNameSpace *NameSpace() const { return ns_; }

    /// Makes the block's header line the current line (for problems of the whole block).
    void AtHeader()
    {
        line_ = firstLine_;
        atChild_ = false;
    }
    /// Raises "<file>:<line>: <problem>" and returns false.
    bool Fail(const char *fmt, ...) KX_PRINTF_LIKE(2, 3);
    /// Word i as a finite number; false with a message otherwise.
    [[nodiscard]] bool Number(size_t i, double &value);
    /// Words from `first` on as finite numbers, at least `min` of them.
    [[nodiscard]] bool Numbers(size_t first, size_t min, std::vector<double> &values);
    /// Exactly `count` words after the keyword; false with a message otherwise.
    [[nodiscard]] bool ExpectWords(size_t count);

private:
    [[nodiscard]] bool SplitWords(const std::string &line);

    std::string text_;
    std::string file_;
    kxNameSpace *ns_;
    size_t pos_ = 0;
    size_t bodyEnd_ = 0;
    int line_ = 0;
    int firstLine_ = 0;
    int childLine_ = 0; ///< the line of the current nested block's header
    bool atChild_ = false;
    std::string childText_;
    std::vector<std::string> words_;
};

/// The first blank-separated word of a line, lower case.
[[nodiscard]] std::string kxFirstWordLower(const char *line, size_t n);
/// A finite number read strictly from the whole of `text`.
[[nodiscard]] bool kxParseFinite(const std::string &text, double &value);

#endif
