#include "transport/klumoframereader.h"

#include "support/lumolog.h"
#include "transport/klumocapturewriter.h"

#include <thrift/transport/TBufferTransports.h>

#include <cstring>

namespace ofx::lumo {

using apache::thrift::transport::TMemoryBuffer;

KLumoFrameReader::KLumoFrameReader(Sink *sink, QObject *lifetime)
    : m_sink(sink)
    , m_lifetime(lifetime)
{ }

void KLumoFrameReader::reset()
{
    ++m_generation;
    m_buffer.clear();
    m_direct = Direct();
}

QString KLumoFrameReader::logText(Violation which)
{
    return QStringLiteral("!!onRecvData ") + QString::number(int(which));
}

void KLumoFrameReader::violation(Violation which, const QString &detail)
{
    log::info(lcTransport(), logText(which) + detail);
    m_eLastViolation = which;
    m_sink->closeConnection();
}

char *KLumoFrameReader::recvSpace(quint32 hint, quint32 *room)
{
    char *p = nullptr;
    if (m_direct.active) {
        const quint32 want = qMin(m_direct.remaining, qMax<quint32>(hint, 256 * 1024));
        try {
            p = reinterpret_cast<char *>(m_direct.body->getWritePtr(want));
            *room = want;
        } catch (const std::exception &) {
            *room = 0;
        }
    } else {
        p = m_buffer.reserve(hint, room);
    }
    if (!p) {
        log::warning(lcTransport(), QStringLiteral("KLumoIpcChannel::recvSpace out of memory"));
        m_sink->closeConnection();
    }
    return p;
}

void KLumoFrameReader::onRecvCommitted(quint32 len)
{
    m_received += len;
    m_copied += len; // the read into our memory is a copy too
    if (m_direct.active) {
        m_direct.body->wroteBytes(len);
        m_direct.remaining -= len;
        if (m_direct.remaining > 0)
            return;
        QPointer<QObject> alive(m_lifetime);
        const quint64 gen = m_generation;
        finishDirect();
        if (!alive || gen != m_generation)
            return;
    } else {
        m_buffer.commit(len);
    }
    parse();
}

void KLumoFrameReader::append(const char *data, quint32 len)
{
    QPointer<QObject> alive(m_lifetime);
    while (len > 0) {
        const quint64 gen = m_generation;
        quint32 room = 0;
        char *dst = recvSpace(len, &room);
        if (!dst)
            return;
        const quint32 n = qMin<quint32>(room, len);
        std::memcpy(dst, data, n);
        onRecvCommitted(n);
        if (!alive || gen != m_generation)
            return; // closed: the rest of this chunk belongs to a dead stream
        data += n;
        len -= n;
    }
}

void KLumoFrameReader::startDirect(const frame::Header &h)
{
    if (!m_sink->awaitsReply(h.seqId))
        return; // left to the complete-frame checks
    const quint32 have = m_buffer.size() - frame::HeaderSize;
    std::unique_ptr<KLumoReplyBuffer> body = std::move(m_spare);
    try {
        // Grows with what arrives, not with what the header claims.
        if (body)
            body->resetBuffer();
        else
            body = std::make_unique<KLumoReplyBuffer>(qMax<quint32>(have, 4096));
        std::memcpy(body->getWritePtr(have), m_buffer.data() + frame::HeaderSize, have);
        body->wroteBytes(have);
    } catch (const std::exception &) {
        return; // no memory for it now: stage the frame instead
    }
    m_copied += have;
    m_buffer.clear();
    m_direct.active = true;
    m_direct.seqId = h.seqId;
    m_direct.body = std::move(body);
    m_direct.remaining = h.bodyLength() - have;
    m_direct.length = h.bodyLength();
    m_direct.header = h;
}

void KLumoFrameReader::finishDirect()
{
    const quint32 id = m_direct.seqId;
    const quint32 length = m_direct.length;
    // Held here: the sink may reset the reader, or destroy it, meanwhile.
    std::unique_ptr<KLumoReplyBuffer> body = std::move(m_direct.body);
    if (m_bCaptured && KLumoCaptureWriter::isActive()) {
        uint8_t *bytes = nullptr;
        uint32_t have = 0;
        body->getBuffer(&bytes, &have); // the whole body, nothing read yet
        KLumoCaptureWriter::record(capture::Inbound,
                                   reinterpret_cast<const char *>(&m_direct.header),
                                   reinterpret_cast<const char *>(bytes), qMin(have, length));
    }
    m_direct = Direct();
    QPointer<QObject> alive(m_lifetime);
    const Violation broken = m_sink->onStreamedReply(id, *body);
    if (!alive)
        return;
    // Its callback has returned: the memory, warm now, takes the next large
    // reply (unless one came while it ran and has memory of its own).
    if (!m_spare)
        m_spare = std::move(body);
    if (broken != Violation::None)
        violation(broken);
}

// Takes every complete frame from the staging buffer. Re-entrant calls (a
// callback that spins an event loop) only append bytes; the outer loop picks
// them up. Each frame is consumed before it is delivered, so whatever a
// callback does to the buffer leaves the offsets consistent.
void KLumoFrameReader::parse()
{
    if (m_parsing)
        return;
    m_parsing = true;
    QPointer<QObject> alive(m_lifetime);
    const quint64 gen = m_generation;
    // A buffer holding exactly one header's worth of bytes is not parsed: a
    // body-less frame waits for the next bytes to arrive.
    while (!m_direct.active && m_buffer.size() > frame::HeaderSize) {
        const quint32 avail = m_buffer.size();
        if (avail < frame::HeaderSize) {
            violation(Violation::ShortHeader);
            break;
        }
        const frame::Header h = frame::readHeader(m_buffer.data());
        if (!h.hasMagic()) {
            // The whole header, as text, shows what the peer really sent.
            violation(Violation::BadMagic,
                      QString::fromLatin1(m_buffer.data(), int(frame::HeaderSize)));
            break;
        }
        if (h.total < frame::HeaderSize) {
            violation(Violation::ShortTotal);
            break;
        }
        if (h.total > m_nMaxFrame) {
            violation(Violation::Oversized);
            break;
        }
        if (h.total > avail) {
            if (h.seqId != 0 && h.bodyLength() >= m_directThreshold)
                startDirect(h);
            break;
        }
        const quint32 len = h.bodyLength();
        if (len > avail - frame::HeaderSize) {
            violation(Violation::ShortBody);
            break;
        }
        if (m_bCaptured && KLumoCaptureWriter::isActive())
            KLumoCaptureWriter::record(capture::Inbound, m_buffer.data(), h.total);
        // Consuming leaves the bytes in place until the next read.
        const char *body = m_buffer.data() + frame::HeaderSize;
        m_buffer.consume(h.total);
        if (const Violation broken = m_sink->onFrame(h.seqId, body, len);
            broken != Violation::None) {
            violation(broken);
            break;
        }
        if (!alive)
            return; // the channel went away inside a callback
        if (gen != m_generation)
            break; // closed inside a callback: nothing buffered is ours any more
    }
    m_parsing = false;
}

} // namespace ofx::lumo
