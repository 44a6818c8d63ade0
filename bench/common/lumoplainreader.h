#pragma once

// The baseline the channel's receive side is measured against.

#include "transport/klumoframe.h"

#include <QByteArray>
#include <QLocalSocket>

#include <cstdlib>

namespace lumobench {

// The obvious reader: appends what readyRead brings, cuts complete frames off
// the front and copies each body out. Connects on construction; reads on the
// thread that owns it.
class PlainReader
{
public:
    explicit PlainReader(const QString &serverName)
    {
        m_socket.connectToServer(serverName);
        if (!m_socket.waitForConnected(5000))
            std::abort();
        QObject::connect(&m_socket, &QLocalSocket::readyRead, [this] { read(); });
    }

    int frames() const { return m_frames; }

private:
    void read()
    {
        namespace frame = ofx::lumo::frame;
        m_pending += m_socket.readAll();
        int at = 0;
        while (m_pending.size() - at >= int(frame::HeaderSize)) {
            const frame::Header h = frame::readHeader(m_pending.constData() + at);
            if (m_pending.size() - at < int(h.total))
                break;
            const QByteArray body = m_pending.mid(at + int(frame::HeaderSize), int(h.bodyLength()));
            m_bodyBytes += quint64(body.size()); // the copy is used, so it stays
            at += int(h.total);
            ++m_frames;
        }
        m_pending.remove(0, at);
    }

    QLocalSocket m_socket;
    QByteArray m_pending;
    int m_frames = 0;
    quint64 m_bodyBytes = 0;
};

} // namespace lumobench
