#include "klumoservicecodec.h"

#include "klumoservicefield.h"

#include "transport/klumoframe.h"

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

namespace ofx::lumo {

namespace {

using apache::thrift::protocol::TMessageType;
using apache::thrift::transport::TMemoryBuffer;

// Set once this thread's encoder is destroyed: a reply dropped while the
// thread ends (or the process exits) encodes with an encoder of its own.
thread_local bool t_encoderGone = false;

// One encoder per thread, its memory kept: a reply costs no allocation but
// the frame's own.
struct Encoder
{
    ~Encoder() { t_encoderGone = true; }

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
    QByteArray finish(quint32 frameSeq)
    {
        uint8_t *bytes = nullptr;
        uint32_t length = 0;
        buffer->getBuffer(&bytes, &length);
        frame::writeHeader(reinterpret_cast<char *>(bytes), length - frame::HeaderSize, frameSeq);
        QByteArray frame(reinterpret_cast<const char *>(bytes), int(length));
        if (length > 1u << 20)
            buffer->resetBuffer(4096); // a huge message's memory is not kept for the small ones
        return frame;
    }
};

// Writes one message with @p write into a frame under @p frameSeq.
template<typename Write> QByteArray encode(quint32 frameSeq, Write &&write)
{
    if (t_encoderGone) {
        Encoder late;
        write(late.begin());
        return late.finish(frameSeq);
    }
    thread_local Encoder e;
    write(e.begin());
    return e.finish(frameSeq);
}

} // namespace

QByteArray KLumoServiceCodec::reply(quint32 frameSeq, const std::string &method, qint32 thriftSeq,
                                    Write write, const void *value)
{
    return encode(frameSeq, [&](auto &out) {
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
