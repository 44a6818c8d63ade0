#pragma once

// The dispatch table seen from the service's side: for every row, how to call it
// by name, how a peer answers it with a recognisable value, and how to recognise
// that value (or the default one) in a delivery. Everything is derived from
// src/dispatch/klumodispatchtable.def.

#include "dispatch/klumodispatchtypes.h"
#include "dispatch/klumoipchandler.h"
#include "thriftcodec.h"

#include "KLumoServices.h"

#include <QGenericArgument>
#include <QVector>

#include <string>
#include <type_traits>

namespace lumotest {

using namespace ofx::lumo;
using namespace ofx::lumoipc;
using Client = KLumoServicesCobClient;
using Cob = std::function<void(Client *)>;

// The table against the generated client: each row's service method takes the
// row's argument type and answers the row's result type.
template<class Result> struct ReceiveOf
{
    using type = void (Client::*)(Result &);
};
template<> struct ReceiveOf<KLumoVoidResult>
{
    using type = void (Client::*)();
};
#define LUMO_DISPATCH(slot, method, Arg, Result, text)                                             \
    static_assert(std::is_same_v<decltype(&Client::method), void (Client::*)(Cob, const Arg &)>,   \
                  #slot ": the service method takes another argument type");                       \
    static_assert(std::is_same_v<decltype(&Client::recv_##method), ReceiveOf<Result>::type>,       \
                  #slot ": the service method answers another result type");
#include "dispatch/klumodispatchtable.def"
#undef LUMO_DISPATCH

template<class T, class = void> struct HasState : std::false_type
{
};
template<class T>
struct HasState<T, std::void_t<decltype(std::declval<T &>().__set_state(0))>> : std::true_type
{
};

// A result that only this stamp produces: every result record has an i32
// "state" or "httpCode".
template<class Result> Result stamped(int stamp)
{
    Result r {};
    if constexpr (std::is_same_v<Result, LumoStringMap>)
        r["stamp"] = std::to_string(stamp);
    else if constexpr (std::is_same_v<Result, KLumoVoidResult>)
        (void)stamp;
    else if constexpr (HasState<Result>::value)
        r.__set_state(stamp);
    else
        r.__set_httpCode(stamp);
    return r;
}

// The peer's side: decode the request with the generated argument struct (this
// throws if it is not the method's), answer with the stamped result.
template<class Args, class ResultStruct, class Result>
QByteArray answer(const std::string &method, const QByteArray &request, int stamp)
{
    Args args;
    const MessageHead head = decodeMessage(request, args);
    if (head.name != method || head.type != apache::thrift::protocol::T_CALL)
        return QByteArray();
    ResultStruct result;
    if constexpr (!std::is_same_v<Result, KLumoVoidResult>) {
        // The generated result structs declare __set_success without defining it.
        result.success = stamped<Result>(stamp);
        result.__isset.success = true;
    }
    return encodeMessage(method, apache::thrift::protocol::T_REPLY, result);
}

template<class Result> bool isStamped(const void *value, int stamp)
{
    return *static_cast<const Result *>(value) == stamped<Result>(stamp);
}

template<class Result> bool isDefault(const void *value)
{
    return *static_cast<const Result *>(value) == Result {};
}

template<class Arg>
QString callByName(KLumoIpcHandler &handler, const char *slot, const char *argType,
                   QObject *receiver, const QString &receiverSlot)
{
    const Arg arg {};
    return handler.asynCallEx(QString::fromLatin1(slot), QGenericArgument(argType, &arg), receiver,
                              receiverSlot);
}

struct Row
{
    const char *slot;
    const char *method; // on the wire
    const char *argType;
    const char *resultType;
    const char *exceptionText;
    QByteArray (*answer)(const std::string &method, const QByteArray &request, int stamp);
    bool (*isStamped)(const void *value, int stamp);
    bool (*isDefault)(const void *value);
    QString (*call)(KLumoIpcHandler &, const char *slot, const char *argType, QObject *receiver,
                    const QString &receiverSlot);

    QString receiverSlot() const { return QStringLiteral("onResult_") + QLatin1String(resultType); }
    QString callOn(KLumoIpcHandler &handler, QObject *receiver) const
    {
        return call(handler, slot, argType, receiver, receiverSlot());
    }
};

inline const QVector<Row> &rows()
{
    static const QVector<Row> table {
#define LUMO_DISPATCH(slot, method, Arg, Result, text)                                             \
    Row {#slot,                                                                                    \
         #method,                                                                                  \
         registeredName<Arg>(#Arg),                                                                \
         #Result,                                                                                  \
         text,                                                                                     \
         &answer<KLumoServices_##method##_args, KLumoServices_##method##_result, Result>,          \
         &isStamped<Result>,                                                                       \
         &isDefault<Result>,                                                                       \
         &callByName<Arg>},
#include "dispatch/klumodispatchtable.def"
#undef LUMO_DISPATCH
    };
    return table;
}

} // namespace lumotest
