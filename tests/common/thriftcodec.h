#pragma once

#include <QByteArray>

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <memory>
#include <string>

namespace lumotest {

using apache::thrift::protocol::TCompactProtocol;
using apache::thrift::protocol::TMessageType;
using apache::thrift::transport::TMemoryBuffer;

struct MessageHead
{
    std::string name;
    TMessageType type = apache::thrift::protocol::T_CALL;
    int32_t seqId = 0;
};

// One compact-protocol message: header, then the struct @p s.
template<class T> QByteArray encodeMessage(const std::string &name, TMessageType type, const T &s)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocol proto(buf);
    proto.writeMessageBegin(name, type, 0);
    s.write(&proto);
    proto.writeMessageEnd();
    return QByteArray::fromStdString(buf->getBufferAsString());
}

// Reads the header of @p body, then its struct into @p out.
template<class T> MessageHead decodeMessage(const QByteArray &body, T &out)
{
    auto buf = std::make_shared<TMemoryBuffer>(
        reinterpret_cast<uint8_t *>(const_cast<char *>(body.constData())), uint32_t(body.size()),
        TMemoryBuffer::OBSERVE);
    TCompactProtocol proto(buf);
    MessageHead head;
    proto.readMessageBegin(head.name, head.type, head.seqId);
    out.read(&proto);
    proto.readMessageEnd();
    return head;
}

// The header alone.
inline MessageHead peekMessage(const QByteArray &body)
{
    struct
    {
        uint32_t read(apache::thrift::protocol::TProtocol *) { return 0; }
    } none;
    return decodeMessage(body, none);
}

} // namespace lumotest
