#pragma once

#include <QHash>
#include <QMetaMethod>
#include <QObject>

#include <array>
#include <tuple>
#include <utility>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace ofx::lumo {

/**
 * Queued invocation of a slot or signal by name, with its arguments' type
 * names, as QMetaObject::invokeMethod(receiver, member, Qt::QueuedConnection,
 * QGenericArgument(typeName, &value)...) does it: the member runs later, in the
 * receiver's thread, with a copy of each value; nothing runs if the receiver is
 * gone by then.
 *
 * Unlike that call, the member is looked up only once per receiver class: Qt 5
 * finds a type by name with a scan over every registered type, twice when the
 * name needs normalising ("const QStringList &"), and the library registers
 * several hundred records, so per notification that scan would cost more than
 * everything else together. A member that cannot be resolved (no such member,
 * a type name that is not registered) is handed to the literal call, so Qt
 * reports it exactly as before.
 *
 * Owned by the notification handler and used on the channel's thread only;
 * the cache is not guarded.
 */
class KLumoQueuedInvoker
{
public:
    // @p member and @p typeNames must outlive every queued call (literals do).
    template<class... T>
    void invoke(QObject *receiver, const char *member,
                const std::array<const char *, sizeof...(T)> &typeNames, T... values)
    {
        if (!receiver)
            return;
        // The first element only matters to ThreadSanitizer builds, see HandOver.
        auto args = std::make_tuple(HandOver(), std::move(values)...);
        const int index =
            resolve(receiver->metaObject(), member, typeNames.data(), int(sizeof...(T)));
        if (index < 0) {
            byName(receiver, member, typeNames, args, std::index_sequence_for<T...>());
            return;
        }
        HandOver::release();
        QMetaObject::invokeMethod(
            receiver,
            [receiver, index, typeNames, args = std::move(args)] {
                HandOver::acquire();
                direct(receiver, index, typeNames, args, std::index_sequence_for<T...>());
                HandOver::release();
            },
            Qt::QueuedConnection);
    }

private:
    // The values travel to the receiver's thread through Qt's event queue and
    // are freed by whichever thread drops the call last, both behind Qt's own
    // locks and reference counts, which ThreadSanitizer cannot see (Qt is not
    // instrumented). These annotations tell it: released before posting and
    // after the call, acquired before the call and, as the first element of the
    // values' tuple, before they are destroyed. Empty in other builds.
    struct HandOver
    {
#if defined(__SANITIZE_THREAD__)
        ~HandOver()
        {
            acquire();
        }
        static void release()
        {
            __tsan_release(&s_point);
        }
        static void acquire()
        {
            __tsan_acquire(&s_point);
        }
        static inline char s_point = 0;
#else
        static void release() { }
        static void acquire() { }
#endif
    };

    int resolve(const QMetaObject *meta, const char *member, const char *const *typeNames,
                int count);

    // std::get<I + 1>: element 0 is the HandOver.
    template<class Tuple, size_t N, size_t... I>
    static void direct(QObject *receiver, int index, const std::array<const char *, N> &names,
                       const Tuple &args, std::index_sequence<I...>)
    {
        receiver->metaObject()->method(index).invoke(
            receiver, Qt::DirectConnection, QGenericArgument(names[I], &std::get<I + 1>(args))...);
    }
    template<class Tuple, size_t N, size_t... I>
    static void byName(QObject *receiver, const char *member,
                       const std::array<const char *, N> &names, const Tuple &args,
                       std::index_sequence<I...>)
    {
        QMetaObject::invokeMethod(receiver, member, Qt::QueuedConnection,
                                  QGenericArgument(names[I], &std::get<I + 1>(args))...);
    }

    // What a lookup is cached under: the receiver's class, the member and the
    // type names, by address (the table's literals), so that the same member
    // named with other types is looked up, and refused, on its own.
    struct Key
    {
        const QMetaObject *meta;
        const char *member;
        std::array<const char *, 10> typeNames; // QMetaObject::invokeMethod takes ten
        bool operator==(const Key &o) const
        {
            return meta == o.meta && member == o.member && typeNames == o.typeNames;
        }
    };
    friend uint qHash(const Key &key, uint seed)
    {
        seed = ::qHash(key.meta, seed) ^ ::qHash(key.member, seed);
        for (const char *name : key.typeNames)
            seed = ::qHash(name, seed);
        return seed;
    }
    // -> method index, or -1 when it does not resolve. Channel thread only.
    QHash<Key, int> m_methods;
};

} // namespace ofx::lumo
