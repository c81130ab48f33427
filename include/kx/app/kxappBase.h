// kxappBase.h - kxAppBase, the headless application object: it owns the project manager, the
// command object with its server executor, the command server and the Python script runner,
// and it is the command language's root member "app".
//
// Published to the command language:
//   "subnodes"        the open projects, each under its name (app.subnodes[1],
//                     app.subnodes["name"])
//   "projectmanager"  the project manager node itself (its tree functions, "paste", ...)
//   "numsubnodes"     "(): get number of open projects"
//   "openproject"     "( filename[, nodename] ): open the specified project with the specified
//                     node name"
//   "closeall"        "(): close all projects"
//   "version"         the library's version text, read-only
//
// Script nodes of the project tree run through this object's command object (installed with
// kxSetScriptNodeRunner while the object lives); while one runs, the command formulas see the
// variables of the script's project and a path starting with "." starts at the project.
//
// Lifetime: one per process in practice. Construction order is the order of the members below,
// so the command object can use the project manager and the runner the server; destruction
// stops the server (removing its connection file) and then closes the tree.
#ifndef KX_APP_KXAPPBASE_H
#define KX_APP_KXAPPBASE_H

#include <string>
#include <vector>

#include "kx/app/kxplugins.h"
#include "kx/commands/command_line.h"
#include "kx/commands/kxcmdserver.h"
#include "kx/commands/kxscriptserver.h"
#include "kx/objects/kxobject.h"
#include "kx/project/kxprojman.h"

class kxAppBase : public KXObject {
    KX_DECLARE_CLASS(kxAppBase)
public:
    kxAppBase();
    ~kxAppBase() override;
    kxAppBase(const kxAppBase &) = delete;
    kxAppBase &operator=(const kxAppBase &) = delete;

    /// The command object whose root member "app" is this object (owned by the application).
    [[nodiscard]] kxCommandObject *getCommandObj() { return &commands_; }
    [[nodiscard]] kxProjectManager *getProjectManager() { return &projects_; }
    /// The command server (not started until StartServer).
    [[nodiscard]] kxCmdServer &getCommandServer() { return server_; }
    [[nodiscard]] kxPythonScriptRunner &getScriptRunner() { return runner_; }

    /// Opens a project file; false with `error` set on failure.
    [[nodiscard]] bool OpenProject(const char *filename);
    /// Starts serving clients on `port` (0 picks a free one); false with `error` set.
    [[nodiscard]] bool StartServer(int port = kxCmdServerDefaultPort);

    /// Loads the plug-ins of kxPluginDirectory() (see kxplugins.h), handing each `arguments`
    /// (a null-terminated list, may be null) and `userPointer`, and rebuilds the registry of
    /// node types so that the plug-ins' types can be read. False when the directory does not
    /// exist; true otherwise, with "a plugin failed to load - see Warnings" pending when one
    /// failed.
    bool LoadPlugins(const char *const *arguments = nullptr, void *userPointer = nullptr);
    /// The records of the plug-ins loaded, in loading order.
    [[nodiscard]] const std::vector<PluginInfo> &getPlugins() const { return plugins_; }

    /// The directory given to Python scripts on PYTHONPATH: KX_PYTHONPATH from the environment
    /// when set, else the installed client package's directory when it exists, else the one in
    /// the source tree the library was built from.
    [[nodiscard]] static std::string FindClientPath();

    void OnPublish() override;

private:
    /// Runs a script node's text with the command object, seeing the node's project (its
    /// variables in formulas, "." paths starting there).
    bool RunScriptNode(int language, const char *text, const char *arguments, kxProjectNode &node);

    /// Publishes the open projects under their names.
    class ProjectList : public KXObject {
    public:
        explicit ProjectList(kxProjectManager &projects) : projects_(projects) {}
        void OnPublish() override;

    private:
        kxProjectManager &projects_;
    };

    /// Registers the node types of the modules above the project module (the chart node)
    /// before the project manager builds its table of types.
    struct UpperNodeTypes {
        UpperNodeTypes();
    } upperNodeTypes_;
    kxProjectManager projects_;
    ProjectList projectList_{projects_};
    kxCommandObject commands_{this};
    kxCommandExecutor executor_{commands_};
    kxCmdServer server_{executor_};
    kxPythonScriptRunner runner_;
    std::vector<PluginInfo> plugins_;
};

#endif
