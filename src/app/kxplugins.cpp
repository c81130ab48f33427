// kxplugins.cpp - finding the plug-in directory and loading the plug-ins in it.
#define KX_UNIT "kxplugins"

#include "kx/app/kxplugins.h"

#include "kx/foundation/kxerror.h"

#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

// The Itanium C++ ABI name of kxInitPlugin(PluginInfo&, const char* const*, const char*&, void*).
const char *const kxInitPluginSymbol = "_Z12kxInitPluginR10PluginInfoPKPKcRS2_Pv";

namespace {

bool IsDirectory(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsRegularFile(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool EndsWith(const char *name, const char *suffix)
{
    const size_t n = std::strlen(name), m = std::strlen(suffix);
    return n > m && std::strcmp(name + n - m, suffix) == 0;
}

/// The directory of the running program ("" when it cannot be found).
std::string ProgramDirectory()
{
    char path[4096];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0)
        return "";
    path[n] = '\0';
    char *slash = std::strrchr(path, '/');
    if (!slash)
        return "";
    *slash = '\0';
    return path;
}

/// The file names matching "*.plugin" in the order the directory lists them (files only).
std::vector<std::string> PluginFiles(const std::string &directory)
{
    std::vector<std::string> files;
    DIR *dir = opendir(directory.c_str());
    if (!dir)
        return files;
    while (const dirent *entry = readdir(dir))
        if (EndsWith(entry->d_name, ".plugin") && IsRegularFile(directory + "/" + entry->d_name))
            files.push_back(entry->d_name);
    closedir(dir);
    return files;
}

/// Loads one plug-in; false when it reported an error (it is then unloaded).
bool LoadOne(const std::string &directory, const std::string &file, const char *const *arguments,
             void *userPointer, std::vector<PluginInfo> &loaded)
{
    const std::string path = directory + "/" + file;
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    void *entry = library ? dlsym(library, kxInitPluginSymbol) : nullptr;
    if (!entry) {
        if (library)
            dlclose(library);
        kxWarningLog("\"%s\" is not a plugin! Ignoring...\n", file.c_str());
        return true;
    }
    static const char *const none[] = {nullptr};
    PluginInfo info;
    const char *errorText = nullptr;
    reinterpret_cast<kxInitPluginFunction>(entry)(info, arguments ? arguments : none, errorText,
                                                  userPointer);
    if (errorText) {
        kxWarningLog("plugin \"%s\" load failed:\n  %s\n", file.c_str(), errorText);
        dlclose(library);
        error.reset();
        return false;
    }
    kxWarningLog("loaded plugin \"%s\"\n", file.c_str());
    loaded.push_back(info);
    return true;
}

} // namespace

std::string kxPluginDirectory()
{
    const char *fromEnvironment = std::getenv("KX_PLUGIN_DIR");
    if (fromEnvironment && *fromEnvironment)
        return fromEnvironment;
    const std::string program = ProgramDirectory();
    return (program.empty() ? std::string(".") : program) + "/../lib/kxcore/plugin";
}

bool kxLoadPluginsFrom(const char *directory, const char *const *arguments, void *userPointer,
                       std::vector<PluginInfo> &loaded)
{
    const std::string dir = directory ? directory : "";
    if (!IsDirectory(dir)) {
        kxWarningLog("plugin dir \"%s\" does not exist\n", dir.c_str());
        return false;
    }
    bool anyFailed = false;
    for (const std::string &file : PluginFiles(dir))
        if (!LoadOne(dir, file, arguments, userPointer, loaded))
            anyFailed = true;
    if (anyFailed)
        error.Raise(kxErrPlugin, "a plugin failed to load - see Warnings");
    return true;
}
