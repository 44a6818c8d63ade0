#pragma once

#include "lumoipc_export.h"

#include <QMap>
#include <QString>

typedef QMap<QString, QString> stringMap;

/**
 * The result of a call by generic name (KLumoIpcHandler::asynCall): the
 * service's reply, a map of strings. Failures carry an "error" entry, see
 * waitReadError() and connectError(). A plain value, registered with the
 * meta-type system as "KRpcResponse"; any thread.
 */
class LUMOIPC_EXPORT KRpcResponse
{
public:
    KRpcResponse() = default;
    explicit KRpcResponse(const stringMap &values);

    const stringMap &values() const { return m_values; }
    QString value(const QString &key, const QString &defaultValue = QString()) const;
    bool contains(const QString &key) const { return m_values.contains(key); }
    bool isEmpty() const { return m_values.isEmpty(); }
    // The "error" entry, empty when the reply carries none.
    QString error() const { return value(QStringLiteral("error")); }

    bool operator==(const KRpcResponse &other) const { return m_values == other.m_values; }
    bool operator!=(const KRpcResponse &other) const { return !(*this == other); }

    // "error" = "waitReadError": the call was sent but no reply came in time.
    static const KRpcResponse &waitReadError();
    // "error" = "connectError": the call could not be sent.
    static const KRpcResponse &connectError();

private:
    stringMap m_values;
};
