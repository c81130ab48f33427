// kxproject.h - kxProject, an open project: the subtree saved as one project file, with its file
// name, modified flag and lock flag, and the application information that every saved file
// carries.
//
// A project file holds an information block ("kxApplicationInfo", version 1.1, no name; written
// on every save, optional and never interpreted on reading) and then the project's own block,
// in which every node of the project nests as a block inside its parent's block.
//
// Saving goes through the block files' atomic save: the new text is written to a temporary file
// beside the target, flushed and renamed over it, so an interrupted save leaves the old file
// whole. The state file (see sfhandler.h) is written after the project file and never touches
// it; a state file that cannot be written only gives a warning.
//
// Reading is in two passes over the project block: PreloadVariables (every node type that
// defines variables publishes them), then ReadTB (formulas now find every variable of the file).
//
// Published: "close" ("(): close the project"), "savetofile" ("(filename): save the project to
// the specified file") and the variable "filename" ("project file name (used by save)"),
// besides what every node publishes.
//
// The application name and version written into the information block come from
// kxSetApplicationInfo; before it is called they are "kxCore" and "33.0".
#ifndef KX_PROJECT_KXPROJECT_H
#define KX_PROJECT_KXPROJECT_H

#include "kx/project/kxprojnode.h"

class kxProject : public kxProjectNode {
    KX_DECLARE_CLASS(kxProject)
public:
    /// A project owns its namespace.
    kxProject();

    /// Saves the project to `filename` (see the top of this file). False on failure, with the
    /// reason in the pending error. With an error already pending nothing is written (a file is
    /// never replaced by an information block alone). The state file is written only after the
    /// project file was saved.
    [[nodiscard]] bool SaveToFile(const char *filename);
    /// Reads the project from `filename` into this (empty, named) project node.
    [[nodiscard]] bool LoadFromFile(const char *filename);
    /// The part of LoadFromFile after the file was read: both passes over the project's block
    /// (already loaded from the file `filename`), the report, the modified flag, the state
    /// file. kxProjectManager::ProjectOpen hands over the block it read, so the file is read
    /// and scanned once.
    [[nodiscard]] bool ReadFileBlock(const char *filename, TextBlock &block);

    virtual void setFilename(const char *filename) { filename_ = filename ? filename : ""; }
    [[nodiscard]] const KXString &getFilename() const { return filename_; }
    /// True when the project can be saved (base: always).
    [[nodiscard]] virtual bool CanEnSave() { return true; }
    /// The save dialog's filter: "<display name> files (*.<suffix>)|*.<suffix>" from the
    /// project type's registry entry, or "All files (*.*)|*.*" when it has no suffix.
    [[nodiscard]] KXString getWildcard() const;
    /// "txt".
    [[nodiscard]] KXString getDefaultExtension() const { return "txt"; }

    [[nodiscard]] bool IsModified() const { return modified_; }
    void setModified(bool modified) { modified_ = modified; }
    [[nodiscard]] bool getLockFlag() const { return locked_; }
    void setLockFlag(bool locked) { locked_ = locked; }

    void OnPublish() override;

private:
    /// The "kxApplicationInfo" block.
    void WriteInfoBlock(TextBlock &block) const;
    void SaveStateFile(const char *filename);
    void LoadStateFile(const char *filename);

    KXString filename_;
    bool modified_ = false;
    size_t lastSaveBytes_ = 0; ///< size of the last text saved: the next save's first capacity
    bool locked_ = false;
};

/// Name and version written into the information block of every saved project.
void kxSetApplicationInfo(const char *name, const char *version);
[[nodiscard]] const KXString &kxGetApplicationName();
[[nodiscard]] const KXString &kxGetApplicationVersion();

/// The block type of the information block.
constexpr const char *kxAppInfoBlockType = "kxApplicationInfo";

#endif
