#include "framedpeer.h"

#include "transport/klumoframe.h"

#include <QElapsedTimer>
#include <QTest>

namespace lumotest {

using namespace ofx::lumo;

FramedPeer::FramedPeer(QObject *parent) : QObject(parent)
{
    connect(&m_server, &QLocalServer::newConnection, this, &FramedPeer::onNewConnection);
}

FramedPeer::~FramedPeer()
{
    if (m_client)
        m_client->abort();
}

bool FramedPeer::listen(const QString &name)
{
    QLocalServer::removeServer(name);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    return m_server.listen(name);
}

QString FramedPeer::fullServerName() const
{
    return m_server.fullServerName();
}

bool FramedPeer::waitForClient(int timeoutMs)
{
    QElapsedTimer t;
    t.start();
    while (!m_client && t.elapsed() < timeoutMs)
        QTest::qWait(5);
    return m_client;
}

bool FramedPeer::waitForFrames(int count, int timeoutMs)
{
    QElapsedTimer t;
    t.start();
    while (m_frames.size() < count && t.elapsed() < timeoutMs)
        QTest::qWait(2);
    return m_frames.size() >= count;
}

QList<FramedPeer::Frame> FramedPeer::takeFrames()
{
    QList<Frame> out;
    out.swap(m_frames);
    return out;
}

void FramedPeer::sendFrame(quint32 seqId, const QByteArray &body)
{
    sendRaw(frame::make(seqId, body));
}

void FramedPeer::sendRaw(const QByteArray &bytes)
{
    if (!m_client)
        return;
    m_client->write(bytes);
    m_client->flush();
}

void FramedPeer::disconnectClient()
{
    if (m_client)
        m_client->disconnectFromServer();
}

void FramedPeer::onNewConnection()
{
    while (QLocalSocket *s = m_server.nextPendingConnection()) {
        if (m_client)
            m_client->deleteLater();
        m_client = s;
        m_buffer.clear();
        connect(s, &QLocalSocket::readyRead, this, &FramedPeer::onReadyRead);
        Q_EMIT clientConnected();
    }
}

void FramedPeer::onReadyRead()
{
    auto *s = qobject_cast<QLocalSocket *>(sender());
    if (s != m_client)
        return;
    m_buffer += s->readAll();
    int pos = 0;
    while (m_buffer.size() - pos >= int(frame::HeaderSize)) {
        const frame::Header h = frame::readHeader(m_buffer.constData() + pos);
        if (!h.hasMagic() || h.total < frame::HeaderSize) {
            qWarning("FramedPeer: malformed frame from client");
            s->abort();
            m_buffer.clear();
            return;
        }
        if (m_buffer.size() - pos < int(h.total))
            break;
        Frame f{h.seqId, m_buffer.mid(pos + int(frame::HeaderSize), int(h.bodyLength()))};
        pos += int(h.total);
        m_frames.append(f);
        Q_EMIT frameReceived(f.seqId, f.body);
        if (m_responder) {
            const QByteArray reply = m_responder(f);
            if (!reply.isEmpty())
                sendFrame(f.seqId, reply);
        }
        if (s != m_client) // the responder may have disconnected us
            return;
    }
    m_buffer.remove(0, pos);
}

} // namespace lumotest
