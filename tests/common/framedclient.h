#pragma once

#include "lumotestenv.h"

#include <LumoService/FrameSplitter>

#include <QLocalSocket>

namespace lumotest {

// A client of a service on a real local socket that speaks the frames itself:
// it sees what the library hides, a reply too many, one under another
// sequence id, bytes that are no frame. Owned by the test thread.
class FramedClient
{
public:
    using Frame = LumoService::FrameSplitter::Frame;

    explicit FramedClient(const QString &name) { m_oSocket.connectToServer(name); }

    bool isConnected() { return m_oSocket.waitForConnected(3000); }
    void send(const QByteArray &bytes)
    {
        m_oSocket.write(bytes);
        m_oSocket.flush();
    }
    // Reads until @p count frames arrived (false on a timeout or a broken stream).
    bool waitFrames(int count)
    {
        return QTest::qWaitFor([&] { return read() >= count || !m_oSplitter.error().isEmpty(); },
                               10000 * timeScale())
            && m_lstFrames.size() >= count;
    }
    bool waitClosed()
    {
        return QTest::qWaitFor([&] { return m_oSocket.state() == QLocalSocket::UnconnectedState; },
                               5000 * timeScale());
    }
    QList<Frame> &frames() { return m_lstFrames; }
    // Every byte read so far, frames or not.
    QByteArray received()
    {
        read();
        return m_baReceived;
    }

private:
    int read()
    {
        const QByteArray bytes = m_oSocket.readAll();
        m_baReceived += bytes;
        m_oSplitter.append(bytes);
        m_lstFrames += m_oSplitter.takeFrames();
        return m_lstFrames.size();
    }

    QLocalSocket m_oSocket;
    LumoService::FrameSplitter m_oSplitter;
    QList<Frame> m_lstFrames;
    QByteArray m_baReceived;
};

} // namespace lumotest
