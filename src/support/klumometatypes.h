#pragma once

#include <QMetaType>
#include <QMutex>
#include <QSet>

namespace ofx::lumo {

/**
 * The library-wide record of meta types registered under plain names (records,
 * "KRpcResponse", "stringMap", ...). registerAll() registers every type that
 * crosses a queued call, from the dispatch and notification tables; the
 * dispatcher, the notification handler and the proxy call it as they are made,
 * so that each works alone too. Teardown of the library unregisters every
 * recorded id, and the next initialisation registers afresh. Thread-safe.
 */
class KLumoMetaTypes
{
public:
    // Registers and records every type the library passes through queued
    // calls, signals and slots, under every name something invokes it by.
    // Does nothing while they are registered (until unregisterAll()).
    static void registerAll();

    // Registers T under @p name (also as a typedef if T already has a
    // different canonical name) and records the id. @p qualified, when given,
    // is T's namespace-qualified name, registered as a typedef of the same id:
    // hosts write it in their slots, and an unregistered spelling would hide
    // the slot from every look-up by type. Unregistering the id drops it too.
    template<typename T> static int add(const char *name, const char *qualified = nullptr)
    {
        const int id = qRegisterMetaType<T>(name);
        record(id);
        if (qualified)
            addTypedef(qualified, id);
        return id;
    }
    static void addTypedef(const char *name, int id);
    // The id of the type registered as @p name, or 0 (QMetaType::UnknownType).
    static int idOf(const char *name)
    {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        return QMetaType::fromName(name).id();
#else
        return QMetaType::type(name);
#endif
    }
    static void record(int id);
    static QSet<int> ids();
    // Unregisters every recorded id and empties the record, and with it the
    // look-ups of KLumoQueuedCall, which hold such ids; registerAll() then
    // registers again.
    static void unregisterAll();
};

} // namespace ofx::lumo
