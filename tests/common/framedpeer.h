#pragma once

#include <LumoService/Frame>
#include <LumoService/FrameSplitter>

#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QTest>

#include <functional>

namespace lumotest {

// The service's side of the framing on a real local socket: accepts one client
// at a time, reassembles its frames (with the SDK's splitter, the library's
// frame reader), answers them or sends frames of its own.
class FramedPeer : public QObject
{
    Q_OBJECT
public:
    using Frame = LumoService::FrameSplitter::Frame;
    // Called for every frame; a non-empty return goes back under its sequence id.
    using Responder = std::function<QByteArray(const Frame &)>;

    explicit FramedPeer(QObject *parent = nullptr);
    ~FramedPeer() override;

    bool listen(const QString &name);
    QString fullServerName() const { return m_server.fullServerName(); }
    void setResponder(Responder responder) { m_responder = std::move(responder); }

    bool waitForClient(int timeoutMs = 5000)
    {
        return QTest::qWaitFor([this] { return !m_client.isNull(); }, timeoutMs);
    }
    bool waitForFrames(int count, int timeoutMs = 5000)
    {
        return QTest::qWaitFor([&] { return m_frames.size() >= count; }, timeoutMs);
    }
    QList<Frame> takeFrames() { return std::exchange(m_frames, {}); }
    int frameCount() const { return m_frames.size(); }

    void sendFrame(quint32 seqId, const QByteArray &body)
    {
        sendRaw(ofx::lumo::frame::make(seqId, body));
    }
    void sendRaw(const QByteArray &bytes);
    void disconnectClient()
    {
        if (m_client)
            m_client->disconnectFromServer();
    }
    QLocalSocket *client() const { return m_client; }

Q_SIGNALS:
    void clientConnected();
    void frameReceived(quint32 seqId, const QByteArray &body);

private:
    void onNewConnection();
    void onReadyRead();

    QLocalServer m_server;
    QPointer<QLocalSocket> m_client;
    LumoService::FrameSplitter m_splitter;
    QList<Frame> m_frames;
    Responder m_responder;
};

} // namespace lumotest
