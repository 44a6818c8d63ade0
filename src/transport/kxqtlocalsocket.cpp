#include "transport/kxqtlocalsocket.h"

#include "transport/ikxlocalsocketrecvbuffer.h"

#include <QPointer>

#include <cerrno>
#include <sys/socket.h>

namespace {

// Nesting of our slots on this thread, so the destructor knows whether a
// signal of a QLocalSocket may still be being delivered further up the stack.
// Kept outside the object: a sink may delete the socket from inside a slot.
thread_local int t_slotDepth = 0;

struct SlotScope
{
    SlotScope() { ++t_slotDepth; }
    ~SlotScope() { --t_slotDepth; }
};

} // namespace

using namespace ofx::lumo;

KxQtLocalSocket::KxQtLocalSocket(IKxLocalSocketNotify *sink)
    : KxLocalSocketBase(sink)
    , m_pSocket(new QLocalSocket)
{
    // Qt reads ahead into a buffer of its own before it says readyRead; kept
    // small, most of a large reply goes from the kernel straight into the
    // frame reader's memory instead of being copied twice (readInto()).
    m_pSocket->setReadBufferSize(64 * 1024);
}

KxQtLocalSocket::~KxQtLocalSocket()
{
    setSink(nullptr);
    QObject::disconnect(m_pSocket, nullptr, this, nullptr);
    // Deleting a QLocalSocket from inside one of its own signals would pull the
    // object from under Qt's emitting code; defer it in that case too.
    if (m_pSocket->isOpen() || t_slotDepth > 0)
        m_pSocket->deleteLater();
    else
        delete m_pSocket;
}

void KxQtLocalSocket::connectToServer(const wchar_t *name, int openMode)
{
    m_pSocket->connectToServer(QString::fromWCharArray(name), QIODevice::OpenMode(openMode));
}

void KxQtLocalSocket::disconnectFromServer()
{
    m_pSocket->disconnectFromServer();
}

void KxQtLocalSocket::init()
{
    connect(m_pSocket, SIGNAL(readyRead()), this, SLOT(slotOnReadyRead()));
    connect(m_pSocket, SIGNAL(connected()), this, SLOT(slotOnConnected()));
    connect(m_pSocket, SIGNAL(disconnected()), this, SLOT(slotOnDisconnected()));
    // Qt 5.15 emits both error() and errorOccurred(); Qt 6 only the latter.
    connect(m_pSocket, SIGNAL(errorOccurred(QLocalSocket::LocalSocketError)), this,
            SLOT(slotOnError(QLocalSocket::LocalSocketError)));
    connect(m_pSocket, SIGNAL(stateChanged(QLocalSocket::LocalSocketState)), this,
            SLOT(slotOnStateChanged(QLocalSocket::LocalSocketState)));
}

void KxQtLocalSocket::close()
{
    m_pSocket->close();
    QObject::disconnect(m_pSocket, nullptr, nullptr, nullptr);
}

int KxQtLocalSocket::state()
{
    return int(m_pSocket->state());
}

bool KxQtLocalSocket::flush()
{
    return m_pSocket->flush();
}

qint64 KxQtLocalSocket::write(const char *data, unsigned int len)
{
    return m_pSocket->write(data, qint64(len));
}

bool KxQtLocalSocket::waitForBytesWritten()
{
    return m_pSocket->waitForBytesWritten(30000);
}

qintptr KxQtLocalSocket::socketDescriptor() const
{
    return m_pSocket->state() == QLocalSocket::ConnectedState ? m_pSocket->socketDescriptor() : -1;
}

void KxQtLocalSocket::slotOnReadyRead()
{
    SlotScope scope;
    if (auto *target = dynamic_cast<IKxLocalSocketRecvBuffer *>(sink())) {
        readInto(target);
        return;
    }
    const QByteArray all = m_pSocket->readAll();
    if (!all.isEmpty())
        onRecvData(all.constData(), unsigned(all.size()));
}

void KxQtLocalSocket::readInto(IKxLocalSocketRecvBuffer *target)
{
    QPointer<KxQtLocalSocket> self(this);
    // First what Qt has already buffered, in as few pieces as the sink allows.
    for (qint64 avail = m_pSocket->bytesAvailable(); avail > 0;
         avail = m_pSocket->bytesAvailable()) {
        quint32 room = 0;
        char *dst = target->recvSpace(quint32(qMin<qint64>(avail, 0x7fffffff)), &room);
        if (!dst || room == 0)
            return;
        const qint64 n = m_pSocket->read(dst, qMin<qint64>(avail, room));
        if (n <= 0)
            return;
        m_nReadThroughQt += quint64(n);
        target->onRecvCommitted(quint32(n));
        if (!self || sink() != dynamic_cast<IKxLocalSocketNotify *>(target))
            return;
    }
    if (!target->expectsMore() || m_pSocket->state() != QLocalSocket::ConnectedState)
        return;
    // Then whatever the kernel holds, without Qt's intermediate buffer. End of
    // stream and errors are left in the kernel for Qt's own notifier to report.
    // Bounded per notification so one huge reply cannot starve the event loop.
    const int fd = int(m_pSocket->socketDescriptor());
    constexpr quint32 Step = 1024 * 1024;
    constexpr quint64 Budget = 32 * 1024 * 1024;
    for (quint64 taken = 0; fd >= 0 && taken < Budget;) {
        quint32 room = 0;
        char *dst = target->recvSpace(Step, &room);
        if (!dst || room == 0)
            return;
        const ssize_t n = ::recv(fd, dst, qMin(room, Step), MSG_DONTWAIT);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        taken += quint64(n);
        target->onRecvCommitted(quint32(n));
        if (!self || m_pSocket->state() != QLocalSocket::ConnectedState
            || sink() != dynamic_cast<IKxLocalSocketNotify *>(target) || !target->expectsMore())
            return;
    }
}

void KxQtLocalSocket::slotOnError(QLocalSocket::LocalSocketError socketError)
{
    SlotScope scope;
    onError(int(socketError));
}

void KxQtLocalSocket::slotOnStateChanged(QLocalSocket::LocalSocketState socketState)
{
    SlotScope scope;
    onStateChanged(int(socketState));
}

void KxQtLocalSocket::slotOnConnected()
{
    SlotScope scope;
    onConnected();
}

void KxQtLocalSocket::slotOnDisconnected()
{
    SlotScope scope;
    onDisconnected();
}

#include "moc_kxqtlocalsocket.cpp"
