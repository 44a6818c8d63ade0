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
        m_splitter.reset();
        connect(s, &QLocalSocket::readyRead, this, &FramedPeer::onReadyRead);
        Q_EMIT clientConnected();
    }
}

void FramedPeer::onReadyRead()
{
    auto *s = qobject_cast<QLocalSocket *>(sender());
    if (s != m_client)
        return;
    if (!m_splitter.append(s->readAll())) {
        qWarning("FramedPeer: malformed frame from client: %s", qPrintable(m_splitter.error()));
        s->abort();
        return;
    }
    for (const Frame &f : m_splitter.takeFrames()) {
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
}

} // namespace lumotest

#include "moc_framedpeer.cpp"
