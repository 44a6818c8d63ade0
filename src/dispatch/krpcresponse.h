#pragma once

#include "lumoipc_export.h"

#include <QMap>
#include <QString>

/// The string map a generic reply is made of; registered as "stringMap".
typedef QMap<QString, QString> stringMap;

/**
 * The result of a call by generic name (LumoIpcAsynCall()): the service's
 * reply, a map of strings. Failures carry an "error" entry, see
 * waitReadError() and connectError(). A plain value, registered with the
 * meta-type system as "KRpcResponse"; any thread. A result slot takes it as
 * `const KRpcResponse &`.
 */
class LUMOIPC_EXPORT KRpcResponse
{
public:
    /// An empty reply.
    KRpcResponse() = default;
    /// A reply holding @p values.
    explicit KRpcResponse(const stringMap &values);

    /// Every entry of the reply.
    const stringMap &values() const { return m_mapValues; }
    /// The entry @p key, or @p defaultValue when the reply has none.
    QString value(const QString &key, const QString &defaultValue = QString()) const;
    /// Whether the reply has an entry @p key.
    bool contains(const QString &key) const { return m_mapValues.contains(key); }
    /// Whether the reply has no entry at all.
    bool isEmpty() const { return m_mapValues.isEmpty(); }
    /// The "error" entry, empty when the reply carries none.
    QString error() const { return value(QStringLiteral("error")); }

    /// Whether both hold the same entries.
    bool operator==(const KRpcResponse &other) const { return m_mapValues == other.m_mapValues; }
    /// Whether the entries differ.
    bool operator!=(const KRpcResponse &other) const { return !(*this == other); }

    /// "error" = "waitReadError": the call was sent but no reply came in time.
    static const KRpcResponse &waitReadError();
    /// "error" = "connectError": the call could not be sent.
    static const KRpcResponse &connectError();

private:
    stringMap m_mapValues;
};
