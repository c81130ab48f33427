// kxprojman.h - kxProjectManager, the one node at the top of the project tree: it opens and
// closes projects, owns the registry table of node types and creates nodes for blocks; and the
// free helpers of project files (block signatures, loading a file into a block, file filters).
//
// The current project manager is the one constructed last that still lives
// (kxProjectManager::GetCurrent); nodes that need the registry (AddSubnode, Paste, reading child
// blocks) go through it. The table is built from the registered node records when the manager
// is made; a plug-in that registers node types later calls RebuildRegistry.
//
// Reading child blocks (kxProjectNode::CreateChildNodes) reports "invalid name %s\n" and
// "Item with name \"%s\" already exists in %s\n" for blocks it skips; opening reports
// "Unrecognised project node type: %s", "invalid name %s.\n", "An object with name %s already
// exists.\n" and "Sorry, the file was not successfully loaded.\n"; a file with syntax errors
// opens with the pending error "Parts of the project could not be loaded due to syntax
// errors.\nSee the Warnings window for details." (code 504) and the collected messages.
//
// Published to the command language: "subnodes", "numsubnodes", "addsubnode", "findnode",
// "getparent", "openproject" ("( filename[, nodename] ): open the specified project with the
// specified node name"), "closeall" ("(): close all projects") and "paste".
//
// New projects made under the manager by AddSubnode or Paste get the current working directory
// followed by "/" as their file name.
#ifndef KX_PROJECT_KXPROJMAN_H
#define KX_PROJECT_KXPROJMAN_H

#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxproject.h"

class kxProjectManager : public kxProjectNode {
    KX_DECLARE_CLASS(kxProjectManager)
public:
    /// Builds the registry table and becomes the current project manager.
    kxProjectManager();
    /// Closes nothing: destroys the open projects with the tree.
    ~kxProjectManager() override;

    /// The current project manager, or null.
    [[nodiscard]] static kxProjectManager *GetCurrent();

    [[nodiscard]] kxMetaDataTable &getMetaDataTable() { return table_; }
    /// Rebuilds the table from the registered records.
    void RebuildRegistry() { table_.Build(); }

    /// A new node of the registered type whose block type name is `sig`'s (the caller owns it),
    /// or null. Versions are not checked here.
    [[nodiscard]] virtual kxProjectNode *CreateNodeForTextBlock(const TBlockSig &sig);

    /// Opens the project file under the name `nodeName` ("" or null: the block's own name).
    [[nodiscard]] bool ProjectOpen(const char *filename, const char *nodeName = nullptr);
    /// The new, named but unread node for the file's top block (the caller owns it), or null.
    [[nodiscard]] kxProjectNode *OnOpenFile(const char *filename, const char *nodeName);
    /// Closes `project` when it agrees (CanClose); true when it was closed.
    bool ProjectClose(kxProject *project);
    /// Closes every project; false (walk ended) at a child that is not a project or one that
    /// refused.
    bool ProjectCloseAll();
    [[nodiscard]] int ProjectCount() const { return getNodeCount(); }
    /// The open project whose file name is `filename`, or null.
    [[nodiscard]] kxProject *FindNodeByFilename(const char *filename);
    [[nodiscard]] kxProject *FindNodeByFilename(kxProjectNode *startNode, const char *filename);

    /// `base`, a blank and the next value of a process-wide counter ("Project 1", ...).
    [[nodiscard]] static KXString GenerateNewName(const char *base);
    /// The open dialog's filter list built from the registry (see the Algorithms of this unit).
    [[nodiscard]] KXString getProjectWildcard(bool withAllApplicationFiles);

    void OnPublish() override;

private:
    /// OnOpenFile, leaving the project's block (read from the file) in `block`.
    kxProjectNode *OpenFileBlock(const char *filename, const char *nodeName, TextBlock &block);

    kxMetaDataTable table_;
};

/// Reads `block`'s signature into `sig` (its type points into the block: valid while the block
/// lives unchanged). False when the block is not loaded.
bool kxGetBlockSignature(TextBlock &block, TBlockSig *sig);
/// Loads the first block of the file, skipping a leading "kxApplicationInfo" block. False with
/// the pending error when the file cannot be read; false with no error when it holds no
/// further block.
[[nodiscard]] bool kxLoadIntoBlock(TextBlock &block, const char *filename);
/// The same from the start of a file already read into `buffer` (blank and comment lines
/// before the first block are skipped).
[[nodiscard]] bool kxLoadIntoBlock(TextBlock &block, FBuff &buffer);

#endif
