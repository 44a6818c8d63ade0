#include "ipc/lumoipccalls.h"

#include "dispatch/klumodispatchtypes.h"
#include "ipc/klumoipc_p.h"
#include "ipc/klumotypedcalls.h"
#include "support/klumometatypes.h"
#include "support/lumolog.h"

#include <QHash>

using ofx::lumo::KLumoTypedCalls;

namespace {

using namespace ofx::lumo;
using namespace ofx::lumoipc;

// A method as dynamicCall() finds it by name: how the typed call names it,
// and the registered name of its result type.
struct DynamicMethod
{
    LumoIpcPrivate::Method method;
    const char *resultType;
};

const DynamicMethod *findMethod(const QString &name)
{
    static const QHash<QString, DynamicMethod> methods = [] {
        QHash<QString, DynamicMethod> m;
#define LUMO_DISPATCH(slot, method, Arg, Result, text)                                             \
    m.insert(QStringLiteral(#slot),                                                                \
             {{#slot, registeredName<Arg>(#Arg), "onResult_" #Result},                             \
              registeredName<Result>(#Result)});
#include "dispatch/klumodispatchtable.def"
        LUMO_DISPATCH(lumoIpcCall, lumoIpcCall, LumoIpcArg, LumoIpcResult, "")
#undef LUMO_DISPATCH
        return m;
    }();
    const auto it = methods.constFind(name);
    return it == methods.cend() ? nullptr : &*it;
}

// The receiving end of a call by name: the result, of a type known at run
// time only, goes to the callable as a QVariant.
class DynamicHandler final : public LumoIpcPrivate::ResultHandler
{
public:
    DynamicHandler(int resultType,
                   std::function<void(const LumoIpc::Status &, const QVariant &)> callable)
        : m_nResultType(resultType)
        , m_fnCallable(std::move(callable))
    { }

    void deliver(const LumoIpc::Status &status, const void *result) override
    {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        m_fnCallable(status, QVariant(QMetaType(m_nResultType), result));
#else
        m_fnCallable(status, QVariant(m_nResultType, result));
#endif
    }

private:
    const int m_nResultType;
    const std::function<void(const LumoIpc::Status &, const QVariant &)> m_fnCallable;
};

void refuse(const QString &why)
{
    log::warning(lcIpc(), QStringLiteral("LumoIpc::dynamicCall: ") + why);
}

} // namespace

KLumoIpc *LumoIpc::events()
{
    return ofx::lumo::KLumoIpcPrivate::instance();
}

LumoIpc::PendingCall LumoIpcPrivate::start(const Method &method, const void *arg, QObject *context,
                                           std::unique_ptr<ResultHandler> handler)
{
    KLumoTypedCalls *calls = KLumoTypedCalls::instance();
    return calls ? calls->start(method, arg, context, std::move(handler)) : LumoIpc::PendingCall();
}

LumoIpc::PendingCall LumoIpcPrivate::startGeneric(const QString &method, const QStringList &params,
                                                  QObject *context,
                                                  std::unique_ptr<ResultHandler> handler)
{
    KLumoTypedCalls *calls = KLumoTypedCalls::instance();
    return calls ? calls->startGeneric(method, params, context, std::move(handler))
                 : LumoIpc::PendingCall();
}

LumoIpc::PendingCall
LumoIpc::dynamicCall(const QString &method, const QVariant &arg, QObject *context,
                     std::function<void(const LumoIpc::Status &, const QVariant &)> callable)
{
    KLumoTypedCalls *calls = KLumoTypedCalls::instance();
    if (!calls)
        return {};
    const DynamicMethod *found = findMethod(method);
    if (!found) {
        refuse(QStringLiteral("no method \"%1\"").arg(method));
        return {};
    }
    const int argType = KLumoMetaTypes::idOf(found->method.argType);
    if (arg.userType() != argType) {
        refuse(QStringLiteral("%1 takes %2, not %3")
                   .arg(method, QLatin1String(found->method.argType),
                        QLatin1String(arg.isValid() ? arg.typeName() : "nothing")));
        return {};
    }
    if (!context) {
        refuse(QStringLiteral("%1 has no context to run its callable in").arg(method));
        return {};
    }
    return calls->start(found->method, arg.constData(), context,
                        std::make_unique<DynamicHandler>(KLumoMetaTypes::idOf(found->resultType),
                                                         std::move(callable)));
}
