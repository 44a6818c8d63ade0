#pragma once

#include "klumoservicecodec.h"
#include "lumoserviceglobal.h"

#include "transport/klumoframereader.h"
#include "transport/klumoframewriter.h"

#include <QObject>

#include <memory>

class QSocketNotifier;

namespace ofx::lumo {

class KLumoReplyState;
class KLumoServiceLink;
class KLumoServerCore;

/**
 * One client of the server: its descriptor, read when the kernel has bytes
 * and split into frames by the library's frame reader; its answers written
 * by the library's frame writer, which queues what the kernel does not take.
 * Answers given while a read is being handled are gathered and written
 * together once the read is done: one send for a burst of pipelined calls.
 *
 * Server's thread only; deleted (later) once closed.
 */
class KLumoServiceConnection : public QObject, private KLumoFrameReader::Sink
{
    Q_OBJECT
public:
    KLumoServiceConnection(KLumoServerCore *core, LumoService::ClientId id, int fd,
                           quint32 maxFrame, QObject *parent);
    ~KLumoServiceConnection() override;

    LumoService::ClientId id() const { return m_nId; }
    // What the replies to its calls share with it.
    const std::shared_ptr<KLumoServiceLink> &link() const { return m_pLink; }
    bool isOpen() const { return m_nFd >= 0; }

    // Writes @p frame after everything written before it.
    void send(const QByteArray &frame);
    // Writes the reply to @p call, which @p write completes, encoded straight
    // after everything written before it.
    void sendReply(const KLumoReplyState &call, KLumoServiceCodec::Write write, const void *value);
    // Stops (or resumes) reading: what the client writes then waits in the kernel.
    void setReading(bool reading);
    // Ends the connection, logging @p why when it is not empty; the core
    // forgets the client. Safe inside any callback of this connection.
    void close(const QString &why);

    // Writes what waits in m_baOut now (before a deliberate close).
    void flush();

private:
    void onReadable();
    // Bytes were added to m_baOut: writes them now, at the read's end or at
    // the end of this pass of the event loop.
    void gathered();
    void keepForNextAnswers(QByteArray &&memory);

    // KLumoFrameReader::Sink
    bool awaitsReply(quint32) override { return false; }
    KLumoFrameReader::Violation onFrame(quint32 seqId, const char *body, quint32 length) override;
    KLumoFrameReader::Violation onStreamedReply(quint32, KLumoReplyBuffer &) override
    {
        return KLumoFrameReader::Violation::None;
    }
    void closeConnection() override;

    KLumoServerCore *const m_pCore;
    const LumoService::ClientId m_nId;
    int m_nFd;
    const std::shared_ptr<KLumoServiceLink> m_pLink; // closed (here) when the connection closes
    QSocketNotifier *m_pReadNotifier;
    KLumoFrameReader m_oReader;
    KLumoFrameWriter m_oWriter;
    bool m_bCorked = false; // a read is being handled: answers wait in m_baOut
    bool m_bFlushQueued = false; // a flush waits in the event loop
    int m_nFrameOfRead = 0; // the place of the next frame among those one read brought
    QByteArray m_baOut;
};

} // namespace ofx::lumo
