// kxmessage.h - KXMessage, the message that KXObject::sendMessage broadcasts down an object tree.
//
// A message carries a target filter (which objects of the tree receive it, see
// KXObject::MatchesTarget), an id, two untyped payload pointers that the sender and receivers
// agree on, and a result field that receivers may set (0 after Init). The target text is an
// owned copy; an empty or null target reaches every object.
//
// The library's own message ids are negative (kxMsgReset, ...); applications use ids >= 0.
#ifndef KX_OBJECTS_KXMESSAGE_H
#define KX_OBJECTS_KXMESSAGE_H

#include "kx/foundation/kxstring.h"

/// Message ids used by the library itself.
enum {
    kxMsgReset = -1,       ///< ResetAll: each receiver calls ResetTop()
    kxMsgIsOutOfDate = -2, ///< IsOutOfDate: data1 is a bool* an out-of-date Updatable sets
    kxMsgUpdate = -3       ///< getUpdatedCheckSum: each out-of-date Updatable calls Update()
};

class KXMessage {
public:
    KXMessage() = default;
    KXMessage(const char *target, int id, void *data1 = nullptr, void *data2 = nullptr)
    {
        Init(target, id, data1, data2);
    }
    virtual ~KXMessage() = default;

    KXMessage(const KXMessage &) = default;
    KXMessage &operator=(const KXMessage &) = default;

    /// Replaces target (copied; null allowed), id and payload; the result becomes 0.
    void Init(const char *target, int id, void *data1, void *data2)
    {
        target_ = target ? target : "";
        id_ = id;
        data1_ = data1;
        data2_ = data2;
        result_ = 0;
    }

    /// The target filter, or null when there is none (every object is reached).
    const char *GetTarget() const { return target_.Empty() ? nullptr : target_.c_str(); }
    int GetId() const { return id_; }
    void *GetData1() const { return data1_; }
    void *GetData2() const { return data2_; }
    int GetResult() const { return result_; }
    void SetResult(int result) { result_ = result; }

private:
    int result_ = 0;
    KXString target_;
    int id_ = 0;
    void *data1_ = nullptr;
    void *data2_ = nullptr;
};

#endif
