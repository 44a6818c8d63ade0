#pragma once

// Not a header of its own: what the templates of lumoipccalls.h expand to,
// installed beside it and included only by it (no CamelCase name, no
// compatibility promise beyond what lumoipccalls.h makes). Include
// <LumoIpc/LumoIpcCalls> instead.

#include "lumoipc_export.h"
#include "lumopendingcall.h"
#include "lumostatus.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <type_traits>
#include <utility>

/// @cond INTERNAL
// The templates run in the host's code and check, at compile time, that the
// callable takes the method's result; the library sees only a ResultHandler.
namespace LumoIpcPrivate {

// The receiving end of one typed call. The library calls deliver() exactly
// once, in the context's thread, while the context lives; or never.
class ResultHandler
{
public:
    virtual ~ResultHandler() = default;
    virtual void deliver(const LumoIpc::Status &status, const void *result) = 0;
};

// A method as the named route knows it: its name, the registered name of its
// argument's type, and the library's result slot for its result type.
struct Method
{
    const char *name;
    const char *argType;
    const char *resultSlot;
};

LUMOIPC_EXPORT LumoIpc::PendingCall start(const Method &method, const void *arg, QObject *context,
                                          std::unique_ptr<ResultHandler> handler);
LUMOIPC_EXPORT LumoIpc::PendingCall startGeneric(const QString &method, const QStringList &params,
                                                 QObject *context,
                                                 std::unique_ptr<ResultHandler> handler);

template<class F, class Context, class... Args> constexpr bool invocableWith()
{
    if constexpr (std::is_member_function_pointer_v<F>)
        return std::is_invocable_v<F, Context *, Args...>;
    else
        return std::is_invocable_v<F &, Args...>;
}

// The compiler names Result (what the method delivers) and Callable (what was
// given) in the instantiation that leads to a failed assertion here.
template<class Result, class Context, class Callable> struct CheckCallable
{
    static_assert(std::is_base_of_v<QObject, Context>,
                  "LumoIpc: the context must be a QObject (the callable runs in its thread, and "
                  "not after it is destroyed)");
    static constexpr bool withStatus =
        invocableWith<Callable, Context, const LumoIpc::Status &, const Result &>();
    static constexpr bool withId =
        invocableWith<Callable, Context, bool, const QString &, const Result &>();
    static constexpr bool plain = invocableWith<Callable, Context, bool, const Result &>();
    static_assert(withStatus || withId || plain,
                  "LumoIpc: the callable cannot take this method's result: it must take (const "
                  "LumoIpc::Status &, const Result &), (bool ok, const Result &) or (bool ok, "
                  "const QString &requestId, const Result &), with Result the first type of "
                  "CheckCallable<Result, Context, Callable> here");
    static constexpr bool ok =
        std::is_base_of_v<QObject, Context> && (withStatus || withId || plain);
};

template<class Result, class Context, class Callable>
class CallableHandler final : public ResultHandler
{
public:
    CallableHandler(Context *context, Callable callable)
        : m_pContext(context)
        , m_fnCallable(std::move(callable))
    { }

    void deliver(const LumoIpc::Status &status, const void *result) override
    {
        using Check = CheckCallable<Result, Context, Callable>;
        const Result &value = *static_cast<const Result *>(result);
        // A callable that fits several forms (a generic lambda) gets the older
        // ones, as it did before the status existed.
        if constexpr (Check::withId)
            run(status.ok(), status.requestId(), value);
        else if constexpr (Check::plain)
            run(status.ok(), value);
        else
            run(status, value);
    }

private:
    template<class... Args> void run(Args &&...args)
    {
        if constexpr (std::is_member_function_pointer_v<Callable>)
            (m_pContext->*m_fnCallable)(std::forward<Args>(args)...);
        else
            m_fnCallable(std::forward<Args>(args)...);
    }

    Context *const m_pContext; // alive whenever deliver() runs
    Callable m_fnCallable;
};

template<class Result, class Context, class Callable>
std::unique_ptr<ResultHandler> handlerFor(Context *context, Callable &&callable)
{
    using Fn = std::decay_t<Callable>;
    return std::make_unique<CallableHandler<Result, Context, Fn>>(
        context, Fn(std::forward<Callable>(callable)));
}

inline QObject *asObject(const QObject *context)
{
    return const_cast<QObject *>(context);
}

template<class Result, class Context, class Callable>
LumoIpc::PendingCall call(const Method &method, const void *arg, Context *context,
                          Callable &&callable)
{
    // Only the assertions speak when the callable does not fit.
    if constexpr (CheckCallable<Result, Context, std::decay_t<Callable>>::ok)
        return start(method, arg, asObject(context),
                     handlerFor<Result>(context, std::forward<Callable>(callable)));
    else
        return {};
}

template<class Result, class Context, class Callable>
LumoIpc::PendingCall callGeneric(const QString &method, const QStringList &params, Context *context,
                                 Callable &&callable)
{
    if constexpr (CheckCallable<Result, Context, std::decay_t<Callable>>::ok)
        return startGeneric(method, params, asObject(context),
                            handlerFor<Result>(context, std::forward<Callable>(callable)));
    else
        return {};
}

} // namespace LumoIpcPrivate
/// @endcond
