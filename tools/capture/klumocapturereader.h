#pragma once

#include <LumoIpc/KLumoCapture>

#include <QByteArray>
#include <QString>
#include <QVector>

namespace ofx::lumo {

/**
 * Reads the library's traffic captures (pcapng) incrementally: bytes go in as
 * they are read from the file, packets come out once their block is whole. A
 * block cut short is waited for, so a file still being written can be tailed;
 * finish() tells a truncated file from a complete one. Blocks of unknown types
 * are skipped by their length; anything malformed ends the reading with an
 * error that names its byte offset in the file. Either byte order is read.
 *
 * libpcap would read the packets but not their direction flags nor the
 * interface descriptions, which say which host process wrote them.
 *
 * A plain value type; one thread at a time.
 */
class KLumoCaptureReader
{
public:
    enum class Next { Packet, NeedMore, Error };
    using Direction = capture::Direction;

    struct Interface
    {
        quint16 linkType = 0;
        QString name; // the local server name the host connected to
        QString description; // "<application> (pid <pid>)"
        quint64 unitsPerSecond = 1000000; // of the packets' timestamps
        qint64 offsetSeconds = 0;
    };
    struct Packet
    {
        int section = 0; // counts section headers; interface ids are per section
        int interfaceId = 0;
        qint64 timeNs = 0; // since the Unix epoch
        Direction direction = capture::UnknownDirection;
        quint32 originalLength = 0; // larger than data.size() when the packet was cut
        QByteArray data;
        qint64 offset = 0; // of its block in the file
    };

    void append(const QByteArray &bytes);
    // The next packet; NeedMore at the end of what was appended so far.
    Next next(Packet *packet);
    // Call at the end of the input: false (with error()) when a block is cut
    // short or no section header was seen.
    bool finish();

    QString error() const { return m_strError; }
    // Of the current section.
    const QVector<Interface> &interfaces() const { return m_lstInterfaces; }
    QString application() const { return m_strApplication; }

private:
    quint16 u16(int at) const;
    quint32 u32(int at) const;
    Next fail(qint64 offset, const QString &what);
    Next readSectionHeader(int length);
    Next readInterface(int length);
    Next readPacket(int length, Packet *packet);
    // Walks the options in [at, end) of the block at @p blockOffset; calls
    // @p take(code, valueAt, length) for each. False when one overruns the block.
    template<class F> bool readOptions(int at, int end, F take);

    QByteArray m_baBuffer;
    int m_nPos = 0; // start of the next block in m_baBuffer
    qint64 m_nBase = 0; // file offset of m_baBuffer's first byte
    bool m_bSwap = false;
    bool m_bFailed = false;
    int m_nSection = -1;
    QVector<Interface> m_lstInterfaces;
    QString m_strApplication;
    QString m_strError;
};

} // namespace ofx::lumo
