// kxplugins.h - plug-in modules: the record a plug-in fills to describe itself, its entry point,
// and the loading of every "*.plugin" file of the application's plug-in directory.
//
// A plug-in is a shared library named "<name>.plugin" that exports the C++ function
//
//   void kxInitPlugin(PluginInfo &info, const char *const *arguments, const char *&errorText,
//                     void *userPointer);
//
// It is found by the decorated (mangled) name of exactly this signature, so a plug-in must be
// built with the same compiler conventions as the application: include this header and define
// the function. The entry point registers the plug-in's node types and commands through the
// registries of the project model, fills `info`, and leaves `errorText` null on success or
// points it at a text (which must outlive the call) saying why it could not start.
// `arguments` is a null-terminated list of texts from the application (it may be empty);
// `userPointer` is the one given to LoadPlugins.
//
// The plug-in directory is the one that the environment variable KX_PLUGIN_DIR names, else
// "lib/kxcore/plugin" beside the directory of the running program ("<prefix>/bin/kxsh" looks in
// "<prefix>/lib/kxcore/plugin"); the build tree puts its programs in "bin" and its plug-ins in
// "lib/kxcore/plugin" of the build directory, so it works the same way.
//
// Every message goes to the warning log (kxWarningLog, channel 2: standard error on the
// console), where the summary error sends the user.
//
// Loading (kxLoadPluginsFrom): a missing directory prints the warning "plugin dir \"%s\" does
// not exist" (with a line end) and returns false. Each "*.plugin" file (files only, in the order the directory
// lists them) is loaded with dlopen (RTLD_NOW | RTLD_LOCAL) and its entry point found with
// dlsym; when either fails, "\"%s\" is not a plugin! Ignoring...\n" is printed (and the
// library closed). A plug-in that gives an error text gets "plugin \"%s\" load failed:\n
// %s\n", is unloaded, and any error it left pending is cleared; one that starts gets "loaded
// plugin \"%s\"\n", its record is appended to the list and it stays loaded for the life of the
// process. Messages name the file without its directory. After the last file, when a plug-in
// failed, the pending error "a plugin failed to load - see Warnings" (code 508) is set; the
// result is then still true.
#ifndef KX_APP_KXPLUGINS_H
#define KX_APP_KXPLUGINS_H

#include "kx/foundation/kxstring.h"

#include <string>
#include <vector>

/// What a plug-in says about itself; copied by value into the application's list.
struct PluginInfo {
    KXString name;        ///< short name of the plug-in
    KXString description; ///< one line on what it adds
};

/// The entry point every plug-in defines (see the top of this file).
void kxInitPlugin(PluginInfo &info, const char *const *arguments, const char *&errorText,
                  void *userPointer);

/// The type of the entry point, and the decorated name it is exported under.
typedef void (*kxInitPluginFunction)(PluginInfo &, const char *const *, const char *&, void *);
extern const char *const kxInitPluginSymbol;

/// The plug-in directory (see the top of this file).
[[nodiscard]] std::string kxPluginDirectory();

/// Loads the plug-ins of `directory` (see the top of this file), appending the records of those
/// that started to `loaded`. `arguments` (may be null) is handed to every plug-in.
bool kxLoadPluginsFrom(const char *directory, const char *const *arguments, void *userPointer,
                       std::vector<PluginInfo> &loaded);

#endif
