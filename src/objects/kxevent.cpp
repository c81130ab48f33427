// kxevent.cpp - event ids, event sources and listeners.
#include "kx/objects/kxevent.h"

#include <cstdint>

#include "kx/objects/kxobject.h"

/// The listener entries of a source. Shared between the source and every RaiseEvent in
/// progress (refs), so that it outlives a source destroyed while raising.
struct kxListenerList {
    kxEventNode *head = nullptr;
    kxEventNode *tail = nullptr;
    int depth = 0;      ///< nesting of RaiseEvent calls in progress
    bool dirty = false; ///< entries were marked removed during a raise
    int refs = 1;
};

namespace {

void Release(kxListenerList *list)
{
    if (--list->refs > 0)
        return;
    for (kxEventNode *e = list->head; e;) {
        kxEventNode *next = e->next;
        delete e;
        e = next;
    }
    delete list;
}

// Unlinks and frees the entries marked removed.
void Sweep(kxListenerList &list)
{
    kxEventNode *previous = nullptr;
    for (kxEventNode *e = list.head; e;) {
        kxEventNode *next = e->next;
        if (e->removed) {
            (previous ? previous->next : list.head) = next;
            delete e;
        } else {
            previous = e;
        }
        e = next;
    }
    list.tail = previous;
    list.dirty = false;
}

} // namespace

int kxEventIDServer::GetEventID()
{
    static int lastId = 0;
    return ++lastId;
}

// ---------------------------------------------------------------------------------------------
// kxEventSource

void kxEventSource::Deliver(kxEventNode &entry, kxEvent &event)
{
    kxEventListener *listener = entry.listener;
    const int cookie = entry.cookie;
    event.delegate_ = false;
    listener->OnEvent(event, cookie);
    if (!entry.listener) {
        // The listener was destroyed in OnEvent: its delegate can no longer be asked for.
        event.delegate_ = false;
        return;
    }
    while (event.delegate_) {
        event.delegate_ = false;
        listener = listener->GetDelegate();
        if (!listener)
            return;
        listener->OnEvent(event, cookie);
    }
}

kxEventSource::~kxEventSource()
{
    RemoveAllListeners();
    if (list_)
        Release(list_);
}

void kxEventSource::RaiseEvent(int id)
{
    kxEvent event(id);
    RaiseEvent(event);
}

void kxEventSource::RaiseEvent(int id, void *data1, void *data2)
{
    kxEvent event(id, data1, data2);
    RaiseEvent(event);
}

void kxEventSource::RaiseEvent(kxEvent &event)
{
    kxListenerList *list = list_;
    if (!list)
        return;
    ++list->depth;
    ++list->refs;
    event.source_ = this;
    // Entries added during the raise lie behind `last` and wait for the next event. Nothing
    // here touches `this` after the first delivery: a listener may destroy the source.
    const kxEventNode *last = list->tail;
    for (kxEventNode *e = list->head; e; e = e->next) {
        if (!e->removed && (e->eventId == 0 || e->eventId == event.id_))
            Deliver(*e, event);
        if (e == last)
            break;
    }
    if (--list->depth == 0 && list->dirty)
        Sweep(*list);
    Release(list);
}

void kxEventSource::RemoveAllListeners()
{
    if (!list_)
        return;
    kxEventNode *previous = nullptr;
    for (kxEventNode *e = list_->head; e;) {
        kxEventNode *next = e->next;
        if (!e->removed)
            e->listener->ForgetSource(*this, true, 0);
        if (e->removed || !DropEntry(e, previous))
            previous = e;
        e = next;
    }
}

int kxEventSource::GetListenerCount() const
{
    int count = 0;
    for (const kxEventNode *e = list_ ? list_->head : nullptr; e; e = e->next)
        count += e->removed ? 0 : 1;
    return count;
}

void kxEventSource::AddEntry(kxEventListener &listener, int eventId, int cookie)
{
    if (!list_)
        list_ = new kxListenerList;
    kxEventNode *entry = new kxEventNode{this, &listener, eventId, cookie, false, nullptr};
    (list_->tail ? list_->tail->next : list_->head) = entry;
    list_->tail = entry;
}

void kxEventSource::RemoveEntries(const kxEventListener &listener, bool all, int eventId,
                                  bool listenerGone)
{
    if (!list_)
        return;
    kxEventNode *previous = nullptr;
    for (kxEventNode *e = list_->head; e;) {
        kxEventNode *next = e->next;
        const bool hit = !e->removed && e->listener == &listener && (all || e->eventId == eventId);
        if (hit && listenerGone)
            e->listener = nullptr; // a raise in progress must not touch it again
        if (!hit || !DropEntry(e, previous))
            previous = e;
        e = next;
    }
}

bool kxEventSource::DropEntry(kxEventNode *entry, kxEventNode *previous)
{
    if (list_->depth > 0) {
        entry->removed = true;
        list_->dirty = true;
        return false;
    }
    (previous ? previous->next : list_->head) = entry->next;
    if (list_->tail == entry)
        list_->tail = previous;
    delete entry;
    return true;
}

// ---------------------------------------------------------------------------------------------
// kxEventListener

kxEventListener::~kxEventListener()
{
    while (sources_) {
        kxEventSource &source = *sources_->source;
        source.RemoveEntries(*this, true, 0, true);
        ForgetSource(source, true, 0);
    }
}

void kxEventListener::ListenTo(kxEventSource &source, int eventId, int cookie)
{
    source.AddEntry(*this, eventId, cookie);
    sources_ = new kxEventNode{&source, this, eventId, cookie, false, sources_};
}

void kxEventListener::RemoveSource(kxEventSource &source)
{
    source.RemoveEntries(*this, true, 0, false);
    ForgetSource(source, true, 0);
}

void kxEventListener::RemoveSource(kxEventSource &source, int eventId)
{
    source.RemoveEntries(*this, false, eventId, false);
    ForgetSource(source, false, eventId);
}

void kxEventListener::RemoveAllSources()
{
    while (sources_)
        RemoveSource(*sources_->source);
}

void kxEventListener::RemoveAllSources(int eventId)
{
    for (;;) {
        kxEventNode *node = sources_;
        while (node && node->eventId != eventId)
            node = node->next;
        if (!node)
            return;
        RemoveSource(*node->source, eventId);
    }
}

bool kxEventListener::IsListeningTo(const kxEventSource &source) const
{
    for (const kxEventNode *n = sources_; n; n = n->next)
        if (n->source == &source)
            return true;
    return false;
}

void kxEventListener::OnEvent(kxEvent &event, int cookie)
{
    if (!handler_)
        return;
    KXMessage message(nullptr, event.GetId(), &event,
                      reinterpret_cast<void *>(static_cast<std::intptr_t>(cookie)));
    handler_->sendMessage(message, kxMsgThisOnly);
}

void kxEventListener::ForgetSource(const kxEventSource &source, bool all, int eventId)
{
    kxEventNode **link = &sources_;
    while (*link) {
        kxEventNode *node = *link;
        if (node->source == &source && (all || node->eventId == eventId)) {
            *link = node->next;
            delete node;
        } else {
            link = &node->next;
        }
    }
}
