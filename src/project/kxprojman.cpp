// kxprojman.cpp - the project manager: opening and closing projects, the registry, file filters.
#define KX_UNIT "kxprojman"

#include "kx/project/kxprojman.h"

#include "kx/expressions/kxnamespace.h"
#include "kx/project/kxappnotify.h"
#include "kx/project/kxnotesnode.h"
#include "kx/project/kxrunsignal.h"
#include "kx/project/kxscriptnode.h"
#include "kx/project/kxvariablesnode.h"

#include <algorithm>
#include <vector>

KX_IMPLEMENT_CLASS(kxProjectManager, kxProjectNode)

namespace {

std::vector<kxProjectManager *> &LiveManagers()
{
    static std::vector<kxProjectManager *> managers;
    return managers;
}

const kxClassInfo *const g_projectChildren[] = {KX_CLASSINFO_OF(kxProjectNode), nullptr};
const kxClassInfo *const g_managerChildren[] = {KX_CLASSINFO_OF(kxProject), nullptr};

kxProjectNodeInfoClass g_projectInfo({KX_CLASSINFO_OF(kxProject), g_projectChildren,
                                      TBlockSig{"kxProject", 1, 0}, "Project", 0, "txt"});
kxProjectNodeInfoClass g_managerInfo({KX_CLASSINFO_OF(kxProjectManager), g_managerChildren,
                                      TBlockSig{"kxProjectManager", 1, 0}, "Project Manager", 0,
                                      ""});

/// Registers the core node types at start-up.
struct CoreRegistration {
    CoreRegistration()
    {
        g_managerInfo.Register();
        g_projectInfo.Register();
        kxVariablesNode::RegisterType();
        kxNotesNode::RegisterType();
        kxScriptNode::RegisterType();
    }
} g_coreRegistration;

} // namespace

kxProjectManager::kxProjectManager()
{
    table_.Build();
    LiveManagers().push_back(this);
}

kxProjectManager::~kxProjectManager()
{
    ClearNodes();
    auto &managers = LiveManagers();
    managers.erase(std::remove(managers.begin(), managers.end(), this), managers.end());
}

kxProjectManager *kxProjectManager::GetCurrent()
{
    const auto &managers = LiveManagers();
    return managers.empty() ? nullptr : managers.back();
}

kxProjectNode *kxProjectManager::CreateNodeForTextBlock(const TBlockSig &sig)
{
    const kxMetaData *entry = table_.FindMetaDataByBlockType(sig.type);
    // A project manager is never made from a block: there is one at the top of the tree.
    if (!entry || !entry->getClassInfo() ||
        entry->getClassInfo()->IsKindOf(KX_CLASSINFO_OF(kxProjectManager)))
        return nullptr;
    KXObject *made = entry->getClassInfo()->CreateObject();
    auto *node = dynamic_cast<kxProjectNode *>(made);
    if (!node)
        delete made;
    return node;
}

kxProjectNode *kxProjectManager::OnOpenFile(const char *filename, const char *nodeName)
{
    TextBlock block;
    return OpenFileBlock(filename, nodeName, block);
}

kxProjectNode *kxProjectManager::OpenFileBlock(const char *filename, const char *nodeName,
                                               TextBlock &block)
{
    if (!kxLoadIntoBlock(block, filename))
        return nullptr;
    TBlockSig sig{};
    kxProjectNode *node = kxGetBlockSignature(block, &sig) ? CreateNodeForTextBlock(sig) : nullptr;
    if (!node) {
        error.set("Unrecognised project node type: %s", block.getHeader());
        return nullptr;
    }
    const char *name = nodeName && *nodeName ? nodeName : block.getName();
    if (!name)
        name = "";
    if (!kxIsNodeNameValid(name)) {
        error.set("invalid name %s.\n", name);
        delete node;
        return nullptr;
    }
    if (FindNode(name)) {
        error.Raise(kxErrNameClash, "An object with name %s already exists.\n", name);
        delete node;
        return nullptr;
    }
    node->setName(name);
    return node;
}

bool kxProjectManager::ProjectOpen(const char *filename, const char *nodeName)
{
    RunSignal run(true);
    kxBusyCursor busy;
    if (error)
        return false;
    TextBlock block;
    kxProjectNode *node = OpenFileBlock(filename, nodeName, block);
    if (!node || error) {
        delete node;
        if (!error)
            error.set("Sorry, the file was not successfully loaded.\n");
        return false;
    }
    if (!node->IsKindOf(KX_CLASSINFO_OF(kxProject))) {
        delete node;
        KX_CODE_ERROR("You can only open a node of type kxProject");
        return false;
    }
    auto *project = static_cast<kxProject *>(node);
    if (!AddNode(project)) {
        delete project;
        return false;
    }
    if (kxNameSpace *ns = project->GetNameSpace())
        ns->PrepareToLoad();
    project->setFilename(filename);
    const bool loaded = project->ReadFileBlock(filename, block);
    const bool syntaxWarnings = error == kxErrSyntax;
    KXString warnings;
    if (syntaxWarnings) {
        warnings = error.chars();
        error.reset();
    }
    if (!loaded) {
        RemoveNode(project, true);
        if (!error)
            error.set("Sorry, the file was not successfully loaded.\n");
        return false;
    }
    project->Prepare();
    if (syntaxWarnings) {
        KXString text;
        if (error) {
            text = error.chars();
            text += "\n\n";
            error.reset();
        }
        text += "Parts of the project could not be loaded due to syntax errors.\n"
                "See the Warnings window for details.";
        if (!warnings.Empty()) {
            text += "\n\n";
            text += warnings;
        }
        error.Raise(kxErrSyntax, "%s", text.c_str());
    }
    project->setNewNode(true);
    kxNotifyApplication(kxNotifyProjectOpened, project, filename);
    return true;
}

bool kxProjectManager::ProjectClose(kxProject *project)
{
    if (!project || project->getParent() != this || !project->CanClose())
        return false;
    kxNotifyApplication(kxNotifyProjectClosing, project);
    RemoveNode(project, true);
    return true;
}

bool kxProjectManager::ProjectCloseAll()
{
    int i = 1;
    while (i <= getNodeCount()) {
        kxProjectNode *child = getNodes()[i];
        if (!child->IsKindOf(KX_CLASSINFO_OF(kxProject))) {
            KX_CODE_ERROR("The child of kxProjectManager should be a kxProject!");
            return false;
        }
        if (!ProjectClose(static_cast<kxProject *>(child)))
            ++i; // it stays open; the walk goes on with the next one
    }
    return true;
}

kxProject *kxProjectManager::FindNodeByFilename(const char *filename)
{
    return FindNodeByFilename(this, filename);
}

kxProject *kxProjectManager::FindNodeByFilename(kxProjectNode *startNode, const char *filename)
{
    if (!startNode || !filename)
        return nullptr;
    const List<kxProjectNode *> &nodes = startNode->getNodes();
    for (int i = 1; i <= nodes.size(); ++i) {
        kxProjectNode *child = nodes[i];
        if (child->IsKindOf(KX_CLASSINFO_OF(kxProject)) &&
            static_cast<kxProject *>(child)->getFilename() == filename)
            return static_cast<kxProject *>(child);
    }
    return nullptr;
}

KXString kxProjectManager::GenerateNewName(const char *base)
{
    static int counter = 0;
    KXString name;
    name.sprintf("%s %d", base ? base : "", ++counter);
    return name;
}

KXString kxProjectManager::getProjectWildcard(bool withAllApplicationFiles)
{
    KXString filters, patterns;
    for (int i = 1; i <= table_.size(); ++i) {
        const kxMetaData *entry = table_.getEntry(i);
        const KXString &suffix = entry->getSuffix();
        if (suffix.Empty())
            continue;
        filters += "|" + entry->getDisplayName() + " files (*." + suffix + ")|*." + suffix;
        patterns += "*." + suffix + ";";
    }
    if (!patterns.Empty())
        patterns.Del(patterns.Length() - 1, 1);
    if (withAllApplicationFiles)
        filters = "All application files (" + patterns + ")|" + patterns + filters;
    filters += "|All files (*.*)|*.*";
    return filters;
}

void kxProjectManager::OnPublish()
{
    KXObject::OnPublish();
    PublishSubnodes();
    PublishTreeFunctions(true);
    const KXObjectEvent *top = GetTopEvent();
    if (!top || top->kind != kxOpCommand)
        return;
    PublishFunc(
        "openproject",
        [this](const List<KXString> &args, KXString &) {
            if (args.size() < 1) {
                error.set("openproject: 1 argument(s) expected\n");
                return false;
            }
            return ProjectOpen(args[1], args.size() >= 2 ? args[2].c_str() : "");
        },
        "( filename[, nodename] ): open the specified project with the specified node name");
    PublishFunc(
        "closeall", [this](const List<KXString> &, KXString &) { return ProjectCloseAll(); },
        "(): close all projects");
    PublishFunc(
        "paste",
        [this](const List<KXString> &args, KXString &) {
            if (args.size() < 1) {
                error.set("paste: 1 argument(s) expected\n");
                return false;
            }
            return Paste(args[1]);
        },
        "( newname ): paste subnode from the clipboard");
}

bool kxGetBlockSignature(TextBlock &block, TBlockSig *sig)
{
    if (!sig || !block.Loaded())
        return false;
    sig->type = block.getType();
    sig->major = block.getMajorVer();
    sig->minor = block.getMinorVer();
    return true;
}

bool kxLoadIntoBlock(TextBlock &block, const char *filename)
{
    FBuff buffer;
    if (!filename || !buffer.LoadFile(filename))
        return false;
    return kxLoadIntoBlock(block, buffer);
}

bool kxLoadIntoBlock(TextBlock &block, FBuff &buffer)
{
    buffer.setPosn(0);
    buffer.getcl();
    if (!block.LoadBlock(buffer))
        return false;
    return !block.IsType(kxAppInfoBlockType) || block.LoadBlock(buffer);
}
