#pragma once

// The library's exported face. Call everything from the application's main
// thread; every function is safe before LumoIpcInit() and after LumoIpcFree()
// and then returns its neutral value (empty string, false, null or a default
// record). Results of calls arrive queued in the receiver's slot as
// slot(bool success, const QString &requestId, const <Result> &result).

#include "connection/kcompanyinfocache.h"
#include "connection/klumoipclogincache.h"
#include "lumoipc_export.h"

#include <QGenericArgument>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>

// Creates the library object (once); the flag is accepted and ignored. Always true.
LUMOIPC_EXPORT bool LumoIpcInit(bool);
// Tears the library object down; harmless when absent.
LUMOIPC_EXPORT void LumoIpcFree();
// The object whose signals carry the service's notifications; null when absent.
LUMOIPC_EXPORT QObject *LumoIpcEventObject();

// Generic call by method name; the slot receives a KRpcResponse. Returns the request id.
LUMOIPC_EXPORT QString LumoIpcAsynCall(const QString &method, const QStringList &params,
                                       QObject *receiver, const QString &slot);
// Call with the method's own argument record: Q_ARG(RemoveArg, arg).
LUMOIPC_EXPORT QString LumoIpcAsynCallEx(const QString &method, const QGenericArgument &arg,
                                         QObject *receiver, const QString &slot);
// Drops the result of a pending call; false when it could not be queued.
LUMOIPC_EXPORT bool LumoIpcCancelCall(const QString &requestId);

// Whether the service is configured to log in by itself. Any thread.
LUMOIPC_EXPORT bool LumoIpcIsNeedAutoLogin();
// Starts the service with "autologin" when configured and not running.
LUMOIPC_EXPORT bool LumoIpcCheckAutoLogin();

// The records live as long as the library object; do not keep the reference
// across LumoIpcFree().
LUMOIPC_EXPORT KLumoIpcLoginCache &LumoIpcLoginCache();
LUMOIPC_EXPORT KLumoIpcLoginCache &LumoIpcLastLoginCache();
LUMOIPC_EXPORT KCompanyInfoCache &LumoIpcCompanyCache();
LUMOIPC_EXPORT QMap<QString, QString> &LumoIpcResponseLoginInfo();

LUMOIPC_EXPORT bool LumoIpcCheckLumoLogined();
// Whether the service process runs (holds its main lock). Any thread.
LUMOIPC_EXPORT bool LumoIpcCheckLumoRunning();
// Starts the service; an empty @p param means "autologin".
LUMOIPC_EXPORT void LumoIpcStartLumoProcess(const QString &param);

// The library's log sink; a host may write through it too. Lines reach Qt's
// message handler under @p category.
LUMOIPC_EXPORT void _nvo_log_msg(QtMsgType type, const char *category, const QString &message);
