#include "framedpeer.h"

namespace lumotest {

using namespace ofx::lumo;

FramedPeer::FramedPeer(QObject *parent)
    : QObject(parent)
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

void FramedPeer::sendRaw(const QByteArray &bytes)
{
    if (m_client && m_client->write(bytes) == bytes.size())
        m_client->flush();
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
        Frame f {h.seqId, m_buffer.mid(pos + int(frame::HeaderSize), int(h.bodyLength()))};
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
