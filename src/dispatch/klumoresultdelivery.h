#pragma once

#include "dispatch/klumopendingcalls.h"

#include <QHash>
#include <QPointer>
#include <QReadWriteLock>
#include <QString>

#include <memory>

class QMetaObject;

namespace ofx::lumoipc {

/**
 * Ends calls: removes a call's pending record and queues the receiver's slot
 * (bool success, const QString &requestId, const T &value) into the receiver's
 * thread. The first party to end a call delivers; later ones find no record.
 *
 * A receiver's slot is looked up by name once per receiver class, slot and
 * result type, then invoked queued by index: looking it up by name on every
 * delivery costs more than the rest of the delivery together.
 *
 * Shared between the dispatcher's worker and the thread that completes replies;
 * completion callbacks hold it weakly. The pending record has its own lock,
 * m_slots is guarded by m_slotsLock; every member may be called from any thread.
 */
class KLumoResultDelivery
{
public:
    KLumoPendingCalls &pending() { return m_pending; }

    // Delivers a copy of @p value.
    void deliver(const QPointer<QObject> &receiver, const QString &slotMethod,
                 const QString &requestId, bool success, const void *value, const char *typeName);
    // Delivers @p value itself: a reply decoded for this call alone is handed
    // over rather than copied (a 16 MiB string is copied once less).
    void deliver(const QPointer<QObject> &receiver, const QString &slotMethod,
                 const QString &requestId, bool success, std::shared_ptr<void> value,
                 const char *typeName);

private:
    struct SlotKey
    {
        const QMetaObject *metaObject;
        const char *typeName; // one of the dispatcher's static type names
        QString slot;
        bool operator==(const SlotKey &o) const
        {
            return metaObject == o.metaObject && typeName == o.typeName && slot == o.slot;
        }
        friend uint qHash(const SlotKey &k, uint seed = 0)
        {
            return qHash(k.slot, seed) ^ qHash(quintptr(k.metaObject))
                ^ qHash(quintptr(k.typeName));
        }
    };
    struct Slot
    {
        int index = -1; // absolute method index
        int typeId = 0; // of the value
    };
    Slot resolve(QObject *target, const QString &slotMethod, const char *typeName);
    // @p owned, when set, holds *value and may be handed over as it is.
    void deliver(const QPointer<QObject> &receiver, const QString &slotMethod,
                 const QString &requestId, bool success, const void *value,
                 std::shared_ptr<void> owned, const char *typeName);

    KLumoPendingCalls m_pending;
    QReadWriteLock m_slotsLock;
    QHash<SlotKey, Slot> m_slots; // requires m_slotsLock; found slots only
};

} // namespace ofx::lumoipc
