#pragma once

#include "transport/kxlocalsocketbase.h"

#include <QLocalSocket>
#include <QObject>

namespace ofx::lumo {
class IKxLocalSocketRecvBuffer;
}

// The Qt class of the socket layer answers qt_metacast by its plain names,
// "KxQtLocalSocket" and "KxLocalSocketBase", as hosts that look it up by name
// expect: moc names a class by its scope, so it lives outside the namespace
// and its base is spelled without one.
using KxLocalSocketBase = ofx::lumo::KxLocalSocketBase;

/**
 * IKxLocalSocket on a QLocalSocket. Owned by, and used only on, the thread that
 * created it (the owner's event-loop thread); its signals arrive there too, so
 * nothing here is locked.
 */
class KxQtLocalSocket : public QObject, public KxLocalSocketBase
{
    Q_OBJECT
public:
    explicit KxQtLocalSocket(ofx::lumo::IKxLocalSocketNotify *sink);
    ~KxQtLocalSocket() override;

    void connectToServer(const wchar_t *name, int openMode) override;
    void disconnectFromServer() override;
    void init() override;
    int state() override;
    bool flush() override;
    qint64 write(const char *data, unsigned int len) override;
    bool waitForBytesWritten() override;
    qintptr socketDescriptor() const override;

    // Bytes that went through Qt's socket buffer before reaching the sink
    // (measurement only).
    quint64 bytesReadThroughQt() const { return m_nReadThroughQt; }

public Q_SLOTS:
    void close() override;

private Q_SLOTS:
    void slotOnReadyRead();
    void slotOnError(QLocalSocket::LocalSocketError socketError);
    void slotOnStateChanged(QLocalSocket::LocalSocketState socketState);
    void slotOnConnected();
    void slotOnDisconnected();

private:
    void readInto(ofx::lumo::IKxLocalSocketRecvBuffer *target);

    QLocalSocket *m_pSocket;
    quint64 m_nReadThroughQt = 0;
};

namespace ofx::lumo {
using ::KxQtLocalSocket;
}
