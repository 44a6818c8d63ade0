#include "support/klumoqueuedcall.h"
#include "support/lumolog.h"
#include "support/klumometatypes.h"

#include <QByteArray>
#include <QHash>
#include <QMetaMethod>
#include <QMetaType>
#include <QPair>
#include <QReadWriteLock>
#include <QStringList>
#include <QVarLengthArray>

namespace ofx::lumo {

// (receiver's class, "member(type,type,...)" as the caller spelled it) -> the
// resolved member, or a member of that name that takes other types (reported
// once, when it enters); members that do not exist at all are not kept.
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

    // The checks QMetaObject::invokeMethod makes before it queues: every type is
    // registered, and the member takes these types.
    Method method;
    for (int i = 0; i < count; ++i) {
        method.typeIds[size_t(i)] = KLumoMetaTypes::idOf(typeNames[i]);
        if (method.typeIds[size_t(i)] == QMetaType::UnknownType)
            return Method {};
    }
    method.index = meta->indexOfMethod(signature.constData());
    if (method.index < 0)
        method.index = meta->indexOfMethod(QMetaObject::normalizedSignature(signature));
    // A host spells a record as it likes (CreateFolderResult, ofx::lumo::
    // CreateFolderResult, a using declaration): moc keeps the spelling, so the
    // text need not match where the types do.
    bool named = false;
    if (method.index < 0)
        method.index = indexByTypes(meta, member, method.typeIds.data(), count, &named);
    // No member of that name at all: Qt's warning says so, on every call.
    if (method.index < 0 && !named)
        return Method {};
    method.unfit = method.index < 0;
    tsan::WriteLocker locker(&c.lock);
    const QByteArray kept(signature.constData(), signature.size());
    if (method.unfit && !c.methods.contains(Cache::Key(meta, kept)))
        reportUnfit(meta, member, kept);
    c.methods.insert(Cache::Key(meta, kept), method);
    return method;
}

int KLumoQueuedCall::indexByTypes(const QMetaObject *meta, const char *member, const int *typeIds,
                                  int count, bool *named)
{
    // From the most derived class down, as Qt looks members up.
    for (int index = meta->methodCount() - 1; index >= 0; --index) {
        const QMetaMethod candidate = meta->method(index);
        if (candidate.name() != member)
            continue;
        *named = true;
        if (candidate.parameterCount() != count)
            continue;
        bool fits = true;
        for (int i = 0; fits && i < count; ++i) {
            int id = candidate.parameterType(i);
            if (id == QMetaType::UnknownType) {
                // "::ofx::lumo::X" is "ofx::lumo::X", but moc keeps the leading
                // colons, and "const ::X &" as "const::X&".
                QByteArray spelled = candidate.parameterTypes().at(i);
                if (spelled.startsWith("const::") && spelled.endsWith('&'))
                    spelled = spelled.mid(5, spelled.size() - 6);
                if (spelled.startsWith("::"))
                    id = KLumoMetaTypes::idOf(spelled.constData() + 2);
            }
            fits = id == typeIds[i];
        }
        if (fits)
            return index;
    }
    return -1;
}

void KLumoQueuedCall::reportUnfit(const QMetaObject *meta, const char *member,
                                  const QByteArray &expected)
{
    QStringList found;
    for (int index = meta->methodCount() - 1; index >= 0; --index) {
        const QMetaMethod candidate = meta->method(index);
        if (candidate.name() == member)
            found << QString::fromLatin1(candidate.methodSignature());
    }
    log::warning(lcLumoIpc(),
                 QStringLiteral("KLumoQueuedCall::invoke: %1::%2 does not take these arguments; "
                                "expected %3")
                     .arg(QLatin1String(meta->className()), found.join(QLatin1String(", ")),
                          QString::fromLatin1(expected)));
}

std::shared_ptr<void> KLumoQueuedCall::copyOf(int typeId, const void *data)
{
    // The type's functions, taken now: a queued call may be dropped after
    // LumoIpcFree() unregistered the type, when its id may be another type's.
    auto type = std::make_shared<const QMetaType>(typeId);
    void *copy = type->create(data);
    if (!copy)
        return nullptr;
    return std::shared_ptr<void>(copy, [type](void *p) { type->destroy(p); });
}

void KLumoQueuedCall::clearCache()
{
    Cache &c = cache();
    tsan::WriteLocker locker(&c.lock);
    c.methods.clear();
}

} // namespace ofx::lumo
