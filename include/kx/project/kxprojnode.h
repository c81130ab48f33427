// kxprojnode.h - kxProjectNode, a typed, named node of the project tree, with path lookup, the
// tree changes (add, remove, rename, cut, copy, paste), the two-pass reading of child blocks,
// the per-project lock guard and the node path helpers.
//
// The tree: the one kxProjectManager at the top (no parent), the open kxProjects below it, and
// the user's nodes below them to any depth. A node owns its children (destroying a node
// destroys its subtree) and keeps them in insertion order.
//
// Events: a node raises kxEventNodeChanged (10000) on its event source when it was created by
// AddSubnode or Paste and when Rename, Cut or Delete changed the tree. A parent listens to each
// child for that id (AddNode) and raises it again on its own source with the same data, so a
// listener on the project manager hears of every change in the tree (data1: the node that
// changed). Hearing it also sets the modified flag of the root project.
//
// The new-node flag: set by Paste, AddSubnode and kxProjectManager::ProjectOpen; it tells the
// views that the node has not been shown yet. They clear it (setNewNode(false)).
//
// Names (kxIsNodeNameValid): not empty and none of < > | ? : , ; " \ / newline =. "." and ".."
// are valid names. Names compare exactly.
//
// Paths: "a/b" is relative to the node, "../a" climbs one level first, "/P/a" starts at the
// project manager (the top node of the node's own tree). getAbsolutePathName gives "/" and the names from the project down, joined
// by "/" ("/" for the project manager itself). getRelativePathName gives one "../" per level
// climbed from `from` to the closest common ancestor, then the names down to the node; when the
// node is `from` itself or one of its ancestors, or the two are in different trees, no relative
// path can be looked up again, and the absolute path is returned instead.
//
// Errors: the name clashes ("... already exists ...", "... is already in use.") carry the code
// 1000 (name clash); the other user errors the generic code 1.
//
// Published to the command language (OnPublish): the object "subnodes" (whose children are the
// node's children under their names) and the functions "numsubnodes", "nodename",
// "addsubnode", "delete", "cut", "copy", "paste", "rename", "findnode", "getparent",
// "updateviews" and "findorcreateview". Functions that answer a node ("findnode",
// "getparent", "addsubnode") answer its absolute path. "updateviews" and "findorcreateview"
// raise the events kxEventUpdateViews / kxEventFindOrCreateView on the node's source for the
// views of the application shell to act on; headless they do nothing more.
#ifndef KX_PROJECT_KXPROJNODE_H
#define KX_PROJECT_KXPROJNODE_H

#include <cstdio>

#include "kx/foundation/kxfbuff.h"
#include "kx/foundation/kxlist.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/project/kxnodeobject.h"

class kxNameSpace;
class kxProject;
class kxProjectManager;
class kxMetaData;

/// Event raised on a node's source when the node or its subtree changed (see the top).
constexpr int kxEventNodeChanged = 10000;
/// Events through which the published "updateviews" / "findorcreateview" reach the views.
constexpr int kxEventUpdateViews = 10004;
constexpr int kxEventFindOrCreateView = 10005;

class kxProjectNode : public kxNodeObject, public kxEventListener {
    KX_DECLARE_CLASS(kxProjectNode)
public:
    kxProjectNode();
    /// Destroys the children (last first) and the node's own namespace.
    ~kxProjectNode() override;

    kxProjectNode(const kxProjectNode &) = delete;
    kxProjectNode &operator=(const kxProjectNode &) = delete;

    // -- the virtual slots the tree algorithms call, in their order --------------------------------
    /// True when a node of the block type `sig` may be a child of this node (see the registry).
    virtual bool CanContainItem(const TBlockSig &sig);
    /// First reading pass: creates throw-away nodes for the sub-blocks of `block`'s body and
    /// lets each preload its variables (stopping at the first unregistered type). True when no
    /// error is pending afterwards, or the pending error has code 504.
    virtual bool PreloadVariables(TextBlock &block);
    /// Reads the node from its block. Base: checks the block type against the registered
    /// signature and the version with CanReadTextBlockVersion ("Expected version (%d.%d) in
    /// block beginning\r\n%s\r\n" when refused), then reads the child blocks.
    virtual bool ReadTB(TextBlock &block);
    /// Writes the node as its block. Base: the registered signature, the node's name, the child
    /// blocks (WriteChildNodes).
    virtual bool WriteTB(TextBlock &block);
    /// Prepares the node (base: sets the prepared flag), then each child in order.
    virtual void Prepare();
    /// Creation hook, called by AddSubnode and Paste once the node is named; false cancels
    /// AddSubnode. Base: true.
    virtual bool OnCreate() { return true; }
    /// Called after setName by Rename and Paste. Base: nothing.
    virtual void OnNameChanged() {}
    /// Called on the node after it was moved, then on each child in order.
    virtual void OnAncestryChanged();
    virtual const KXString &getName() const { return name_; }
    /// Asked by kxProjectManager::ProjectClose before a project closes. Base: true.
    virtual bool CanClose() { return true; }
    virtual void setName(const char *name) { name_ = name ? name : ""; }
    virtual void setParent(kxProjectNode *parent);

    // -- further virtual operations ----------------------------------------------------------------
    /// State files: the base versions call the same operation on every child in order.
    virtual bool StoreSFiles(FILE *file);
    virtual bool ExtractSFiles(FILE *file);
    /// True when nodes may be pasted into this node. Base: true.
    virtual bool AcceptsPaste() { return true; }
    /// Whether the node can read a block of this version. Base: the registered major, any minor.
    virtual bool CanReadTextBlockVersion(int major, int minor);
    /// The major version the node writes. Base: the registered one (1 when unregistered).
    virtual int getTextBlockVersionMajor();

    // -- tree queries ------------------------------------------------------------------------------
    [[nodiscard]] kxProjectNode *getParent() const { return parent_; }
    /// The children in order (owned by this node).
    [[nodiscard]] const List<kxProjectNode *> &getNodes() const { return nodes_; }
    [[nodiscard]] int getNodeCount() const { return nodes_.size(); }
    /// The ancestor directly below the top node (this node when it is there); null for the top.
    [[nodiscard]] kxProjectNode *getRootProjectNode();
    /// The ancestor whose parent has no parent, when it is a kxProject; else null.
    [[nodiscard]] kxProject *getRootProject();
    [[nodiscard]] bool IsRootProject() const;
    /// The top node of this node's tree (the node itself when it has no parent).
    [[nodiscard]] kxProjectNode *getTopNode();
    /// Path lookup (see the top of this file). `exclude` never matches; `classInfo` (may be
    /// null) requires the match to be of that class or a subclass. Both apply to the last step.
    [[nodiscard]] kxProjectNode *FindNode(const char *path, const kxProjectNode *exclude = nullptr,
                                          const kxClassInfo *classInfo = nullptr);
    /// The sibling before this node in its parent's list (wrap: from the first node, the last),
    /// or null.
    [[nodiscard]] kxProjectNode *FindPreviousSibling(bool wrap = false);
    /// The node's own namespace, or the nearest ancestor's; null when none has one.
    [[nodiscard]] kxNameSpace *GetNameSpace() const override;
    /// The node's own namespace only (null when it has none).
    [[nodiscard]] kxNameSpace *getOwnNameSpace() const { return ownNameSpace_; }
    /// Gives the node a namespace of its own (owned), replacing a previous one.
    void setOwnNameSpace(kxNameSpace *ns);
    /// The display name of the node's registry entry ("" when unregistered).
    [[nodiscard]] KXString getTypeName() const;
    /// The node's registry entry (through the current project manager), or null.
    [[nodiscard]] kxMetaData *getMetaData() const;
    [[nodiscard]] bool IsPrepared() const { return prepared_; }
    [[nodiscard]] bool IsNewNode() const { return newNode_; }
    void setNewNode(bool isNew) { newNode_ = isNew; }

    // -- tree changes ------------------------------------------------------------------------------
    /// Appends `child` (which this node then owns) unless a child has its name: then the
    /// pending error "Item with name \"%s\" already exists in %s\n" (or without " in %s" when
    /// this node's name is empty) and false; the caller keeps the child.
    bool AddNode(kxProjectNode *child);
    /// Unlinks `child`, stops listening to it, and destroys it when `deleteIt`.
    void RemoveNode(kxProjectNode *child, bool deleteIt);
    /// Destroys every child.
    void ClearNodes();
    /// Creates, names, adds and prepares a child of the registered block type `typeName`; the
    /// new node, or null (error pending).
    kxProjectNode *AddSubnode(const char *typeName, const char *name);
    /// Reads child nodes from the blocks at the buffer's position (see kxprojman.h for the
    /// messages). True when no error is pending afterwards.
    bool CreateChildNodes(FBuff &buffer);
    /// Writes every child as a block appended to `buffer`, each straight into the buffer's
    /// storage (FBuff::LendTo) when it can be lent. False when a child fails; the buffer then
    /// holds the blocks of the children before it.
    bool WriteChildNodes(FBuff &buffer);
    bool Rename(const char *name);
    /// Copy, then remove and destroy the node (it must have a parent). The node is gone after a
    /// true result.
    bool Cut();
    /// Clears the clipboard, puts the node's block on the local clipboard and a reference to
    /// the node on the system clipboard.
    bool Copy();
    /// Removes and destroys the node (it must have a parent).
    bool Delete();
    /// Pastes the block on the local clipboard as a new child named `name`.
    bool Paste(const char *name);
    /// True when the local clipboard holds a block this node can contain (errors are cleared).
    bool CanEnPaste();

    // -- lock --------------------------------------------------------------------------------------
    /// The root project's lock flag (false outside any project).
    [[nodiscard]] bool IsLocked();
    void setLocked(bool locked);

    // -- publishing and events ---------------------------------------------------------------------
    void OnPublish() override;
    /// Hears kxEventNodeChanged from a child: passes it on and marks the project modified.
    void OnEvent(kxEvent &event, int cookie) override;

protected:
    /// Publishes the object "subnodes".
    void PublishSubnodes() { PublishObj("subnodes", &subnodes_, "subnodes"); }
    /// Preloads the sub-blocks from the block's current position on (the loop of
    /// PreloadVariables, for node types whose body begins with lines of their own).
    bool PreloadChildBlocks(TextBlock &block);
    /// Publishes the tree functions shared by every node ("numsubnodes", "addsubnode", ...).
    void PublishTreeFunctions(bool projectManagerSet);
    /// The "addsubnode" help text: prefix then the allowed child block types joined by ",".
    [[nodiscard]] KXString AddSubnodeHelp(const char *prefix) const;
    /// Sets the modified flag of the root project (if any).
    void MarkModified();

private:
    /// Publishes the children under their names (the published object "subnodes").
    class SubNodes : public KXObject {
    public:
        explicit SubNodes(kxProjectNode &owner) : owner_(owner) {}
        void OnPublish() override;

    private:
        kxProjectNode &owner_;
    };

    kxProjectNode *FindChild(const char *name, const kxProjectNode *exclude,
                             const kxClassInfo *classInfo) const;
    kxProjectNode *CreatePasted();

    KXString name_;
    kxProjectNode *parent_ = nullptr;
    List<kxProjectNode *> nodes_;
    kxNameSpace *ownNameSpace_ = nullptr;
    bool prepared_ = false;
    bool newNode_ = false;
    SubNodes subnodes_{*this};
};

/// Locks the root project of a node for the guard's life. The flag is a plain boolean: the end
/// of an inner guard unlocks the project even while an outer guard lives (kept deliberately).
class kxProjNodeLock {
public:
    explicit kxProjNodeLock(kxProjectNode *node);
    ~kxProjNodeLock();
    kxProjNodeLock(const kxProjNodeLock &) = delete;
    kxProjNodeLock &operator=(const kxProjNodeLock &) = delete;

private:
    kxProjectNode *node_;
};

/// True when `name` is a valid node name (see the top of this file).
[[nodiscard]] bool kxIsNodeNameValid(const char *name);
/// The absolute path of `node` (see the top of this file).
[[nodiscard]] KXString getAbsolutePathName(const kxProjectNode *node);
/// The path of `node` as seen from `from` (see the top of this file).
[[nodiscard]] KXString getRelativePathName(const kxProjectNode *node, const kxProjectNode *from);

#endif
