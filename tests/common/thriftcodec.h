#pragma once

#include "klumoservicefield.h"

#include <QByteArray>

#include <thrift/TBase.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

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

// A call's argument or result record, read and written field by field with the
// service SDK's field code: the tests need none of the compiler's per-method
// records, which the library does without (only its client's are generated).
struct FieldRecord
{
    ofx::lumo::KLumoServiceField *fields = nullptr;
    int count = 0;

    uint32_t read(apache::thrift::protocol::TProtocol *in)
    {
        ofx::lumo::KLumoServiceField::read(*in, fields, count);
        return 0;
    }
    uint32_t write(apache::thrift::protocol::TProtocol *out) const
    {
        ofx::lumo::KLumoServiceField::write(*out, fields, count);
        return 0;
    }
};

// The arguments of a generic "asynCall": the method named and its parameters.
struct AsynCall
{
    std::string method;
    std::vector<std::string> params;
};
inline AsynCall decodeAsynCall(const QByteArray &body)
{
    using Field = ofx::lumo::KLumoServiceField;
    AsynCall call;
    Field fields[] = {{1, Field::String, &call.method}, {2, Field::StringList, &call.params}};
    FieldRecord args {fields, 2};
    decodeMessage(body, args);
    return call;
}

// The reply to @p name whose result, field 0 ("success"), is @p value: a
// record or a string map.
template<class T> QByteArray encodeResult(const std::string &name, const T &value)
{
    using Field = ofx::lumo::KLumoServiceField;
    Field success {0, Field::Record, nullptr};
    if constexpr (std::is_base_of_v<apache::thrift::TBase, T>) {
        success.record = const_cast<T *>(&value);
    } else {
        static_assert(std::is_same_v<T, std::map<std::string, std::string>>);
        success.kind = Field::StringMap;
        success.value = const_cast<T *>(&value);
    }
    return encodeMessage(name, apache::thrift::protocol::T_REPLY, FieldRecord {&success, 1});
}

} // namespace lumotest
