// kxappBase.cpp - the headless application object (see kxappBase.h).
#define KX_UNIT "kxappBase"
#include "kx/app/kxappBase.h"

#include <cstdlib>

#include <dlfcn.h>
#include <sys/stat.h>

#include "kx/foundation/kxerror.h"
#include "kx/graph/qvchart.h"
#include "kx/graph/qvchartnode.h"
#include "kx/project/kxscriptnode.h"

KX_IMPLEMENT_ABSTRACT_CLASS(kxAppBase, KXObject)

namespace {

bool IsDirectory(const char *path)
{
    struct stat st;
    return path && *path && stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

kxAppBase::UpperNodeTypes::UpperNodeTypes() { qvChartNode::RegisterType(); }

kxAppBase::kxAppBase() : runner_(server_, executor_, FindClientPath())
{
    commands_.SetScriptRunner(
        [this](const char *file, const char *arguments) { return runner_.Run(file, arguments); });
    kxSetScriptNodeRunner(
        [this](int language, const char *text, const char *arguments, kxScriptNode &node) {
            return RunScriptNode(language, text, arguments, node);
        });
}

kxAppBase::~kxAppBase()
{
    kxSetScriptNodeRunner(nullptr);
    commands_.SetScriptRunner(nullptr);
    server_.Stop();
}

bool kxAppBase::OpenProject(const char *filename) { return projects_.ProjectOpen(filename); }

bool kxAppBase::RunScriptNode(int language, const char *text, const char *arguments,
                              kxProjectNode &node)
{
    kxProjectNode *project = node.getRootProjectNode();
    if (!project)
        project = &node;
    // The script sees its project: formulas its variables, "." paths the project.
    kxNameSpace *names = commands_.GetNameSpace();
    kxNameSpace *oldParent = names->getParent();
    KXObject *oldCurrent = commands_.GetCurrentObject();
    names->setParent(project->GetNameSpace());
    commands_.SetCurrentObject(project);
    const bool ok = commands_.RunScript(language, text, arguments);
    names->setParent(oldParent);
    commands_.SetCurrentObject(oldCurrent);
    return ok;
}

bool kxAppBase::LoadPlugins(const char *const *arguments, void *userPointer)
{
    const std::string directory = kxPluginDirectory();
    const bool found = kxLoadPluginsFrom(directory.c_str(), arguments, userPointer, plugins_);
    projects_.RebuildRegistry();
    return found;
}

bool kxAppBase::StartServer(int port) { return server_.Start(port); }

std::string kxAppBase::FindClientPath()
{
    const char *fromEnvironment = std::getenv("KX_PYTHONPATH");
    if (fromEnvironment && *fromEnvironment)
        return fromEnvironment;
#ifdef KX_LIB_TO_PYTHON_DIR
    // Installed: the package lies at a fixed place relative to the library, wherever the
    // installation was moved.
    Dl_info info;
    if (dladdr(reinterpret_cast<void *>(&kxAppBase::FindClientPath), &info) && info.dli_fname) {
        const std::string library = info.dli_fname;
        const size_t slash = library.rfind('/');
        const std::string dir =
            (slash == std::string::npos ? std::string(".") : library.substr(0, slash)) +
            "/" KX_LIB_TO_PYTHON_DIR;
        if (IsDirectory((dir + "/kxclient").c_str()))
            return dir;
    }
#endif
#ifdef KX_INSTALLED_PYTHON_DIR
    if (IsDirectory(KX_INSTALLED_PYTHON_DIR "/kxclient"))
        return KX_INSTALLED_PYTHON_DIR;
#endif
#ifdef KX_SOURCE_PYTHON_DIR
    if (IsDirectory(KX_SOURCE_PYTHON_DIR "/kxclient"))
        return KX_SOURCE_PYTHON_DIR;
#endif
    return "";
}

void kxAppBase::ProjectList::OnPublish()
{
    const List<kxProjectNode *> &nodes = projects_.getNodes();
    for (int i = 1; i <= nodes.size(); ++i)
        PublishObj(nodes[i]->getName(), nodes[i], "", 0);
}

void kxAppBase::OnPublish()
{
    KXObject::OnPublish();
    PublishObj("subnodes", &projectList_, "the open projects");
    PublishObj("projectmanager", &projects_, "the project manager");
    PublishObj("charts", &qvChartList::Global(), "the charts: new(name), list(), delete(name)");
    PublishVar("version", kxGetVersionText(), "version of the library", kxPublishReadOnly);
    PublishFunc(
        "numsubnodes",
        [this](const List<KXString> &, KXString &result) {
            result.sprintf("%d", projects_.ProjectCount());
            return true;
        },
        "(): get number of open projects");
    PublishFunc(
        "openproject",
        [this](const List<KXString> &args, KXString &) {
            if (args.size() < 1) {
                error.set("openproject: 1 argument(s) expected\n");
                return false;
            }
            return projects_.ProjectOpen(args[1], args.size() >= 2 ? args[2].c_str() : "");
        },
        "( filename[, nodename] ): open the specified project with the specified node name");
    PublishFunc(
        "closeall",
        [this](const List<KXString> &, KXString &) { return projects_.ProjectCloseAll(); },
        "(): close all projects");
}
