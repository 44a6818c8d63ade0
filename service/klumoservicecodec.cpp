#include "klumoservicecodec.h"

#include "klumoservicefield.h"

#include "transport/klumoframe.h"

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <memory>
#include <utility>

namespace ofx::lumo {

namespace {

using apache::thrift::protocol::TMessageType;
using apache::thrift::transport::TMemoryBuffer;

// One encoder per thread, its memory kept: a reply costs no allocation but
// the frame's own.
struct Encoder
{
    std::shared_ptr<TMemoryBuffer> buffer = std::make_shared<TMemoryBuffer>(4096);
    apache::thrift::protocol::TCompactProtocolT<TMemoryBuffer> out {buffer};

    // Room for the frame header, which finish() fills in once the length is known.
    apache::thrift::protocol::TCompactProtocolT<TMemoryBuffer> &begin()
    {
        static const char room[frame::HeaderSize] = {};
        buffer->resetBuffer();
        buffer->write(reinterpret_cast<const uint8_t *>(room), frame::HeaderSize);
        return out;
    }
    void finish(quint32 frameSeq, QByteArray &out)
    {
        uint8_t *bytes = nullptr;
        uint32_t length = 0;
        buffer->getBuffer(&bytes, &length);
        frame::writeHeader(reinterpret_cast<char *>(bytes), length - frame::HeaderSize, frameSeq);
        out.append(reinterpret_cast<const char *>(bytes), int(length));
        if (length > 1u << 20)
            buffer->resetBuffer(4096); // a huge message's memory is not kept for the small ones
    }
};

// This thread's encoder, made on first use. Plain pointers, so that the
// common case costs one thread-local lookup and no guard; the owner, touched
// once, destroys the encoder with the thread and marks it gone: a reply
// dropped while the thread ends (or the process exits) then encodes with an
// encoder of its own.
thread_local Encoder *t_pEncoder = nullptr;
thread_local bool t_bEncoderGone = false;

struct EncoderOwner
{
    std::unique_ptr<Encoder> encoder = std::make_unique<Encoder>();
    ~EncoderOwner()
    {
        t_pEncoder = nullptr;
        t_bEncoderGone = true;
    }
};

// Appends one message, written by @p write, to @p out in a frame under @p frameSeq.
template<typename Write> void encodeInto(QByteArray &out, quint32 frameSeq, Write &&write)
{
    Encoder *e = t_pEncoder;
    if (!e && !t_bEncoderGone) {
        thread_local EncoderOwner owner;
        e = t_pEncoder = owner.encoder.get();
    }
    if (!e) {
        Encoder late;
        write(late.begin());
        return late.finish(frameSeq, out);
    }
    write(e->begin());
    e->finish(frameSeq, out);
}

template<typename Write> QByteArray encode(quint32 frameSeq, Write &&write)
{
    QByteArray frame;
    encodeInto(frame, frameSeq, std::forward<Write>(write));
    return frame;
}

} // namespace

QByteArray KLumoServiceCodec::reply(quint32 frameSeq, const std::string &method, qint32 thriftSeq,
                                    Write write, const void *value)
{
    QByteArray frame;
    appendReply(frame, frameSeq, method, thriftSeq, write, value);
    return frame;
}

void KLumoServiceCodec::appendReply(QByteArray &frame, quint32 frameSeq, const std::string &method,
                                    qint32 thriftSeq, Write write, const void *value)
{
    encodeInto(frame, frameSeq, [&](auto &out) {
        out.writeMessageBegin(method, apache::thrift::protocol::T_REPLY, thriftSeq);
        out.writeStructBegin("result");
        if (write)
            write(value, &out);
        out.writeFieldStop();
        out.writeStructEnd();
        out.writeMessageEnd();
    });
}

QByteArray KLumoServiceCodec::exception(quint32 frameSeq, const std::string &method,
                                        qint32 thriftSeq, int type, const std::string &message)
{
    using apache::thrift::TApplicationException;
    return encode(frameSeq, [&](auto &out) {
        out.writeMessageBegin(method, apache::thrift::protocol::T_EXCEPTION, thriftSeq);
        TApplicationException(TApplicationException::TApplicationExceptionType(type), message)
            .write(&out);
        out.writeMessageEnd();
    });
}

QByteArray KLumoServiceCodec::oneway(const std::string &method, const KLumoServiceField *fields,
                                     int count)
{
    return encode(0, [&](auto &out) {
        out.writeMessageBegin(method, apache::thrift::protocol::T_ONEWAY, 0);
        KLumoServiceField::write(out, fields, count);
        out.writeMessageEnd();
    });
}

QByteArray KLumoServiceCodec::message(quint32 frameSeq, const QByteArray &message)
{
    return frame::make(frameSeq, message);
}

} // namespace ofx::lumo
