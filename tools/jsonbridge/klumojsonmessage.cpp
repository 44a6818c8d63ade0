#include "klumojsonmessage.h"

#include "klumojsoncodec.h"

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

namespace ofx::lumo {

using namespace jsonschema;
using apache::thrift::TApplicationException;
using apache::thrift::protocol::TCompactProtocolT;
using apache::thrift::transport::TMemoryBuffer;
namespace pt = apache::thrift::protocol;

namespace {

std::string structName(const Method &m, const char *suffix)
{
    return std::string(services[m.service].name) + "_" + m.name + suffix;
}

// Reads @p bytes in place; they must outlive the buffer.
std::shared_ptr<TMemoryBuffer> observe(const std::string &bytes)
{
    return std::make_shared<TMemoryBuffer>(
        reinterpret_cast<uint8_t *>(const_cast<char *>(bytes.data())), uint32_t(bytes.size()),
        TMemoryBuffer::OBSERVE);
}

} // namespace

std::string KLumoJsonMessage::encodeCall(const Method &method, const KLumoJsonValue &args,
                                         int32_t seqId)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    proto.writeMessageBegin(method.name, method.oneway ? pt::T_ONEWAY : pt::T_CALL, seqId);
    KLumoJsonCodec::writeFields(&proto, structName(method, "_pargs").c_str(), method.firstArg,
                                method.argCount, args.isNull() ? KLumoJsonValue::object() : args,
                                {});
    proto.writeMessageEnd();
    return buf->getBufferAsString();
}

KLumoJsonMessage::Call KLumoJsonMessage::decodeCall(const std::string &serviceName,
                                                    const std::string &bytes, bool withArgs)
{
    auto buf = observe(bytes);
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    Call call;
    proto.readMessageBegin(call.name, call.type, call.seqId);
    call.method = KLumoJsonSchemaIndex::method(serviceName, call.name);
    if (call.method && withArgs) {
        call.args =
            KLumoJsonCodec::readFields(&proto, call.method->firstArg, call.method->argCount);
        proto.readMessageEnd();
    }
    return call;
}

std::string KLumoJsonMessage::encodeReply(const Method &method, const KLumoJsonValue &result,
                                          int32_t seqId)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    proto.writeMessageBegin(method.name, pt::T_REPLY, seqId);
    proto.writeStructBegin(structName(method, "_result").c_str());
    if (types[method.result].kind != Kind::Void) {
        proto.writeFieldBegin("success", KLumoJsonSchemaIndex::wireType(method.result), 0);
        KLumoJsonCodec::writeValue(&proto, method.result, result, "result");
        proto.writeFieldEnd();
    }
    proto.writeFieldStop();
    proto.writeStructEnd();
    proto.writeMessageEnd();
    return buf->getBufferAsString();
}

std::string KLumoJsonMessage::encodeException(const std::string &name, int32_t seqId, int type,
                                              const std::string &message)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    TApplicationException x(TApplicationException::TApplicationExceptionType(type), message);
    proto.writeMessageBegin(name, pt::T_EXCEPTION, seqId);
    x.write(&proto);
    proto.writeMessageEnd();
    return buf->getBufferAsString();
}

KLumoJsonMessage::Reply KLumoJsonMessage::decodeReply(const Method &method,
                                                      const std::string &bytes)
{
    auto buf = observe(bytes);
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    Reply reply;
    std::string name;
    pt::TMessageType type;
    int32_t seqId;
    proto.readMessageBegin(name, type, seqId);
    if (type == pt::T_EXCEPTION) {
        TApplicationException x;
        x.read(&proto);
        reply.exception = true;
        reply.exceptionType = int(x.getType());
        reply.message = x.what();
        return reply;
    }
    std::string sname;
    proto.readStructBegin(sname);
    for (;;) {
        pt::TType ft;
        int16_t id;
        proto.readFieldBegin(sname, ft, id);
        if (ft == pt::T_STOP)
            break;
        if (id == 0 && ft == KLumoJsonSchemaIndex::wireType(method.result)) {
            reply.value = KLumoJsonCodec::readValue(&proto, method.result);
            reply.hasValue = true;
        } else {
            proto.skip(ft);
        }
        proto.readFieldEnd();
    }
    proto.readStructEnd();
    proto.readMessageEnd();
    if (types[method.result].kind == Kind::Void)
        reply.hasValue = true;
    return reply;
}

const char *KLumoJsonMessage::typeName(int messageType)
{
    static const char *const names[] = {"unknown", "call", "reply", "exception", "oneway"};
    return messageType >= pt::T_CALL && messageType <= pt::T_ONEWAY ? names[messageType] : names[0];
}

} // namespace ofx::lumo
