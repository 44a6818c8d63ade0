#include "support/klumoqueuedcall.h"
#include "support/klumometatypes.h"

#include <QByteArray>
#include <QHash>
#include <QMetaType>
#include <QPair>
#include <QReadWriteLock>
#include <QVarLengthArray>

namespace ofx::lumo {

// (receiver's class, "member(type,type,...)" as the caller spelled it) -> the
// resolved member; members that resolve only.
struct KLumoQueuedCall::Cache
{
    using Key = QPair<const QMetaObject *, QByteArray>;
    QReadWriteLock lock;
    QHash<Key, Method> methods; // requires lock
};

KLumoQueuedCall::Cache &KLumoQueuedCall::cache()
{
    static Cache c;
    return c;
}

KLumoQueuedCall::Method KLumoQueuedCall::resolve(const QMetaObject *meta, const char *member,
                                                 const char *const *typeNames, int count)
{
    // The signature QMetaObject::invokeMethod builds. An unnamed argument ends
    // its list there; that, like everything odd, is left to Qt. Built on the
    // stack: a notification or a delivery allocates nothing to find its member.
    QVarLengthArray<char, 256> text;
    const auto append = [&text](const char *s) { text.append(s, int(qstrlen(s))); };
    append(member);
    text.append('(');
    for (int i = 0; i < count; ++i) {
        if (!typeNames[i] || !*typeNames[i])
            return Method {};
        if (i)
            text.append(',');
        append(typeNames[i]);
    }
    text.append(')');
    text.append('\0');
    const QByteArray signature = QByteArray::fromRawData(text.constData(), text.size() - 1);
    const Cache::Key key(meta, signature);
    Cache &c = cache();
    {
        tsan::ReadLocker locker(&c.lock);
        const auto known = c.methods.constFind(key);
        if (known != c.methods.cend())
            return *known;
    }

    // The checks QMetaObject::invokeMethod makes before it queues: the member
    // exists with these types, and every type is registered.
    Method method;
    method.index = meta->indexOfMethod(signature.constData());
    if (method.index < 0)
        method.index = meta->indexOfMethod(QMetaObject::normalizedSignature(signature));
    for (int i = 0; method.index >= 0 && i < count; ++i) {
        method.typeIds[size_t(i)] = KLumoMetaTypes::idOf(typeNames[i]);
        if (method.typeIds[size_t(i)] == QMetaType::UnknownType)
            return Method {};
    }
    if (method.index < 0)
        return method;
    tsan::WriteLocker locker(&c.lock);
    c.methods.insert(Cache::Key(meta, QByteArray(signature.constData(), signature.size())), method);
    return method;
}

std::shared_ptr<void> KLumoQueuedCall::copyOf(int typeId, const void *data)
{
    void *copy = QMetaType(typeId).create(data);
    if (!copy)
        return nullptr;
    return std::shared_ptr<void>(copy, [typeId](void *p) { QMetaType(typeId).destroy(p); });
}

void KLumoQueuedCall::clearCache()
{
    Cache &c = cache();
    tsan::WriteLocker locker(&c.lock);
    c.methods.clear();
}

} // namespace ofx::lumo
