// kxnoderegistry.h - the registry of project node types: the static records through which a node
// class (and its view) describes itself, the two process-wide lists they register into, and the
// table of kxMetaData entries that the project manager builds from them.
//
// A node type registers once, usually from a static object or a plug-in's entry point:
//
//   static const kxClassInfo *s_children[] = {KX_CLASSINFO_OF(kxProjectNode), nullptr};
//   static kxProjectNodeInfoClass s_info({KX_CLASSINFO_OF(myNode), s_children,
//                                         {"myNodeTB", 1, 0}, "My node", 0, "mnd"});
//   ... s_info.Register();
//
// Register links the record into a singly linked list whose head is the newest record, so the
// list is in reverse order of registration. kxMetaDataTable::Build walks the lists and adds the
// entries in order of registration, so that the first registration of a class is the one kept
// (AddNode refuses a later entry of the same class name with a printed message). Build ties a
// view record to the node record of the same class (the first view registered for it).
//
// Of a record's allowed child classes at most 20 are taken; further entries are ignored. The
// records must outlive every table built from them (static storage).
#ifndef KX_PROJECT_KXNODEREGISTRY_H
#define KX_PROJECT_KXNODEREGISTRY_H

#include "kx/foundation/kxfbuff.h"
#include "kx/foundation/kxlist.h"
#include "kx/foundation/kxstring.h"
#include "kx/objects/kxclassinfo.h"

/// Most allowed child classes taken from a record.
constexpr int kxMaxChildClasses = 20;

/// Describes a node class to the registry.
struct kxProjectNodeInfo {
    const kxClassInfo *classInfo;           ///< the node class
    const kxClassInfo *const *childClasses; ///< null-terminated allowed child classes (may be null)
    TBlockSig blockSig;                     ///< type name and version the class writes
    const char *displayName;
    long flags;
    const char *suffix; ///< file suffix without the dot ("" or null: none)
};

class kxProjectNodeInfoClass {
public:
    explicit kxProjectNodeInfoClass(const kxProjectNodeInfo &info) : info_(info) {}
    kxProjectNodeInfoClass(const kxProjectNodeInfoClass &) = delete;
    kxProjectNodeInfoClass &operator=(const kxProjectNodeInfoClass &) = delete;
    /// Unlinks the record when it is registered.
    ~kxProjectNodeInfoClass();

    /// Makes the record the head of the list (once; a second call does nothing).
    void Register();
    [[nodiscard]] bool IsRegistered() const { return registered_; }
    [[nodiscard]] const kxProjectNodeInfo &getInfo() const { return info_; }
    [[nodiscard]] const kxProjectNodeInfoClass *getNext() const { return next_; }
    /// The newest registered record, or null.
    [[nodiscard]] static const kxProjectNodeInfoClass *getFirst();

private:
    kxProjectNodeInfo info_;
    kxProjectNodeInfoClass *next_ = nullptr;
    bool registered_ = false;
};

/// Called by the application shell for a view: (node, user pointer).
typedef void (*kxNodeViewCallback)(void *node, void *userData);

/// Ties a node class to its view class and frame class, for the application shell.
struct kxProjectNodeViewInfo {
    const kxClassInfo *nodeClass;
    const kxClassInfo *viewClass;
    const kxClassInfo *frameClass;
    const char *name;
    const char *menuText;
    const char *helpText;
    kxNodeViewCallback callback;
    void *userData;
};

class kxProjectNodeViewInfoClass {
public:
    explicit kxProjectNodeViewInfoClass(const kxProjectNodeViewInfo &info) : info_(info) {}
    kxProjectNodeViewInfoClass(const kxProjectNodeViewInfoClass &) = delete;
    kxProjectNodeViewInfoClass &operator=(const kxProjectNodeViewInfoClass &) = delete;
    ~kxProjectNodeViewInfoClass();

    void Register();
    [[nodiscard]] bool IsRegistered() const { return registered_; }
    [[nodiscard]] const kxProjectNodeViewInfo &getInfo() const { return info_; }
    [[nodiscard]] const kxProjectNodeViewInfoClass *getNext() const { return next_; }
    [[nodiscard]] static const kxProjectNodeViewInfoClass *getFirst();

private:
    kxProjectNodeViewInfo info_;
    kxProjectNodeViewInfoClass *next_ = nullptr;
    bool registered_ = false;
};

/// One registry entry, built from a node record and (when there is one) its view record.
class kxMetaData {
public:
    kxMetaData(const kxProjectNodeInfo &node, const kxProjectNodeViewInfo *view);

    [[nodiscard]] const kxClassInfo *getClassInfo() const { return classInfo_; }
    /// The class name ("" for an entry without a class).
    [[nodiscard]] const char *getClassName() const;
    /// Number of allowed child classes (at most kxMaxChildClasses) and the i-th (from 0).
    [[nodiscard]] int getChildClassCount() const { return childCount_; }
    [[nodiscard]] const kxClassInfo *getChildClass(int i) const { return childClasses_[i]; }
    /// True when `candidate` is of one of the allowed child classes.
    [[nodiscard]] bool AllowsChild(const kxClassInfo *candidate) const;
    [[nodiscard]] const kxClassInfo *getViewClass() const { return viewClass_; }
    [[nodiscard]] const kxClassInfo *getFrameClass() const { return frameClass_; }
    [[nodiscard]] const kxProjectNodeViewInfo *getViewInfo() const { return view_; }
    [[nodiscard]] const TBlockSig &getBlockSig() const { return blockSig_; }
    [[nodiscard]] const KXString &getDisplayName() const { return displayName_; }
    [[nodiscard]] long getFlags() const { return flags_; }
    [[nodiscard]] const KXString &getSuffix() const { return suffix_; }

private:
    const kxClassInfo *classInfo_;
    const kxClassInfo *childClasses_[kxMaxChildClasses] = {};
    int childCount_ = 0;
    const kxClassInfo *viewClass_ = nullptr;
    const kxClassInfo *frameClass_ = nullptr;
    const kxProjectNodeViewInfo *view_ = nullptr;
    TBlockSig blockSig_;
    KXString displayName_;
    long flags_;
    KXString suffix_;
};

/// The registry table: entries in order of insertion; owns them.
class kxMetaDataTable {
public:
    kxMetaDataTable() = default;
    kxMetaDataTable(const kxMetaDataTable &) = delete;
    kxMetaDataTable &operator=(const kxMetaDataTable &) = delete;
    ~kxMetaDataTable() { Clear(); }

    /// Appends the entry (the table takes it) unless an entry of the same class name exists:
    /// then prints "registration of duplicate node:\n\"%s\"\nignored\n" with the entry's display
    /// name (wlprintf), destroys the entry and returns false.
    bool AddNode(kxMetaData *entry);
    /// Destroys every entry.
    void Clear();
    /// Clears the table and adds an entry for every registered node record, oldest first.
    void Build();

    [[nodiscard]] int size() const { return entries_.size(); }
    /// The entry at 1-based i.
    [[nodiscard]] kxMetaData *getEntry(int i) const { return entries_[i]; }

    // Each finder returns the first entry in table order that matches, or null.
    [[nodiscard]] kxMetaData *FindMetaDataByClassInfo(const kxClassInfo *info) const;
    [[nodiscard]] kxMetaData *FindMetaDataByClass(const char *className) const;
    [[nodiscard]] kxMetaData *FindMetaDataByName(const char *displayName) const;
    /// By block type name (compared as block types are: without regard to case).
    [[nodiscard]] kxMetaData *FindMetaDataByBlockType(const char *typeName) const;
    [[nodiscard]] kxMetaData *FindMetaDataBySuffix(const char *suffix) const;
    /// The flags of the entry for `info`, 0 when there is none.
    [[nodiscard]] long FindMetaDataFlags(const kxClassInfo *info) const;

private:
    template <class Pred>
    kxMetaData *FindFirst(Pred pred) const;

    List<kxMetaData *> entries_;
};

#endif
