#include "klumoconformdiscovery.h"

#include "klumoconformcontext.h"
#include "klumoconformmethods.h"

#include <LumoService/Discovery>

#include <QDir>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

namespace ofx::lumo {

namespace {

QString octal(mode_t mode)
{
    return QStringLiteral("0%1").arg(mode & 07777, 0, 8);
}

} // namespace

using LumoService::Discovery;

void KLumoConformDiscovery::held(Discovery::Lock lock, KLumoConformResult &r)
{
    const QString path = Discovery::lockPath(lock);
    r.sent = QStringLiteral("a record-lock query (F_GETLK) on %1").arg(path);
    if (Discovery::isHeld(lock))
        return;
    r.fail(QFileInfo::exists(path)
               ? QStringLiteral("no process holds a lock on it (or the file is not ours to "
                                "open; see discovery-04)")
               : QStringLiteral("the file does not exist"));
}

void KLumoConformDiscovery::mainLock(KLumoConformContext &, KLumoConformResult &r)
{
    held(Discovery::Lock::Main, r);
}

void KLumoConformDiscovery::existLock(KLumoConformContext &, KLumoConformResult &r)
{
    held(Discovery::Lock::Exist, r);
}

void KLumoConformDiscovery::loginLock(KLumoConformContext &ctx, KLumoConformResult &r)
{
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    QMap<QString, QString> answer;
    if (!peer || !KLumoConformMethods::loginInfo(ctx, *peer, r, &answer))
        return;
    // Read as the library reads both.
    const bool reported = Discovery::reportsLoggedIn(answer);
    const bool locked = Discovery::isLoginStatusHeld();
    r.sent += QStringLiteral(", then the login-status test on %1")
                  .arg(Discovery::lockPath(Discovery::Lock::LoginStatus));
    r.notes << (reported ? QStringLiteral("a user is logged in")
                         : QStringLiteral("no user is logged in"));
    if (reported != locked)
        r.fail(QStringLiteral("getLoginInfo reports %1, but the login-status lock is %2")
                   .arg(reported ? QStringLiteral("a user logged in")
                                 : QStringLiteral("no user logged in"),
                        locked ? QStringLiteral("held") : QStringLiteral("free")));
}

void KLumoConformDiscovery::lockFiles(KLumoConformContext &, KLumoConformResult &r)
{
    r.sent = QStringLiteral("lstat of the service's lock files");
    for (const Discovery::Lock lock :
         {Discovery::Lock::Exist, Discovery::Lock::Main, Discovery::Lock::LoginStatus}) {
        const QString path = Discovery::lockPath(lock);
        struct stat st;
        if (::lstat(QFile::encodeName(path).constData(), &st) != 0) {
            r.notes << QStringLiteral("%1 does not exist").arg(path);
            continue;
        }
        if (S_ISLNK(st.st_mode))
            r.fail(QStringLiteral("%1 is a symbolic link to %2")
                       .arg(path, QFileInfo(path).symLinkTarget()));
        else if (!S_ISREG(st.st_mode))
            r.fail(QStringLiteral("%1 is not a regular file").arg(path));
        else if (st.st_uid != ::geteuid())
            r.fail(QStringLiteral("%1 belongs to uid %2, not to uid %3")
                       .arg(path)
                       .arg(st.st_uid)
                       .arg(::geteuid()));
    }
}

void KLumoConformDiscovery::socket(KLumoConformContext &ctx, KLumoConformResult &r)
{
    const QString path = ctx.serverPath();
    const QString folder = QFileInfo(path).absolutePath();
    r.sent = QStringLiteral("lstat of %1 and of its folder").arg(path);
    struct stat st, dir;
    if (::lstat(QFile::encodeName(path).constData(), &st) != 0) {
        r.fail(QStringLiteral("there is no socket at %1").arg(path));
        return;
    }
    r.notes << QStringLiteral("socket mode %1, uid %2").arg(octal(st.st_mode)).arg(st.st_uid);
    if (!S_ISSOCK(st.st_mode))
        r.fail(QStringLiteral("%1 is not a socket").arg(path));
    else if (st.st_uid != ::geteuid())
        r.fail(QStringLiteral("the socket belongs to uid %1, not to uid %2")
                   .arg(st.st_uid)
                   .arg(::geteuid()));
    else if (st.st_mode & 077)
        r.fail(QStringLiteral("the socket's mode is %1: group or others may connect to it")
                   .arg(octal(st.st_mode)));
    else if (::stat(QFile::encodeName(folder).constData(), &dir) != 0)
        r.fail(QStringLiteral("its folder %1 cannot be read").arg(folder));
    else if (dir.st_uid != ::geteuid() && dir.st_uid != 0)
        r.fail(QStringLiteral("its folder %1 belongs to uid %2").arg(folder).arg(dir.st_uid));
    else if ((dir.st_mode & (S_IWGRP | S_IWOTH)) && !(dir.st_mode & S_ISVTX))
        r.fail(QStringLiteral("its folder %1 (mode %2) lets others replace the socket")
                   .arg(folder, octal(dir.st_mode)));
}

void KLumoConformDiscovery::serverName(KLumoConformContext &ctx, KLumoConformResult &r)
{
    const QString libraryPath = QDir::tempPath() + QLatin1Char('/') + Discovery::serverName();
    r.sent = QStringLiteral("a connection to %1, as the library makes it").arg(libraryPath);
    KLumoConformLink library;
    if (!library.connectTo(libraryPath, ctx.deadline())) {
        r.fail(QStringLiteral("nothing accepts connections under the library's name: %1")
                   .arg(library.error()));
        return;
    }
    QString refused;
    if (!Discovery::isSameUser(library.descriptor(), &refused)) {
        r.fail(QStringLiteral("the library refuses this server: %1").arg(refused));
        return;
    }
    r.notes << QStringLiteral("service pid %1").arg(library.peerPid());
    if (libraryPath == ctx.serverPath())
        return;
    KLumoConformLink tested;
    if (tested.connectTo(ctx.serverPath(), ctx.deadline()) && tested.peerPid() != library.peerPid())
        r.fail(QStringLiteral("the library's name reaches pid %1, but the service tested at %2 "
                              "is pid %3")
                   .arg(library.peerPid())
                   .arg(ctx.serverPath())
                   .arg(tested.peerPid()));
}

} // namespace ofx::lumo
