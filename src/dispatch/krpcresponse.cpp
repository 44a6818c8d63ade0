#include "dispatch/krpcresponse.h"

KRpcResponse::KRpcResponse(const stringMap &values)
    : m_mapValues(values)
{ }

QString KRpcResponse::value(const QString &key, const QString &defaultValue) const
{
    return m_mapValues.value(key, defaultValue);
}

const KRpcResponse &KRpcResponse::waitReadError()
{
    static const KRpcResponse response(
        stringMap {{QStringLiteral("error"), QStringLiteral("waitReadError")}});
    return response;
}

const KRpcResponse &KRpcResponse::connectError()
{
    static const KRpcResponse response(
        stringMap {{QStringLiteral("error"), QStringLiteral("connectError")}});
    return response;
}
