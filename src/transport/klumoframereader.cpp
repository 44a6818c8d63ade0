#include "transport/klumoframereader.h"

#include "support/lumolog.h"
#include "transport/klumocapturewriter.h"

#include <thrift/transport/TBufferTransports.h>

#include <cstring>

namespace ofx::lumo {

using apache::thrift::transport::TMemoryBuffer;

KLumoFrameReader::KLumoFrameReader(Sink *sink, QObject *lifetime)
    : m_pSink(sink)
    , m_pLifetime(lifetime)
{ }

void KLumoFrameReader::reset()
{
    ++m_nGeneration;
    m_oBuffer.clear();
    m_oDirect = Direct();
}

QString KLumoFrameReader::logText(Violation which)
{
    return QStringLiteral("!!onRecvData ") + QString::number(int(which));
}

void KLumoFrameReader::violation(Violation which, const QString &detail)
{
    log::info(lcTransport(), logText(which) + detail);
    m_eLastViolation = which;
    m_pSink->closeConnection();
}

char *KLumoFrameReader::recvSpace(quint32 hint, quint32 *room)
{
    char *p = nullptr;
    if (m_oDirect.active) {
        const quint32 want = qMin(m_oDirect.remaining, qMax<quint32>(hint, 256 * 1024));
        try {
            p = reinterpret_cast<char *>(m_oDirect.body->getWritePtr(want));
            *room = want;
        } catch (const std::exception &) {
            *room = 0;
        }
    } else {
        p = m_oBuffer.reserve(hint, room);
    }
    if (!p) {
        log::warning(lcTransport(), QStringLiteral("KLumoIpcChannel::recvSpace out of memory"));
        m_pSink->closeConnection();
    }
    return p;
}

void KLumoFrameReader::onRecvCommitted(quint32 len)
{
    m_nReceived += len;
    m_nCopied += len; // the read into our memory is a copy too
    if (m_oDirect.active) {
        m_oDirect.body->wroteBytes(len);
        m_oDirect.remaining -= len;
        if (m_oDirect.remaining > 0)
            return;
        QPointer<QObject> alive(m_pLifetime);
        const quint64 gen = m_nGeneration;
        finishDirect();
        if (!alive || gen != m_nGeneration)
            return;
    } else {
        m_oBuffer.commit(len);
    }
    parse();
}

void KLumoFrameReader::append(const char *data, quint32 len)
{
    QPointer<QObject> alive(m_pLifetime);
    while (len > 0) {
        const quint64 gen = m_nGeneration;
        quint32 room = 0;
        char *dst = recvSpace(len, &room);
        if (!dst)
            return;
        const quint32 n = qMin<quint32>(room, len);
        std::memcpy(dst, data, n);
        onRecvCommitted(n);
        if (!alive || gen != m_nGeneration)
            return; // closed: the rest of this chunk belongs to a dead stream
        data += n;
        len -= n;
    }
}

void KLumoFrameReader::startDirect(const frame::Header &h)
{
    if (!m_pSink->awaitsReply(h.seqId))
        return; // left to the complete-frame checks
    const quint32 have = m_oBuffer.size() - frame::HeaderSize;
    std::unique_ptr<KLumoReplyBuffer> body = std::move(m_pSpare);
    try {
        // Grows with what arrives, not with what the header claims.
        if (body)
            body->resetBuffer();
        else
            body = std::make_unique<KLumoReplyBuffer>(qMax<quint32>(have, 4096));
        std::memcpy(body->getWritePtr(have), m_oBuffer.data() + frame::HeaderSize, have);
        body->wroteBytes(have);
    } catch (const std::exception &) {
        return; // no memory for it now: stage the frame instead
    }
    m_nCopied += have;
    m_oBuffer.clear();
    m_oDirect.active = true;
    m_oDirect.seqId = h.seqId;
    m_oDirect.body = std::move(body);
    m_oDirect.remaining = h.bodyLength() - have;
    m_oDirect.length = h.bodyLength();
    m_oDirect.header = h;
}

void KLumoFrameReader::finishDirect()
{
    const quint32 id = m_oDirect.seqId;
    const quint32 length = m_oDirect.length;
    // Held here: the sink may reset the reader, or destroy it, meanwhile.
    std::unique_ptr<KLumoReplyBuffer> body = std::move(m_oDirect.body);
    if (m_bCaptured && KLumoCaptureWriter::isActive()) {
        uint8_t *bytes = nullptr;
        uint32_t have = 0;
        body->getBuffer(&bytes, &have); // the whole body, nothing read yet
        KLumoCaptureWriter::record(capture::Inbound,
                                   reinterpret_cast<const char *>(&m_oDirect.header),
                                   reinterpret_cast<const char *>(bytes), qMin(have, length));
    }
    m_oDirect = Direct();
    QPointer<QObject> alive(m_pLifetime);
    const Violation broken = m_pSink->onStreamedReply(id, *body);
    if (!alive)
        return;
    // Its callback has returned: the memory, warm now, takes the next large
    // reply (unless one came while it ran and has memory of its own).
    if (!m_pSpare)
        m_pSpare = std::move(body);
    if (broken != Violation::None)
        violation(broken);
}

// Takes every complete frame from the staging buffer. Re-entrant calls (a
// callback that spins an event loop) only append bytes; the outer loop picks
// them up. Each frame is consumed before it is delivered, so whatever a
// callback does to the buffer leaves the offsets consistent.
void KLumoFrameReader::parse()
{
    if (m_bParsing)
        return;
    m_bParsing = true;
    QPointer<QObject> alive(m_pLifetime);
    const quint64 gen = m_nGeneration;
    // A buffer holding exactly one header's worth of bytes is not parsed: a
    // body-less frame waits for the next bytes to arrive.
    while (!m_oDirect.active && m_oBuffer.size() > frame::HeaderSize) {
        const quint32 avail = m_oBuffer.size();
        if (avail < frame::HeaderSize) {
            violation(Violation::ShortHeader);
            break;
        }
        const frame::Header h = frame::readHeader(m_oBuffer.data());
        if (!h.hasMagic()) {
            // The whole header, as text, shows what the peer really sent.
            violation(Violation::BadMagic,
                      QString::fromLatin1(m_oBuffer.data(), int(frame::HeaderSize)));
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
            if (h.seqId != 0 && h.bodyLength() >= m_nDirectThreshold)
                startDirect(h);
            break;
        }
        const quint32 len = h.bodyLength();
        if (len > avail - frame::HeaderSize) {
            violation(Violation::ShortBody);
            break;
        }
        if (m_bCaptured && KLumoCaptureWriter::isActive())
            KLumoCaptureWriter::record(capture::Inbound, m_oBuffer.data(), h.total);
        // Consuming leaves the bytes in place until the next read.
        const char *body = m_oBuffer.data() + frame::HeaderSize;
        m_oBuffer.consume(h.total);
        if (const Violation broken = m_pSink->onFrame(h.seqId, body, len);
            broken != Violation::None) {
            violation(broken);
            break;
        }
        if (!alive)
            return; // the channel went away inside a callback
        if (gen != m_nGeneration)
            break; // closed inside a callback: nothing buffered is ours any more
    }
    m_bParsing = false;
}

} // namespace ofx::lumo
