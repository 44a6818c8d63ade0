#pragma once

/**
 * @file lumoipc.h
 * The library's exported functions.
 *
 * @par Threads
 * Call every function from the thread that called LumoIpcInit(), the
 * application's main thread, unless its description says "any thread": the
 * library object, its signals and its connection live there.
 *
 * @par Before LumoIpcInit() and after LumoIpcFree()
 * Every function is safe to call; it then does nothing and returns its
 * neutral value, given with each function: an empty string, false, null, or a
 * static record in its default state.
 *
 * @par Results
 * LumoIpcAsynCallEx() and LumoIpcAsynCall() return a request id at once. The
 * call ends exactly once, in the receiver's slot, queued into the receiver's
 * thread:
 * @code
 * void onFolder(bool ok, const QString &requestId, const ofx::lumo::CreateFolderResult &result);
 * void onGeneric(bool ok, const QString &requestId, const KRpcResponse &result);
 * @endcode
 * The record may be spelled with or without its namespace. @c ok is true with
 * the service's reply; false at once, with the method's default record, when
 * there is no connection (the generic route: KRpcResponse::connectError()),
 * and false with the default record when no reply came within 16 s
 * (KRpcResponse::waitReadError()). A cancelled call, or one whose receiver was
 * deleted, ends without calling the slot. The three methods whose reply
 * carries no value deliver an empty KLumoVoidResult. A slot that does not
 * exist, or whose parameters do not take the result, is logged and the call
 * ends.
 */

#include "connection/kcompanyinfocache.h"
#include "connection/klumoipclogincache.h"
#include "lumoipc_export.h"

#include <QGenericArgument>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>

/**
 * Creates the library object, once: it finds or starts the service, connects
 * and keeps the login records. A second call while it lives does nothing.
 * @param fastMode accepted and ignored.
 * @return true, always (also when the library already lives).
 */
LUMOIPC_EXPORT bool LumoIpcInit(bool fastMode);

/**
 * Tears the library object down: pending calls end without a result, the
 * connection closes and the worker thread stops (at most 5 s). Harmless when
 * there is no library object. LumoIpcInit() may be called again afterwards.
 */
LUMOIPC_EXPORT void LumoIpcFree();

/**
 * The object whose signals carry the service's notifications and the login
 * and connection state (class KLumoIpc; connect by signal name).
 * @return the library object; null before LumoIpcInit() and after LumoIpcFree().
 */
LUMOIPC_EXPORT QObject *LumoIpcEventObject();

/**
 * Calls @p method by the generic route, with string parameters.
 * @param method the method's name, for example "getLoginInfo".
 * @param params its parameters.
 * @param receiver the object whose slot receives the result; held weakly.
 * @param slot the slot's name, taking (bool, const QString &, const KRpcResponse &).
 * @return the request id, 32 upper-case hexadecimal digits; empty before
 *         LumoIpcInit() and after LumoIpcFree(), when nothing is delivered.
 */
LUMOIPC_EXPORT QString LumoIpcAsynCall(const QString &method, const QStringList &params,
                                       QObject *receiver, const QString &slot);

/**
 * Calls @p method with its own argument record.
 * @param method the method's name, for example "createFolder".
 * @param arg the argument record, copied before the function returns:
 *        `Q_ARG(ofx::lumo::CreateFolderArg, arg)` (the plain name works too).
 * @param receiver the object whose slot receives the result; held weakly.
 * @param slot the slot's name, taking (bool, const QString &, const \<Method\>Result &).
 * @return the request id; empty before LumoIpcInit() and after LumoIpcFree().
 *         An unknown method or an argument of another type is logged, and
 *         the id is returned all the same; nothing is delivered for it.
 */
LUMOIPC_EXPORT QString LumoIpcAsynCallEx(const QString &method, const QGenericArgument &arg,
                                         QObject *receiver, const QString &slot);

/**
 * Cancels a pending call: its result, if it comes, is dropped and the slot is
 * not called. A call that has ended already is not affected.
 * @return whether the cancellation was queued; false before LumoIpcInit()
 *         and after LumoIpcFree().
 */
LUMOIPC_EXPORT bool LumoIpcCancelCall(const QString &requestId);

/**
 * Whether the service is configured to log in by itself (its "autologin"
 * setting, or stored credentials). Any thread; does not need LumoIpcInit().
 */
LUMOIPC_EXPORT bool LumoIpcIsNeedAutoLogin();

/**
 * Runs the login health check's auto-login test and, when auto-login is
 * configured and the service does not run, starts it with "autologin".
 * @return the verdict; false before LumoIpcInit() and after LumoIpcFree().
 */
LUMOIPC_EXPORT bool LumoIpcCheckAutoLogin();

/**
 * Who is logged in, as the service last reported it.
 * @return the live record; before LumoIpcInit() and after LumoIpcFree() a
 *         static default record (logged out). Do not keep the reference across
 *         LumoIpcFree().
 */
LUMOIPC_EXPORT KLumoIpcLoginCache &LumoIpcLoginCache();

/**
 * The most recent login, kept (without its token) after a logout and across
 * runs; a static default record before LumoIpcInit() and after LumoIpcFree().
 */
LUMOIPC_EXPORT KLumoIpcLoginCache &LumoIpcLastLoginCache();

/**
 * The company the logged-in user works in; a static record with every string
 * empty before LumoIpcInit() and after LumoIpcFree().
 */
LUMOIPC_EXPORT KCompanyInfoCache &LumoIpcCompanyCache();

/**
 * The service's last answer to "getLoginInfo", key by key; a static empty map
 * before LumoIpcInit() and after LumoIpcFree().
 */
LUMOIPC_EXPORT QMap<QString, QString> &LumoIpcResponseLoginInfo();

/**
 * Whether a user is logged in (the flag that leads LumoIpcLoginCache()).
 * @return false before LumoIpcInit() and after LumoIpcFree().
 */
LUMOIPC_EXPORT bool LumoIpcCheckLumoLogined();

/**
 * Whether the service process runs, that is holds its lock file. Any thread;
 * does not need LumoIpcInit().
 */
LUMOIPC_EXPORT bool LumoIpcCheckLumoRunning();

/**
 * The local server name on which the service listens for this user and the
 * library connects: "_Thrift_Lumo_IPC_", the login name of the real user id
 * (empty when the password database has no entry), then that id in decimal.
 * The socket is that name in the temporary folder (`$TMPDIR`). Any thread;
 * does not need LumoIpcInit().
 */
LUMOIPC_EXPORT QString LumoIpcServerName();

/**
 * Starts the service process on a thread of Qt's global pool and returns at
 * once. Does nothing before LumoIpcInit() and after LumoIpcFree().
 * @param param appended to the command line; empty means "autologin".
 */
LUMOIPC_EXPORT void LumoIpcStartLumoProcess(const QString &param);

/**
 * The library's log sink, which hosts may write through too. Lines reach Qt's
 * message handler under @p category, so QT_LOGGING_RULES applies. Any thread;
 * does not need LumoIpcInit().
 */
LUMOIPC_EXPORT void _nvo_log_msg(QtMsgType type, const char *category, const QString &message);
