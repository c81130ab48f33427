// kxappnotify.h - how the project model tells the application object about changes of the tree
// that its windows must follow. The application object implements kxAppListener and installs
// it; headless, nothing is installed and the notifications go nowhere.
//
//   code 10002  kxNotifyNodePasted      a node was pasted            (node)
//   code 10003  kxNotifyNodeAdded       AddSubnode made a node       (node)
//   code 10006  kxNotifyProjectOpened   ProjectOpen opened a project (project, file name)
//   code 10007  kxNotifyProjectClosing  a project is about to close  (project)
#ifndef KX_PROJECT_KXAPPNOTIFY_H
#define KX_PROJECT_KXAPPNOTIFY_H

class kxProjectNode;

enum {
    kxNotifyNodePasted = 10002,
    kxNotifyNodeAdded = 10003,
    kxNotifyProjectOpened = 10006,
    kxNotifyProjectClosing = 10007
};

class kxAppListener {
public:
    virtual ~kxAppListener() = default;
    /// Receives a notification; `filename` is null unless the code carries one. Base: nothing.
    virtual void OnProjectNotify(int code, kxProjectNode *node, const char *filename)
    {
        (void)code;
        (void)node;
        (void)filename;
    }
};

/// Installs the listener (not owned; null removes it).
void kxSetAppListener(kxAppListener *listener);
[[nodiscard]] kxAppListener *kxGetAppListener();
/// Sends a notification to the installed listener, if any.
void kxNotifyApplication(int code, kxProjectNode *node, const char *filename = nullptr);

#endif
