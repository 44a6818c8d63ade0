#pragma once

#include "lumoipc_export.h"

#include <QLoggingCategory>
#include <QString>

// One category per area; every line ends in _nvo_log_msg, the library's sink.
Q_DECLARE_LOGGING_CATEGORY(lcLumoIpc)      // "lumoipc": the call dispatcher
Q_DECLARE_LOGGING_CATEGORY(lcTransport)    // "lumoipc.transport"
Q_DECLARE_LOGGING_CATEGORY(lcConnection)   // "lumoipc.connection"
Q_DECLARE_LOGGING_CATEGORY(lcNotify)       // "lumoipc.notify"
Q_DECLARE_LOGGING_CATEGORY(lcPush)         // "lumoipc.push"
Q_DECLARE_LOGGING_CATEGORY(lcIpc)          // "lumoipc.ipc": entry points and lifecycle
Q_DECLARE_LOGGING_CATEGORY(lcCapture)      // "lumoipc.capture": recording the traffic
Q_DECLARE_LOGGING_CATEGORY(lcThrift)       // "lumoipc.thrift": Thrift's own output

/**
 * The library's one log sink. Every log line of the library ends here; hosts may
 * call it too. It forwards to Qt's message handler under @p category, so a host's
 * handler, QT_LOGGING_RULES and QTest::ignoreMessage all see the line.
 */
LUMOIPC_EXPORT void _nvo_log_msg(QtMsgType type, const char *category, const QString &message);

namespace ofx::lumo::log {

// Writes @p message at @p type if @p category enables that level.
void write(const QLoggingCategory &category, QtMsgType type, const QString &message);

inline void info(const QLoggingCategory &category, const QString &message)
{
    write(category, QtInfoMsg, message);
}
inline void warning(const QLoggingCategory &category, const QString &message)
{
    write(category, QtWarningMsg, message);
}
inline void debug(const QLoggingCategory &category, const QString &message)
{
    write(category, QtDebugMsg, message);
}

// Routes Thrift's GlobalOutput into lcThrift. Idempotent.
void installThriftOutput();

} // namespace ofx::lumo::log
