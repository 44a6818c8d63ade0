#include "lumoserviceframesplitter.h"

#include "transport/klumoframereader.h"

#include <QObject>

namespace ofx::lumo {

// The library's frame reader, its frames collected instead of dispatched.
class KLumoFrameSplitterPrivate : private KLumoFrameReader::Sink
{
public:
    explicit KLumoFrameSplitterPrivate(quint32 maxFrame)
        : m_oReader(this, &m_oLifetime)
    {
        m_oReader.setMaxFrameSize(maxFrame);
        m_oReader.setCaptured(false); // a peer's frames are no host's traffic
    }

    bool awaitsReply(quint32) override { return false; }
    KLumoFrameReader::Violation onFrame(quint32 seqId, const char *body, quint32 length) override
    {
        m_lstFrames.append({seqId, QByteArray(body, int(length))});
        return KLumoFrameReader::Violation::None;
    }
    KLumoFrameReader::Violation onStreamedReply(quint32, KLumoReplyBuffer &) override
    {
        return KLumoFrameReader::Violation::None;
    }
    void closeConnection() override
    {
        m_strError = QStringLiteral("the stream breaks rule %1 of the wire (\"!!onRecvData %1\")")
                         .arg(int(m_oReader.lastViolation()));
        m_oReader.reset();
    }

    QObject m_oLifetime;
    KLumoFrameReader m_oReader;
    QList<LumoService::FrameSplitter::Frame> m_lstFrames;
    QString m_strError;
};

} // namespace ofx::lumo

namespace LumoService {

FrameSplitter::FrameSplitter(quint32 maxFrameSize)
    : d(std::make_unique<ofx::lumo::KLumoFrameSplitterPrivate>(maxFrameSize))
{ }

FrameSplitter::~FrameSplitter() = default;

bool FrameSplitter::append(const QByteArray &bytes)
{
    if (!d->m_strError.isEmpty())
        return false;
    d->m_oReader.append(bytes.constData(), quint32(bytes.size()));
    return d->m_strError.isEmpty();
}

QList<FrameSplitter::Frame> FrameSplitter::takeFrames()
{
    return std::exchange(d->m_lstFrames, {});
}

QString FrameSplitter::error() const
{
    return d->m_strError;
}

void FrameSplitter::reset()
{
    d->m_oReader.reset();
    d->m_lstFrames.clear();
    d->m_strError.clear();
}

} // namespace LumoService
