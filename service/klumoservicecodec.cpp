#include "klumoservicecodec.h"

#include "klumoservicefield.h"

#include "transport/klumoframe.h"

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <cstring>
#include <memory>
#include <utility>

namespace ofx::lumo {

namespace {

using apache::thrift::protocol::TMessageType;
using apache::thrift::transport::TMemoryBuffer;

// The compact protocol's message header: its id, then the version in the
// low five bits of a byte whose top three are the message's type.
constexpr uint8_t ProtocolId = 0x82;
constexpr uint8_t Version = 1;
constexpr uint8_t VersionMask = 0x1f;
constexpr int TypeShift = 5;

uint8_t *putVarint(uint8_t *at, uint32_t value)
{
    while (value >= 0x80) {
        *at++ = uint8_t(value | 0x80);
        value >>= 7;
    }
    *at++ = uint8_t(value);
    return at;
}

int varintSize(uint32_t value)
{
    int size = 1;
    while (value >= 0x80) {
        value >>= 7;
        ++size;
    }
    return size;
}

// The message header: the protocol writes it a byte or a varint at a time,
// and a reply is little more than it.
int envelopeSize(qint32 seq, std::string_view name)
{
    return 2 + varintSize(uint32_t(seq)) + varintSize(uint32_t(name.size())) + int(name.size());
}

uint8_t *putEnvelope(uint8_t *at, TMessageType type, qint32 seq, std::string_view name)
{
    *at++ = ProtocolId;
    *at++ = uint8_t(Version | (type << TypeShift));
    at = putVarint(at, uint32_t(seq));
    at = putVarint(at, uint32_t(name.size()));
    std::memcpy(at, name.data(), name.size());
    return at + name.size();
}

uint8_t *putText(uint8_t *at, const std::string &text)
{
    at = putVarint(at, uint32_t(text.size()));
    std::memcpy(at, text.data(), text.size());
    return at + text.size();
}

// The compact protocol's codes of the types a string map's reply holds.
constexpr uint8_t CompactBinary = 0x08;
constexpr uint8_t CompactMap = 0x0b;

// Appends the reply to @p method whose result is the string map @p map, as
// the protocol writes it: the message header, the field header of "success"
// (field 0: its type, then the id as a varint), the map (its size, then the
// key and value types in one byte, then the texts), the record's stop.
// False, having appended nothing, for a map beyond the frame's limits.
bool appendStringMapReply(QByteArray &out, quint32 frameSeq, std::string_view method,
                          qint32 thriftSeq, const std::map<std::string, std::string> &map)
{
    quint64 size = envelopeSize(thriftSeq, method) + 2 + varintSize(uint32_t(map.size()))
        + (map.empty() ? 0 : 1) + 1;
    for (const auto &[key, text] : map)
        size += varintSize(uint32_t(key.size())) + key.size() + varintSize(uint32_t(text.size()))
            + text.size();
    if (size > quint64(frame::MaxStringBytes))
        return false;
    const int at0 = out.size();
    out.resize(at0 + int(frame::HeaderSize + size));
    auto *begin = reinterpret_cast<uint8_t *>(out.data() + at0);
    frame::writeHeader(reinterpret_cast<char *>(begin), quint32(size), frameSeq);
    uint8_t *at = putEnvelope(begin + frame::HeaderSize, apache::thrift::protocol::T_REPLY,
                              thriftSeq, method);
    *at++ = CompactMap;
    *at++ = 0; // field id 0, zigzag
    at = putVarint(at, uint32_t(map.size()));
    if (!map.empty())
        *at++ = CompactBinary << 4 | CompactBinary;
    for (const auto &[key, text] : map) {
        at = putText(at, key);
        at = putText(at, text);
    }
    *at++ = 0; // the record's stop
    Q_ASSERT(at == begin + frame::HeaderSize + size);
    return true;
}

// Reads a varint of at most @p maxBytes bytes from [at, end); null when it
// is longer, ends early or does not fit 32 bits.
const uint8_t *getVarint(const uint8_t *at, const uint8_t *end, int maxBytes, uint32_t *value)
{
    uint32_t result = 0;
    for (int i = 0; i < maxBytes && at < end; ++i) {
        const uint8_t byte = *at++;
        if (i == 4 && byte > 0x0f)
            return nullptr;
        result |= uint32_t(byte & 0x7f) << (7 * i);
        if (!(byte & 0x80)) {
            *value = result;
            return at;
        }
    }
    return nullptr;
}

// One encoder per thread, its memory kept: a reply costs no allocation but
// the frame's own.
struct Encoder
{
    std::shared_ptr<TMemoryBuffer> buffer = std::make_shared<TMemoryBuffer>(4096);
    apache::thrift::protocol::TCompactProtocolT<TMemoryBuffer> out {buffer};

    // Room for the frame header, which finish() fills in once the length is
    // known, then the message header, written in place at once.
    apache::thrift::protocol::TCompactProtocolT<TMemoryBuffer> &begin(TMessageType type, qint32 seq,
                                                                      std::string_view name)
    {
        buffer->resetBuffer();
        const auto size = uint32_t(frame::HeaderSize + envelopeSize(seq, name));
        putEnvelope(buffer->getWritePtr(size) + frame::HeaderSize, type, seq, name);
        buffer->wroteBytes(size);
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
        write(late);
        return late.finish(frameSeq, out);
    }
    write(*e);
    e->finish(frameSeq, out);
}

template<typename Write> QByteArray encode(quint32 frameSeq, Write &&write)
{
    QByteArray frame;
    encodeInto(frame, frameSeq, std::forward<Write>(write));
    return frame;
}

} // namespace

bool KLumoServiceCodec::readEnvelope(const char *body, quint32 length, Envelope *out)
{
    const auto *at = reinterpret_cast<const uint8_t *>(body);
    const uint8_t *const end = at + length;
    if (length < 4 || at[0] != ProtocolId || (at[1] & VersionMask) != Version)
        return false;
    out->type = at[1] >> TypeShift;
    uint32_t seq = 0;
    uint32_t nameLength = 0;
    // A name's length in two bytes at most (16 KiB): a longer one is the protocol's to judge.
    at = getVarint(at + 2, end, 5, &seq);
    if (!at || !(at = getVarint(at, end, 2, &nameLength)) || nameLength > uint32_t(end - at))
        return false;
    out->thriftSeq = qint32(seq);
    out->method = std::string_view(reinterpret_cast<const char *>(at), nameLength);
    out->size = quint32(at + nameLength - reinterpret_cast<const uint8_t *>(body));
    return true;
}

QByteArray KLumoServiceCodec::reply(quint32 frameSeq, std::string_view method, qint32 thriftSeq,
                                    Write write, const void *value)
{
    QByteArray frame;
    appendReply(frame, frameSeq, method, thriftSeq, write, value);
    return frame;
}

void KLumoServiceCodec::writeStringMap(const void *value, apache::thrift::protocol::TProtocol *out)
{
    using namespace apache::thrift::protocol;
    const auto &map = *static_cast<const std::map<std::string, std::string> *>(value);
    out->writeFieldBegin("success", T_MAP, 0);
    out->writeMapBegin(T_STRING, T_STRING, uint32_t(map.size()));
    for (const auto &[key, text] : map) {
        out->writeString(key);
        out->writeString(text);
    }
    out->writeMapEnd();
    out->writeFieldEnd();
}

void KLumoServiceCodec::appendReply(QByteArray &frame, quint32 frameSeq, std::string_view method,
                                    qint32 thriftSeq, Write write, const void *value)
{
    if (write == &writeStringMap
        && appendStringMapReply(frame, frameSeq, method, thriftSeq,
                                *static_cast<const std::map<std::string, std::string> *>(value)))
        return;
    encodeInto(frame, frameSeq, [&](Encoder &e) {
        auto &out = e.begin(apache::thrift::protocol::T_REPLY, thriftSeq, method);
        out.writeStructBegin("result");
        if (write)
            write(value, &out);
        out.writeFieldStop();
        out.writeStructEnd();
        out.writeMessageEnd();
    });
}

QByteArray KLumoServiceCodec::exception(quint32 frameSeq, std::string_view method, qint32 thriftSeq,
                                        int type, const std::string &message)
{
    using apache::thrift::TApplicationException;
    return encode(frameSeq, [&](Encoder &e) {
        auto &out = e.begin(apache::thrift::protocol::T_EXCEPTION, thriftSeq, method);
        TApplicationException(TApplicationException::TApplicationExceptionType(type), message)
            .write(&out);
        out.writeMessageEnd();
    });
}

QByteArray KLumoServiceCodec::oneway(const std::string &method, const KLumoServiceField *fields,
                                     int count)
{
    return encode(0, [&](Encoder &e) {
        auto &out = e.begin(apache::thrift::protocol::T_ONEWAY, 0, method);
        KLumoServiceField::write(out, fields, count);
        out.writeMessageEnd();
    });
}

QByteArray KLumoServiceCodec::message(quint32 frameSeq, const QByteArray &message)
{
    return frame::make(frameSeq, message);
}

} // namespace ofx::lumo
