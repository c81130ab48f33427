// kxprojnode.cpp - the project tree: path lookup, tree changes, child blocks and publishing.
#define KX_UNIT "kxprojnode"

#include "kx/project/kxprojnode.h"

#include "kx/expressions/kxnamespace.h"
#include "kx/project/kxappnotify.h"
#include "kx/project/kxclipboard.h"
#include "kx/project/kxprojman.h"

#include <cstring>
#include <unistd.h>

#include <string>
#include <vector>

KX_IMPLEMENT_CLASS(kxProjectNode, kxNodeObject)

namespace {

/// The current working directory followed by "/", the file name of a new project.
KXString NewProjectFilename()
{
    char buffer[4096];
    KXString dir(getcwd(buffer, sizeof buffer) ? buffer : ".");
    dir += "/";
    return dir;
}

/// A new project made under the project manager gets the working directory as its file name.
void GiveNewProjectItsFilename(kxProjectNode &parent, kxProjectNode &node)
{
    if (parent.IsKindOf(KX_CLASSINFO_OF(kxProjectManager)) &&
        node.IsKindOf(KX_CLASSINFO_OF(kxProject)))
        static_cast<kxProject &>(node).setFilename(NewProjectFilename());
}

kxMetaDataTable *Registry()
{
    kxProjectManager *manager = kxProjectManager::GetCurrent();
    return manager ? &manager->getMetaDataTable() : nullptr;
}

kxProjectNode *CreateNodeFor(const TBlockSig &sig)
{
    kxProjectManager *manager = kxProjectManager::GetCurrent();
    return manager ? manager->CreateNodeForTextBlock(sig) : nullptr;
}

bool NeedArgs(const List<KXString> &args, int count, const char *function)
{
    if (args.size() >= count)
        return true;
    error.set("%s: %d argument(s) expected\n", function, count);
    return false;
}

} // namespace

kxProjectNode::kxProjectNode() = default;

kxProjectNode::~kxProjectNode()
{
    ClearNodes();
    delete ownNameSpace_;
}

// -- virtual slots ------------------------------------------------------------------------------

bool kxProjectNode::CanContainItem(const TBlockSig &sig)
{
    kxMetaDataTable *table = Registry();
    if (!table)
        return false;
    const kxMetaData *mine = table->FindMetaDataByClassInfo(getClassInfo());
    const kxMetaData *candidate = table->FindMetaDataByBlockType(sig.type);
    return mine && candidate && candidate->getClassInfo() &&
           mine->AllowsChild(candidate->getClassInfo());
}

bool kxProjectNode::PreloadVariables(TextBlock &block)
{
    block.SkipComments(true);
    block.GotoBody();
    return PreloadChildBlocks(block);
}

bool kxProjectNode::PreloadChildBlocks(TextBlock &block)
{
    TextBlock sub;
    while (sub.LoadBlock(block)) {
        // A block without a known version (-1.-1) has no signature: like an unknown type.
        TBlockSig sig{};
        kxProjectNode *scratch = kxGetBlockSignature(sub, &sig) ? CreateNodeFor(sig) : nullptr;
        if (!scratch)
            break; // the rest of this body is not preloaded
        scratch->setParent(this);
        scratch->PreloadVariables(sub);
        delete scratch;
        if (error && error != kxErrSyntax)
            break;
    }
    return !error || error == kxErrSyntax;
}

bool kxProjectNode::ReadTB(TextBlock &block)
{
    const kxMetaData *entry = getMetaData();
    if (!entry) {
        error.set("node type %s is not registered\n", getClassName());
        return false;
    }
    if (!block.StartRead(entry->getBlockSig(), false))
        return false;
    if (!CanReadTextBlockVersion(block.getMajorVer(), block.getMinorVer())) {
        error.set("Expected version (%d.%d) in block beginning\r\n%.900s\r\n",
                  getTextBlockVersionMajor(), entry->getBlockSig().minor, block.getHeader());
        return false;
    }
    return CreateChildNodes(block);
}

bool kxProjectNode::WriteTB(TextBlock &block)
{
    const kxMetaData *entry = getMetaData();
    const TBlockSig sig = entry ? entry->getBlockSig() : TBlockSig{getClassName(), 1, 0};
    block.StartWrite(sig, getName());
    if (!WriteChildNodes(block))
        return false;
    block.EndWrite();
    return true;
}

void kxProjectNode::Prepare()
{
    prepared_ = true;
    for (int i = 1; i <= nodes_.size(); ++i)
        nodes_[i]->Prepare();
}

void kxProjectNode::OnAncestryChanged()
{
    for (int i = 1; i <= nodes_.size(); ++i)
        nodes_[i]->OnAncestryChanged();
}

void kxProjectNode::setParent(kxProjectNode *parent) { parent_ = parent; }

bool kxProjectNode::StoreSFiles(FILE *file)
{
    for (int i = 1; i <= nodes_.size(); ++i)
        if (!nodes_[i]->StoreSFiles(file))
            return false;
    return true;
}

bool kxProjectNode::ExtractSFiles(FILE *file)
{
    for (int i = 1; i <= nodes_.size(); ++i)
        if (!nodes_[i]->ExtractSFiles(file))
            return false;
    return true;
}

bool kxProjectNode::CanReadTextBlockVersion(int major, int)
{
    return major == getTextBlockVersionMajor();
}

int kxProjectNode::getTextBlockVersionMajor()
{
    const kxMetaData *entry = getMetaData();
    return entry ? entry->getBlockSig().major : 1;
}

// -- queries ------------------------------------------------------------------------------------

kxProjectNode *kxProjectNode::getRootProjectNode()
{
    if (!parent_)
        return nullptr;
    kxProjectNode *node = this;
    while (node->parent_->parent_)
        node = node->parent_;
    return node;
}

kxProject *kxProjectNode::getRootProject()
{
    kxProjectNode *root = getRootProjectNode();
    return root && root->IsKindOf(KX_CLASSINFO_OF(kxProject)) ? static_cast<kxProject *>(root)
                                                              : nullptr;
}

bool kxProjectNode::IsRootProject() const
{
    return IsKindOf(KX_CLASSINFO_OF(kxProject)) && parent_ && !parent_->parent_;
}

kxProjectNode *kxProjectNode::getTopNode()
{
    kxProjectNode *node = this;
    while (node->parent_)
        node = node->parent_;
    return node;
}

kxProjectNode *kxProjectNode::FindChild(const char *name, const kxProjectNode *exclude,
                                        const kxClassInfo *classInfo) const
{
    for (int i = 1; i <= nodes_.size(); ++i) {
        kxProjectNode *child = nodes_[i];
        if (child != exclude && child->getName() == name &&
            (!classInfo || child->IsKindOf(classInfo)))
            return child;
    }
    return nullptr;
}

kxProjectNode *kxProjectNode::FindNode(const char *path, const kxProjectNode *exclude,
                                       const kxClassInfo *classInfo)
{
    if (!path)
        return nullptr;
    kxProjectNode *node = this;
    // Each step of a path with a slash picks the next node; the last component is searched
    // among that node's children.
    for (const char *slash = std::strchr(path, '/'); slash; slash = std::strchr(path, '/')) {
        const size_t headLength = static_cast<size_t>(slash - path);
        if (headLength == 2 && path[0] == '.' && path[1] == '.')
            node = node->parent_;
        else if (headLength == 0)
            node = node->getTopNode();
        else
            node = node->FindChild(std::string(path, headLength).c_str(), nullptr, nullptr);
        if (!node)
            return nullptr;
        path = slash + 1;
    }
    return node->FindChild(path, exclude, classInfo);
}

kxProjectNode *kxProjectNode::FindPreviousSibling(bool wrap)
{
    if (!parent_)
        return nullptr;
    const List<kxProjectNode *> &siblings = parent_->nodes_;
    for (int i = 1; i <= siblings.size(); ++i) {
        if (siblings[i] != this)
            continue;
        if (i > 1)
            return siblings[i - 1];
        return wrap && siblings.size() > 1 ? siblings[siblings.size()] : nullptr;
    }
    return nullptr;
}

kxNameSpace *kxProjectNode::GetNameSpace() const
{
    for (const kxProjectNode *node = this; node; node = node->parent_)
        if (node->ownNameSpace_)
            return node->ownNameSpace_;
    return KXObject::GetNameSpace();
}

void kxProjectNode::setOwnNameSpace(kxNameSpace *ns)
{
    if (ns == ownNameSpace_)
        return;
    delete ownNameSpace_;
    ownNameSpace_ = ns;
}

KXString kxProjectNode::getTypeName() const
{
    const kxMetaData *entry = getMetaData();
    return entry ? entry->getDisplayName() : KXString();
}

kxMetaData *kxProjectNode::getMetaData() const
{
    kxMetaDataTable *table = Registry();
    return table ? table->FindMetaDataByClassInfo(getClassInfo()) : nullptr;
}

// -- changes ------------------------------------------------------------------------------------

bool kxProjectNode::AddNode(kxProjectNode *child)
{
    if (!child)
        return false;
    if (FindNode(child->getName(), nullptr, nullptr)) {
        if (getName().Empty())
            error.Raise(kxErrNameClash, "Item with name \"%s\" already exists\n",
                        child->getName().c_str());
        else
            error.Raise(kxErrNameClash, "Item with name \"%s\" already exists in %s\n",
                        child->getName().c_str(), getName().c_str());
        return false;
    }
    nodes_.append(child);
    child->setParent(this);
    child->setOwner(this);
    ListenTo(child->GetEventSource(), kxEventNodeChanged, 0);
    return true;
}

void kxProjectNode::RemoveNode(kxProjectNode *child, bool deleteIt)
{
    for (int i = 1; i <= nodes_.size(); ++i) {
        if (nodes_[i] != child)
            continue;
        nodes_.erase(i);
        RemoveSource(child->GetEventSource());
        child->parent_ = nullptr;
        child->setOwner(nullptr);
        if (deleteIt)
            delete child;
        return;
    }
}

void kxProjectNode::ClearNodes()
{
    while (nodes_.size() > 0)
        RemoveNode(nodes_[nodes_.size()], true);
}

kxProjectNode *kxProjectNode::AddSubnode(const char *typeName, const char *name)
{
    if (error)
        return nullptr;
    kxMetaDataTable *table = Registry();
    const kxMetaData *entry = table ? table->FindMetaDataByBlockType(typeName) : nullptr;
    if (!entry || !entry->getClassInfo()) {
        error.set("node type \"%s\" unknown", typeName ? typeName : "");
        return nullptr;
    }
    if (!CanContainItem(entry->getBlockSig())) {
        error.set("child type %s not allowed\n", entry->getDisplayName().c_str());
        return nullptr;
    }
    KXObject *made = entry->getClassInfo()->CreateObject();
    auto *node = dynamic_cast<kxProjectNode *>(made);
    if (!node) {
        delete made;
        KX_CODE_ERROR("Could not create a suitable node object.");
        return nullptr;
    }
    if (!name)
        name = "";
    if (FindChild(name, nullptr, nullptr)) {
        error.Raise(kxErrNameClash, "name \"%s\" is already in use.\n", name);
        delete node;
        return nullptr;
    }
    if (!kxIsNodeNameValid(name)) {
        error.set("invalid name \"%s\"\n", name);
        delete node;
        return nullptr;
    }
    GiveNewProjectItsFilename(*this, *node);
    node->setName(name);
    if (!node->OnCreate() || !AddNode(node)) {
        delete node;
        return nullptr;
    }
    kxNotifyApplication(kxNotifyNodeAdded, node);
    node->Prepare();
    node->setNewNode(true);
    node->GetEventSource().RaiseEvent(kxEventNodeChanged, node, nullptr);
    return node;
}

bool kxProjectNode::CreateChildNodes(FBuff &buffer)
{
    if (error)
        return false;
    KXString report;
    TextBlock sub;
    while (sub.LoadBlock(buffer)) {
        TBlockSig sig{};
        if (!kxGetBlockSignature(sub, &sig) || !CanContainItem(sig))
            continue;
        const char *blockName = sub.getName() ? sub.getName() : "";
        if (!kxIsNodeNameValid(blockName)) {
            wlprintf("invalid name %s\n", blockName);
            continue;
        }
        if (FindChild(blockName, nullptr, nullptr)) {
            wlprintf("Item with name \"%s\" already exists in %s\n", blockName, getName().c_str());
            continue;
        }
        kxProjectNode *node = CreateNodeFor(sig);
        if (!node)
            continue;
        node->setName(blockName);
        if (AddNode(node))
            node->ReadTB(sub);
        else
            delete node;
        if (error == kxErrSyntax) {
            report += error.chars();
            error.reset();
        } else if (error) {
            break;
        }
    }
    if (!error && !report.Empty())
        error.Raise(kxErrSyntax, "%s", report.c_str());
    return !error;
}

bool kxProjectNode::WriteChildNodes(FBuff &buffer)
{
    // Each child writes straight at the end of `buffer`'s storage, so deep trees are not
    // copied once per level; when the buffer cannot lend it, the child is appended.
    for (int i = 1; i <= nodes_.size(); ++i) {
        TextBlock block;
        buffer.LendTo(block);
        const bool written = nodes_[i]->WriteTB(block);
        buffer.TakeBack(block, written); // a failed child leaves the text as it was
        if (!written)
            return false;
    }
    return true;
}

bool kxProjectNode::Rename(const char *name)
{
    if (!name)
        name = "";
    if (parent_ && parent_->FindChild(name, this, nullptr)) {
        error.Raise(kxErrNameClash, "name is already in use.\n");
        return false;
    }
    if (!kxIsNodeNameValid(name)) {
        error.set("invalid name.\n");
        return false;
    }
    setName(name);
    OnNameChanged();
    GetEventSource().RaiseEvent(kxEventNodeChanged, this, nullptr);
    return true;
}

bool kxProjectNode::Copy()
{
    kxClearClipboard();
    TextBlock block;
    if (!WriteTB(block))
        return false;
    kxCopyBlockToLocalClipboard(block);
    kxCopyPrjNodeRefToClipboard(this);
    return true;
}

bool kxProjectNode::Cut()
{
    if (!parent_ || !Copy())
        return false;
    return Delete();
}

bool kxProjectNode::Delete()
{
    if (!parent_)
        return false;
    GetEventSource().RaiseEvent(kxEventNodeChanged, this, nullptr);
    parent_->RemoveNode(this, true);
    return true;
}

kxProjectNode *kxProjectNode::CreatePasted()
{
    TextBlock block;
    if (!kxGetBlockFromLocalClipboard(block))
        return nullptr;
    TBlockSig sig;
    if (!kxGetBlockSignature(block, &sig))
        return nullptr;
    return CreateNodeFor(sig);
}

bool kxProjectNode::Paste(const char *name)
{
    if (error)
        return false;
    if (!name)
        name = "";
    if (FindNode(name)) {
        error.Raise(kxErrNameClash, "name \"%s\" is already in use.\n", name);
        return false;
    }
    if (!kxIsNodeNameValid(name)) {
        error.set("invalid name.\n");
        return false;
    }
    if (!AcceptsPaste())
        return false;
    TextBlock block;
    if (!kxGetBlockFromLocalClipboard(block))
        return false;
    TBlockSig sig;
    kxProjectNode *node = kxGetBlockSignature(block, &sig) ? CreateNodeFor(sig) : nullptr;
    if (!node)
        return false;
    GiveNewProjectItsFilename(*this, *node);
    node->setName(name);
    node->OnNameChanged();
    node->OnCreate(); // the result does not cancel a paste
    node->setParent(this);
    kxNameSpace *ns = GetNameSpace();
    if (!parent_) {
        ns = new kxNameSpace;
        node->setOwnNameSpace(ns);
    }
    if (ns)
        ns->PrepareToLoad();
    if (!node->PreloadVariables(block) || !node->ReadTB(block) || !AddNode(node)) {
        const KXString typeName = node->getTypeName();
        delete node;
        if (!error)
            error.set("Sorry, there was a problem pasting the new %s.\n", typeName.c_str());
        return false;
    }
    node->Prepare();
    node->setNewNode(true);
    kxNotifyApplication(kxNotifyNodePasted, node);
    node->GetEventSource().RaiseEvent(kxEventNodeChanged, node, nullptr);
    return true;
}

bool kxProjectNode::CanEnPaste()
{
    if (!kxLocalClipboardHasBlock())
        return false;
    const bool pendingBefore = error != 0;
    TextBlock block;
    TBlockSig sig;
    const bool ok = kxGetBlockFromLocalClipboard(block) && kxGetBlockSignature(block, &sig) &&
                    CanContainItem(sig);
    if (!pendingBefore && error) {
        error.reset();
        return false;
    }
    return ok;
}

// -- lock ---------------------------------------------------------------------------------------

bool kxProjectNode::IsLocked()
{
    const kxProject *project = getRootProject();
    return project && project->getLockFlag();
}

void kxProjectNode::setLocked(bool locked)
{
    if (kxProject *project = getRootProject())
        project->setLockFlag(locked);
}

kxProjNodeLock::kxProjNodeLock(kxProjectNode *node) : node_(node)
{
    if (node_)
        node_->setLocked(true);
}

kxProjNodeLock::~kxProjNodeLock()
{
    if (node_)
        node_->setLocked(false);
}

// -- events and publishing ----------------------------------------------------------------------

void kxProjectNode::MarkModified()
{
    if (kxProject *project = getRootProject())
        project->setModified(true);
}

void kxProjectNode::OnEvent(kxEvent &event, int)
{
    if (event.GetId() != kxEventNodeChanged)
        return;
    MarkModified();
    GetEventSource().RaiseEvent(event.GetId(), event.GetData1(), event.GetData2());
}

void kxProjectNode::SubNodes::OnPublish()
{
    const List<kxProjectNode *> &nodes = owner_.getNodes();
    for (int i = 1; i <= nodes.size(); ++i) {
        kxProjectNode *child = nodes[i];
        PublishObj(child->getName(), child, "", 0);
    }
}

KXString kxProjectNode::AddSubnodeHelp(const char *prefix) const
{
    KXString help(prefix);
    kxMetaDataTable *table = Registry();
    const kxMetaData *mine = table ? table->FindMetaDataByClassInfo(getClassInfo()) : nullptr;
    if (!mine)
        return help;
    bool first = true;
    for (int i = 1; i <= table->size(); ++i) {
        const kxMetaData *entry = table->getEntry(i);
        if (!entry->getClassInfo() || !mine->AllowsChild(entry->getClassInfo()))
            continue;
        if (!first)
            help += ",";
        help += entry->getBlockSig().type;
        first = false;
    }
    return help;
}

void kxProjectNode::OnPublish()
{
    KXObject::OnPublish();
    PublishSubnodes();
    PublishTreeFunctions(false);
}

void kxProjectNode::PublishTreeFunctions(bool projectManagerSet)
{
    // Functions exist only while a command is resolved; nothing to build otherwise.
    const KXObjectEvent *top = GetTopEvent();
    if (!top || top->kind != kxOpCommand)
        return;
    PublishFunc(
        "numsubnodes",
        [this](const List<KXString> &, KXString &result) {
            result.sprintf("%d", getNodeCount());
            return true;
        },
        "(): get number of subnodes");
    if (!projectManagerSet)
        PublishFunc(
            "nodename",
            [this](const List<KXString> &, KXString &result) {
                result = getName();
                return true;
            },
            "(): get name of the node");
    const KXString help =
        AddSubnodeHelp(projectManagerSet ? "( blocktype,newname ): add a new subnode; blocktype="
                                         : "( blocktype, newname ): add a new subnode; blocktype=");
    PublishFunc(
        "addsubnode",
        [this](const List<KXString> &args, KXString &result) {
            if (!NeedArgs(args, 2, "addsubnode"))
                return false;
            kxProjectNode *node = AddSubnode(args[1], args[2]);
            if (node)
                result = getAbsolutePathName(node);
            return node != nullptr;
        },
        help);
    if (!projectManagerSet) {
        PublishFunc(
            "delete", [this](const List<KXString> &, KXString &) { return Delete(); },
            "(): delete the node");
        PublishFunc(
            "cut", [this](const List<KXString> &, KXString &) { return Cut(); },
            "(): cut the node to the clipboard");
        PublishFunc(
            "copy", [this](const List<KXString> &, KXString &) { return Copy(); },
            "(): copy the node to the clipboard");
        PublishFunc(
            "paste",
            [this](const List<KXString> &args, KXString &) {
                return NeedArgs(args, 1, "paste") && Paste(args[1]);
            },
            "( newname ): paste subnode from the clipboard");
        PublishFunc(
            "rename",
            [this](const List<KXString> &args, KXString &) {
                return NeedArgs(args, 1, "rename") && Rename(args[1]);
            },
            "( newname ): rename the node");
    }
    PublishFunc(
        "findnode",
        [this](const List<KXString> &args, KXString &result) {
            if (!NeedArgs(args, 1, "findnode"))
                return false;
            kxProjectNode *node = FindNode(args[1]);
            if (!node) {
                error.set("node \"%s\" not found\n", args[1].c_str());
                return false;
            }
            result = getAbsolutePathName(node);
            return true;
        },
        "( path ): find subnode");
    PublishFunc(
        "getparent",
        [this](const List<KXString> &, KXString &result) {
            if (!parent_) {
                error.set("the node has no parent\n");
                return false;
            }
            result = getAbsolutePathName(parent_);
            return true;
        },
        projectManagerSet ? "(): get the parent" : "(): get the parent node");
    if (projectManagerSet)
        return;
    PublishFunc(
        "updateviews",
        [this](const List<KXString> &, KXString &) {
            GetEventSource().RaiseEvent(kxEventUpdateViews, this, nullptr);
            return true;
        },
        "(): update all views of the node");
    PublishFunc(
        "findorcreateview",
        [this](const List<KXString> &, KXString &) {
            GetEventSource().RaiseEvent(kxEventFindOrCreateView, this, nullptr);
            return true;
        },
        "(): find or create a view of the node");
}

// -- free functions -----------------------------------------------------------------------------

bool kxIsNodeNameValid(const char *name)
{
    return name && *name && !std::strpbrk(name, "<>|?:,;\"\\/\n=");
}

namespace {

/// The names from below the top node down to `node`, joined by "/".
KXString PathFromTop(const kxProjectNode *node, const kxProjectNode *stop)
{
    std::vector<const kxProjectNode *> chain;
    for (const kxProjectNode *n = node; n && n != stop && n->getParent(); n = n->getParent())
        chain.push_back(n);
    KXString path;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if (!path.Empty())
            path += "/";
        path += (*it)->getName();
    }
    return path;
}

bool IsAncestorOrSelf(const kxProjectNode *ancestor, const kxProjectNode *node)
{
    for (; node; node = node->getParent())
        if (node == ancestor)
            return true;
    return false;
}

} // namespace

KXString getAbsolutePathName(const kxProjectNode *node)
{
    if (!node)
        return KXString();
    return "/" + PathFromTop(node, nullptr);
}

KXString getRelativePathName(const kxProjectNode *node, const kxProjectNode *from)
{
    if (!node || !from)
        return getAbsolutePathName(node);
    int up = 0;
    const kxProjectNode *common = from;
    for (; common && !IsAncestorOrSelf(common, node); common = common->getParent())
        ++up;
    if (!common || common == node)
        return getAbsolutePathName(node);
    KXString path;
    for (int i = 0; i < up; ++i)
        path += "../";
    path += PathFromTop(node, common);
    return path;
}
