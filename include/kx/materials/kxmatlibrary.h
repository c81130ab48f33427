// kxmatlibrary.h - a user's library of materials kept in a block text file: one
// "begin <kxMaterial(1.0)> \"name\"" block per material, in any order.
//
// Comments are kept when the library is saved again: comment lines at the top of the file,
// comments inside a material's block (carried line by line, see kxtextblock.h) and comment
// lines that follow a block. A material added or replaced since the file was read is written
// fresh.
//
// Reading is all or nothing: a file with a problem leaves the library as it was, with the
// global error set to "<file>:<line>: <problem>\n".
#ifndef KX_MATERIALS_KXMATLIBRARY_H
#define KX_MATERIALS_KXMATLIBRARY_H

#include "kx/materials/materb.h"

#include <memory>
#include <string>
#include <vector>

class kxMaterialLibrary {
public:
    kxMaterialLibrary() = default;
    kxMaterialLibrary(const kxMaterialLibrary &other);
    kxMaterialLibrary &operator=(const kxMaterialLibrary &other);

    /// Number of materials; they are indexed from 0.
    [[nodiscard]] int Count() const { return static_cast<int>(entries_.size()); }
    [[nodiscard]] kxMaterial *Get(int i) const { return entries_[i].material.get(); }
    /// The material named `name` (exact case), or null.
    [[nodiscard]] kxMaterial *Find(const char *name) const;
    /// Takes ownership of `m`. A name already in the library is refused (error code 1000,
    /// "a material named \"%s\" is already in the library\n") and `m` is destroyed.
    [[nodiscard]] bool Add(kxMaterial *m);
    /// Takes ownership of `m`, replacing a material of the same name or appending.
    void Replace(kxMaterial *m);
    /// Removes (and destroys) the material named `name`; false when there is none.
    bool Remove(const char *name);
    void Clear();

    /// Reads every material block of `text`; formula materials bind to `ns`. Does nothing
    /// (false) while an error is pending.
    [[nodiscard]] bool ReadText(const std::string &text, const char *file, kxNameSpace *ns);
    [[nodiscard]] bool ReadFile(const char *path, kxNameSpace *ns);
    /// The library as block text.
    [[nodiscard]] std::string WriteText() const;
    [[nodiscard]] bool WriteFile(const char *path) const;

private:
    struct Entry {
        std::unique_ptr<kxMaterial> material;
        std::string trailing; ///< the comment lines that followed its block
    };
    std::vector<Entry> entries_;
    std::string header_; ///< comment lines before the first block
};

#endif
