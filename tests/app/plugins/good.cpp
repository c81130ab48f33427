// A plug-in that starts: it registers a node type ("goodTB") and describes itself; it records
// the arguments and the user pointer it was given where the user pointer says.
#include "kx/app/kxplugins.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxprojnode.h"

#include <string>

class kxGoodPluginNode : public kxProjectNode {
    KX_DECLARE_CLASS(kxGoodPluginNode)
};
KX_IMPLEMENT_CLASS(kxGoodPluginNode, kxProjectNode)

static kxProjectNodeInfoClass g_info({KX_CLASSINFO_OF(kxGoodPluginNode), nullptr,
                                      TBlockSig{"goodTB", 1, 0}, "Good", 0, ""});

void kxInitPlugin(PluginInfo &info, const char *const *arguments, const char *&errorText,
                  void *userPointer)
{
    g_info.Register();
    info.name = "good";
    info.description = "a plug-in that loads";
    if (userPointer) {
        std::string &seen = *static_cast<std::string *>(userPointer);
        for (const char *const *a = arguments; *a; ++a)
            seen += std::string(*a) + ";";
    }
    errorText = nullptr;
}
