#include "ipc/lumoipc.h"

#include "connection/klumoipclogincheck.h"
#include "connection/klumoipcproxy.h"
#include "connection/klumoserviceprocess.h"
#include "dispatch/klumoipchandler.h"
#include "ipc/klumoipc_p.h"
#include "support/klumoofxcloudsettings.h"
#include "support/klumopaths.h"
#include "support/lumolog.h"
#include "transport/klumocapturewriter.h"

using ofx::lumo::KLumoIpc;
using ofx::lumo::KLumoIpcLoginCheck;
using ofx::lumo::KLumoIpcPrivate;
using ofx::lumo::KLumoServiceProcess;

namespace {

// The live library object's members, null before LumoIpcInit() and after LumoIpcFree().
KLumoIpcPrivate *library()
{
    return KLumoIpcPrivate::get(KLumoIpcPrivate::instance());
}

ofx::lumoipc::KLumoIpcHandler *dispatcher()
{
    KLumoIpcPrivate *ipc = library();
    return ipc && ipc->proxy ? ipc->proxy->dispatcher() : nullptr;
}

// Neutral records handed out while the library object is absent.
KLumoIpcLoginCache &defaultLogin()
{
    static KLumoIpcLoginCache record;
    return record;
}
KLumoIpcLoginCache &defaultLastLogin()
{
    static KLumoIpcLoginCache record;
    return record;
}
KCompanyInfoCache &defaultCompany()
{
    static KCompanyInfoCache record;
    return record;
}
QMap<QString, QString> &defaultResponse()
{
    static QMap<QString, QString> record;
    return record;
}

} // namespace

bool LumoIpcInit(bool)
{
    if (KLumoIpcPrivate::instance()) {
        ofx::lumo::log::debug(lcIpc(), QStringLiteral("LumoIpcInit: already initialised"));
        return true;
    }
    // Thrift reports decoding trouble through its process-wide output; without
    // this it would go to stderr, past the host's log.
    ofx::lumo::log::installThriftOutput();
    auto *object = new KLumoIpc;
    KLumoIpcPrivate *ipc = KLumoIpcPrivate::get(object);
    // No frame moves before the host's event loop runs, so the capture sees them all.
    ofx::lumo::KLumoCaptureWriter::startFromEnvironment(ipc->proxy->serverName());
    ipc->connectProxy();
    // The service is (re)started only through the library object.
    ipc->proxy->setServiceStarter([] { LumoIpcStartLumoProcess(QString()); });
    auto *check = new KLumoIpcLoginCheck(
        [ipc] { ipc->requestLoginInfoForCheck(); },
        [ipc](const QString &name, const QMap<QString, QString> &v) { ipc->postEvent(name, v); });
    check->setServiceStarter([] { LumoIpcStartLumoProcess(QString()); });
    ipc->setLoginCheck(check);
    KLumoIpcPrivate::setInstance(object);
    return true;
}

void LumoIpcFree()
{
    KLumoIpc *ipc = KLumoIpcPrivate::instance();
    if (!ipc)
        return;
    delete ipc;
    KLumoIpcPrivate::setInstance(nullptr);
    ofx::lumo::KLumoCaptureWriter::stop(); // every thread that sent or received has stopped
    ofx::lumo::log::debug(lcIpc(), QStringLiteral("LumoIpcFree: library object released"));
}

QObject *LumoIpcEventObject()
{
    return KLumoIpcPrivate::instance();
}

QString LumoIpcAsynCall(const QString &method, const QStringList &params, QObject *receiver,
                        const QString &slot)
{
    auto *handler = dispatcher();
    return handler ? handler->asynCall(method, params, receiver, slot) : QString();
}

QString LumoIpcAsynCallEx(const QString &method, const QGenericArgument &arg, QObject *receiver,
                          const QString &slot)
{
    auto *handler = dispatcher();
    return handler ? handler->asynCallEx(method, arg, receiver, slot) : QString();
}

bool LumoIpcCancelCall(const QString &requestId)
{
    auto *handler = dispatcher();
    return handler && handler->cancelRequest(requestId);
}

bool LumoIpcIsNeedAutoLogin()
{
    if (ofx::lumo::KLumoOFXCloudSettings::exists())
        return ofx::lumo::KLumoOFXCloudSettings::isAutoLogin();
    return KLumoIpcLoginCheck::hasStoredCredential();
}

bool LumoIpcCheckAutoLogin()
{
    KLumoIpcPrivate *ipc = library();
    if (!ipc || !ipc->loginCheck)
        return false;
    return ipc->loginCheck->checkAutoLogin();
}

KLumoIpcLoginCache &LumoIpcLoginCache()
{
    KLumoIpcPrivate *ipc = library();
    return ipc ? ipc->proxy->loginCache() : defaultLogin();
}

KLumoIpcLoginCache &LumoIpcLastLoginCache()
{
    KLumoIpcPrivate *ipc = library();
    return ipc ? ipc->proxy->lastLoginCache() : defaultLastLogin();
}

KCompanyInfoCache &LumoIpcCompanyCache()
{
    KLumoIpcPrivate *ipc = library();
    return ipc ? ipc->proxy->companyCache() : defaultCompany();
}

QMap<QString, QString> &LumoIpcResponseLoginInfo()
{
    KLumoIpcPrivate *ipc = library();
    return ipc ? ipc->proxy->responseLoginInfo() : defaultResponse();
}

bool LumoIpcCheckLumoLogined()
{
    KLumoIpcPrivate *ipc = library();
    return ipc && ipc->proxy->loginCache().isLogined;
}

bool LumoIpcCheckLumoRunning()
{
    return KLumoServiceProcess::isLumoRunning();
}

QString LumoIpcServerName()
{
    return ofx::lumo::KLumoPaths::localServerName();
}

void LumoIpcStartLumoProcess(const QString &param)
{
    if (!KLumoIpcPrivate::instance())
        return;
    KLumoServiceProcess::startLumoProcess(param.isEmpty() ? QStringLiteral("autologin") : param);
}
