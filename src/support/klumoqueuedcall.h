#pragma once

#include "support/klumotsan.h"

#include <QByteArray>
#include <QMetaObject>
#include <QObject>

#include <array>
#include <memory>
#include <tuple>
#include <utility>

namespace ofx::lumo {

/**
 * The library's one way to run something later in another object's thread.
 *
 * invoke() is a queued invocation of a slot or signal by name, as
 * QMetaObject::invokeMethod(receiver, member, Qt::QueuedConnection,
 * QGenericArgument(typeName, &value)...) makes it: the member runs later, in
 * the receiver's thread, with a copy of each value, and not at all if the
 * receiver is gone by then. Unlike that call it looks a member up only once: Qt 5
 * finds a type by name with a scan over every registered type (twice when the
 * name needs normalising), and with the several hundred records the library
 * registers that scan costs more than the rest of a call or a notification.
 * A member is found by its name and its parameters' meta types, not by the
 * text of its signature: a host may spell a record with or without its
 * namespace (the library registers both names). A member of that name that
 * takes other types is reported once, as the expected signature, and every
 * call to it returns false; a member that does not exist at all, or a type
 * that is not registered, goes to the literal call, so Qt reports it as ever.
 *
 * The look-ups are kept in one process-wide cache keyed by the receiver's
 * class, the member and the type names, as text: the names come from hosts as
 * well as from the library's tables, and an address may be reused for another
 * name. The cache is shared, not per thread, and guarded by a lock: result
 * delivery uses it on the dispatcher's worker (immediate failures, expiry) and
 * on the channel's thread (replies), the notification handler on the
 * channel's thread, the dispatcher's front on the host's; one copy per thread
 * would resolve everything up to three times. It holds meta-type ids, so
 * KLumoMetaTypes::unregisterAll() empties it. Every member: any thread.
 */
class KLumoQueuedCall
{
public:
    // A value known by its registered type name only, as a QGenericArgument
    // carries it: queued as a copy made by the meta-type system, or as @p owned
    // itself when that holds *data and may be handed over.
    struct Untyped
    {
        const void *data;
        std::shared_ptr<void> owned = nullptr;
    };

    // Queues receiver->member(values...), the member taking @p typeNames (at
    // most ten, each the registered name of the value's type, or Untyped's).
    // Returns whether the call was queued; false and a warning when it cannot
    // be (Qt's, or the library's once for a member that takes other types),
    // false without a warning when @p receiver is null. @p member
    // and @p typeNames are only read during the call.
    template<class... T>
    static bool invoke(QObject *receiver, const char *member,
                       const std::array<const char *, sizeof...(T)> &typeNames, T... values)
    {
        return invokeThrough([receiver](auto fn) { return post(receiver, std::move(fn)); },
                             receiver, member, typeNames, std::move(values)...);
    }

    // As invoke(), except that the member does not run if @p gate has expired
    // by then: whatever a component queued is dropped once it is gone. (A
    // member that does not resolve goes to Qt's call by name, which has no gate.)
    template<class... T>
    static bool invokeWhile(const std::weak_ptr<const void> &gate, QObject *receiver,
                            const char *member,
                            const std::array<const char *, sizeof...(T)> &typeNames, T... values)
    {
        return invokeThrough(
            [receiver, &gate](auto fn) {
                return post(receiver, [open = gate, fn = std::move(fn)]() mutable {
                    if (!open.expired())
                        fn();
                });
            },
            receiver, member, typeNames, std::move(values)...);
    }

    // invoke(), except that a call that resolves is handed, as a copyable
    // functor, to @p hand (which returns whether it took it) instead of being
    // posted on its own: the caller may batch calls to the receiver's thread.
    template<class Hand, class... T>
    static bool invokeThrough(Hand &&hand, QObject *receiver, const char *member,
                              const std::array<const char *, sizeof...(T)> &typeNames, T... values)
    {
        static_assert(sizeof...(T) <= MaxArguments, "QMetaObject::invokeMethod takes ten");
        if (!receiver)
            return false;
        using Order = std::index_sequence_for<T...>;
        const Method method =
            resolve(receiver->metaObject(), member, typeNames.data(), int(sizeof...(T)));
        std::array<std::shared_ptr<void>, sizeof...(T)> copies;
        if (method.index >= 0 && copyUntyped(method, copies, Order(), values...))
            return hand([receiver, index = method.index,
                         args = take(copies, Order(), std::move(values)...)]() mutable {
                call(receiver, index, args, Order());
            });
        if (method.unfit)
            return false; // reported once, when first resolved
        return byName(receiver, member, typeNames, Order(), values...);
    }

    // Runs @p fn in @p target's thread, queued; dropped if the target goes first.
    template<class Fn> static bool post(QObject *target, Fn fn)
    {
        return QMetaObject::invokeMethod(target, HandOver<Fn>(std::move(fn)), Qt::QueuedConnection);
    }

    // Forgets every look-up (the meta-type ids it holds are about to go).
    static void clearCache();

    // A copy of *data made by the meta-type system; null when it cannot be made.
    // It is destroyed as its type was then, even after the type was unregistered.
    static std::shared_ptr<void> copyOf(int typeId, const void *data);

private:
    static constexpr int MaxArguments = 10;

    struct Method
    {
        int index = -1; // absolute, or -1 when the member does not resolve
        bool unfit = false; // a member of that name exists, but takes other types
        std::array<int, MaxArguments> typeIds {};
    };
    struct Cache;
    static Cache &cache();
    static Method resolve(const QMetaObject *meta, const char *member, const char *const *typeNames,
                          int count);
    // The member named @p member taking exactly these meta types, however its
    // declaration spells them; -1 if none. *named: some member has that name.
    static int indexByTypes(const QMetaObject *meta, const char *member, const int *typeIds,
                            int count, bool *named);
    static void reportUnfit(const QMetaObject *meta, const char *member,
                            const QByteArray &expected);

    // The functor handed to the receiver's thread. The hand-over goes through
    // Qt's event queue, which ThreadSanitizer cannot see, so the functor
    // announces it on its own address: Qt moves it into the heap-allocated
    // slot object it posts, the last move releases (after everything the call
    // reads is in place), the call and the destruction acquire. The address
    // belongs to this hand-over alone, so unrelated ones stay unordered.
    template<class Fn> class HandOver
    {
    public:
        explicit HandOver(Fn fn)
            : m_fnCall(std::move(fn))
        {
            tsan::release(this);
        }
        HandOver(HandOver &&other)
            : m_fnCall(std::move(other.m_fnCall))
        {
            tsan::release(this);
        }
        // Qt frees the functor on whichever thread drops it last.
        ~HandOver() { tsan::acquire(this); }
        void operator()()
        {
            tsan::acquire(this);
            m_fnCall();
            tsan::release(this);
        }

    private:
        Fn m_fnCall;
    };

    // Untyped values become copies before anything is moved, so that a copy
    // that fails leaves every value to the call by name.
    template<class V> static bool copyOne(const Method &, std::shared_ptr<void> &, int, const V &)
    {
        return true;
    }
    static bool copyOne(const Method &method, std::shared_ptr<void> &copy, int i,
                        const Untyped &value)
    {
        copy = value.owned ? value.owned : copyOf(method.typeIds[size_t(i)], value.data);
        return bool(copy);
    }
    template<size_t N, size_t... I, class... T>
    static bool copyUntyped(const Method &method, std::array<std::shared_ptr<void>, N> &copies,
                            std::index_sequence<I...>, const T &...values)
    {
        return (copyOne(method, copies[I], int(I), values) && ...);
    }

    // What the queued functor holds: typed values themselves, Untyped ones' copies.
    struct Copy
    {
        std::shared_ptr<void> value;
    };
    template<size_t N, size_t... I, class... T>
    static auto take(std::array<std::shared_ptr<void>, N> &copies, std::index_sequence<I...>,
                     T &&...values)
    {
        return std::make_tuple(takeOne(copies[I], std::forward<T>(values))...);
    }
    template<class V> static V &&takeOne(std::shared_ptr<void> &, V &&value)
    {
        return std::forward<V>(value);
    }
    static Copy takeOne(std::shared_ptr<void> &copy, Untyped &&) { return Copy {std::move(copy)}; }

    template<class V> static void *argument(V &value) { return &value; }
    static void *argument(Copy &value) { return value.value.get(); }
    template<class V> static const void *pointer(const V &value) { return &value; }
    static const void *pointer(const Untyped &value) { return value.data; }

    template<class Tuple, size_t... I>
    static void call(QObject *receiver, int index, Tuple &args, std::index_sequence<I...>)
    {
        void *argv[] = {nullptr, argument(std::get<I>(args))...};
        QMetaObject::metacall(receiver, QMetaObject::InvokeMetaMethod, index, argv);
    }
    template<size_t N, size_t... I, class... T>
    static bool byName(QObject *receiver, const char *member,
                       const std::array<const char *, N> &typeNames, std::index_sequence<I...>,
                       const T &...values)
    {
        return QMetaObject::invokeMethod(receiver, member, Qt::QueuedConnection,
                                         QGenericArgument(typeNames[I], pointer(values))...);
    }
};

} // namespace ofx::lumo
