#pragma once

#include "dispatch/klumotsan.h"

#include <QMetaObject>
#include <QMetaType>
#include <QObject>

#include <memory>
#include <utility>

namespace ofx::lumoipc::queued {

// A copy of a value of a registered type, freed through the meta-type system;
// null when the type is unknown.
inline std::shared_ptr<void> copyOf(int typeId, const void *value)
{
    void *copy = QMetaType::create(typeId, value);
    if (!copy)
        return nullptr;
    return std::shared_ptr<void>(copy, [typeId](void *p) { QMetaType::destroy(typeId, p); });
}

// A function queued to an object's thread. The hand-over goes through Qt's event
// queue, which ThreadSanitizer cannot see; so the functor announces it: the
// last member to be copied into the queued event releases, the call acquires
// (on one address for all hand-overs, as the call cannot read its own members
// before it has acquired).
inline const void *handoffToken()
{
    static const char token = 0;
    return &token;
}

template<class Fn> struct Handoff
{
    struct Release
    {
        Release() { tsan::release(handoffToken()); }
        Release(const Release &) { tsan::release(handoffToken()); }
    };

    Fn fn;
    Release release; // last: constructed after everything the call reads

    Handoff(Fn f, Release r)
        : fn(std::move(f))
        , release(r)
    { }
    Handoff(const Handoff &) = default;
    // Qt frees the functor on whichever thread drops the last reference.
    ~Handoff() { tsan::acquire(handoffToken()); }

    void operator()()
    {
        tsan::acquire(handoffToken());
        fn();
        tsan::release(handoffToken());
    }
};

// Runs @p fn in @p target's thread, queued; dropped if the target goes first.
template<class Fn> bool post(QObject *target, Fn fn)
{
    return QMetaObject::invokeMethod(
        target, Handoff<Fn> {std::move(fn), typename Handoff<Fn>::Release()}, Qt::QueuedConnection);
}

inline void *argument(std::shared_ptr<void> &value)
{
    return value.get();
}
template<class T> void *argument(T &value)
{
    return &value;
}

// Queues @p target's method number @p index (absolute) with copies of @p args:
// what a queued invocation by name does once the method is found.
template<class... Args> void invoke(QObject *target, int index, Args... args)
{
    post(target, [target, index, args...]() mutable {
        void *argv[] = {nullptr, argument(args)...};
        QMetaObject::metacall(target, QMetaObject::InvokeMetaMethod, index, argv);
    });
}

} // namespace ofx::lumoipc::queued
