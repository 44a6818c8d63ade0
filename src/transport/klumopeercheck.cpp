#include "transport/klumopeercheck.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace ofx::lumo {

bool samePeerUid(qintptr fd, QString *reason)
{
    if (fd < 0) {
        *reason = QStringLiteral("no descriptor to check");
        return false;
    }
    struct ucred cred = {};
    socklen_t len = sizeof cred;
    if (::getsockopt(int(fd), SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0) {
        *reason =
            QStringLiteral("SO_PEERCRED failed: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        return false;
    }
    if (cred.uid != ::geteuid()) {
        *reason = QStringLiteral("peer pid %1 runs as uid %2, not %3")
                      .arg(cred.pid)
                      .arg(cred.uid)
                      .arg(::geteuid());
        return false;
    }
    return true;
}

} // namespace ofx::lumo
