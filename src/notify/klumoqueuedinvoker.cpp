#include "notify/klumoqueuedinvoker.h"

#include <QByteArray>
#include <QMetaType>

namespace ofx::lumo {

int KLumoQueuedInvoker::resolve(const QMetaObject *meta, const char *member,
                                const char *const *typeNames, int count)
{
    Key key {meta, member, {}};
    for (int i = 0; i < count && i < int(key.typeNames.size()); ++i)
        key.typeNames[size_t(i)] = typeNames[i];
    const auto known = m_methods.constFind(key);
    if (known != m_methods.constEnd())
        return *known;

    // The signature QMetaObject::invokeMethod builds, and the checks it makes
    // before queueing: the member exists and every type name is registered.
    QByteArray signature(member);
    signature += '(';
    for (int i = 0; i < count; ++i) {
        if (i)
            signature += ',';
        signature += typeNames[i];
    }
    signature += ')';
    int index = meta->indexOfMethod(signature.constData());
    if (index < 0)
        index = meta->indexOfMethod(QMetaObject::normalizedSignature(signature.constData()));
    for (int i = 0; index >= 0 && i < count; ++i) {
        if (QMetaType::type(typeNames[i]) == QMetaType::UnknownType)
            index = -1;
    }
    m_methods.insert(key, index);
    return index;
}

} // namespace ofx::lumo
