// kxevent.h - events: the process-wide event-id server, the event record, and the
// source/listener pair through which objects announce changes to whoever listens.
//
// A listener registers with a source for one event id (or 0 for every event) and an integer
// cookie that is handed back with each delivery. RaiseEvent delivers to the entries in the
// order in which they were added. Removing a listener while an event is being raised only marks
// its entry; the marked entries are unlinked and freed when the outermost RaiseEvent ends, so a
// listener may detach itself (or others, or be destroyed) from inside OnEvent. Listeners added
// during a raise receive later events, not the one being raised.
//
// Delegation: a listener that calls event.Delegate() in OnEvent passes the event on to its
// delegate listener (setDelegate), which may delegate further along the chain. This holds also
// for a listener that detached itself in OnEvent; only a listener destroyed in its OnEvent is
// not followed to its delegate (it can no longer be asked for one).
//
// Lifetimes: a source and a listener unregister from each other when either is destroyed.
// Copying a source or a listener copies no registrations (the copy starts unconnected), nor a
// listener's delegate and event handler. The
// listener entries hang off a list record shared between the source and any raise in progress,
// so a source may even be destroyed by one of its listeners during RaiseEvent.
//
// The default OnEvent of kxEventListener hands the event to the event handler object when one
// is set (setEventHandler): the handler receives, with sendMessage in mode kxMsgThisOnly, a
// message with no target, the event's id, data1 = the kxEvent* and data2 = the cookie (cast to
// intptr_t). Nothing here locks.
#ifndef KX_OBJECTS_KXEVENT_H
#define KX_OBJECTS_KXEVENT_H

class KXObject;
class kxEventListener;
class kxEventSource;
struct kxListenerList;

/// Hands out event ids: 1, 2, 3, ... for the life of the process; ids are never reused.
class kxEventIDServer {
public:
    static int GetEventID();
};

class kxEvent {
public:
    explicit kxEvent(int id) : id_(id) {}
    kxEvent(int id, void *data1, void *data2) : id_(id), data1_(data1), data2_(data2) {}

    int GetId() const { return id_; }
    void *GetData1() const { return data1_; }
    void *GetData2() const { return data2_; }
    /// Asks the source to pass the event on to the current listener's delegate.
    void Delegate() { delegate_ = true; }
    bool IsDelegated() const { return delegate_; }
    /// The source raising the event (null before it was raised).
    kxEventSource *getSource() const { return source_; }

private:
    friend class kxEventSource;

    int id_;
    void *data1_ = nullptr;
    void *data2_ = nullptr;
    bool delegate_ = false;
    kxEventSource *source_ = nullptr;
};

/// The link record of the source and listener lists: in a source's list it names the listener,
/// in a listener's list the source; both carry the event-id filter (0 = every event) and the
/// cookie.
struct kxEventNode {
    kxEventSource *source = nullptr;
    kxEventListener *listener = nullptr;
    int eventId = 0;
    int cookie = 0;
    bool removed = false;
    kxEventNode *next = nullptr;
};

class kxEventSource {
public:
    kxEventSource() = default;
    kxEventSource(const kxEventSource &) {}
    kxEventSource &operator=(const kxEventSource &) { return *this; }
    virtual ~kxEventSource();

    void RaiseEvent(int id);
    void RaiseEvent(int id, void *data1, void *data2);
    /// Delivers `event` to every matching listener (see the top of this file).
    void RaiseEvent(kxEvent &event);
    /// Unregisters every listener.
    void RemoveAllListeners();
    /// Number of live (unremoved) listener entries.
    int GetListenerCount() const;

private:
    friend class kxEventListener;

    /// Hands the event to the entry's listener and along its delegate chain.
    static void Deliver(kxEventNode &entry, kxEvent &event);
    void AddEntry(kxEventListener &listener, int eventId, int cookie);
    /// Removes the listener's entries (all of them when `all`, else those for eventId);
    /// `listenerGone`: the listener is being destroyed, so entries only marked lose it too.
    void RemoveEntries(const kxEventListener &listener, bool all, int eventId, bool listenerGone);
    /// Unlinks and frees an entry now (true), or only marks it while a raise is in progress.
    bool DropEntry(kxEventNode *entry, kxEventNode *previous);

    kxListenerList *list_ = nullptr;
};

class kxEventListener {
public:
    kxEventListener() = default;
    kxEventListener(const kxEventListener &) {}
    kxEventListener &operator=(const kxEventListener &) { return *this; }
    virtual ~kxEventListener();

    /// Registers with `source` for `eventId` (0 = every event) with `cookie`. Registering twice
    /// makes two entries (two deliveries).
    void ListenTo(kxEventSource &source, int eventId, int cookie);
    /// Unregisters from `source` (every event id / only `eventId`).
    void RemoveSource(kxEventSource &source);
    void RemoveSource(kxEventSource &source, int eventId);
    /// Unregisters from every source (every event id / only `eventId`).
    void RemoveAllSources();
    void RemoveAllSources(int eventId);
    /// True when registered with `source` (for any id).
    [[nodiscard]] bool IsListeningTo(const kxEventSource &source) const;

    /// The listener that receives the events this one delegates (not owned; may be null).
    void setDelegate(kxEventListener *delegate) { delegate_ = delegate; }
    kxEventListener *GetDelegate() const { return delegate_; }
    /// The object that the default OnEvent passes events to (not owned).
    void setEventHandler(KXObject &handler) { handler_ = &handler; }
    KXObject *GetEventHandler() const { return handler_; }

    /// Receives an event. The base passes it to the event handler object, if any.
    virtual void OnEvent(kxEvent &event, int cookie);

private:
    friend class kxEventSource;

    /// Drops this listener's records of `source` (all, or those for eventId).
    void ForgetSource(const kxEventSource &source, bool all, int eventId);

    kxEventNode *sources_ = nullptr;
    kxEventListener *delegate_ = nullptr;
    KXObject *handler_ = nullptr;
};

#endif
