#pragma once

#include "klumojsonschema.h"
#include "klumojsonvalue.h"

#include <thrift/protocol/TProtocol.h>

#include <string>

namespace ofx::lumo {

/**
 * Whole compact-protocol messages of the two services in JSON terms: a call's
 * arguments are an object keyed by argument names, a reply is the result value
 * (or a Thrift application exception). Used by the service emulator, the tools
 * and the tests; the frame around a message is not its business.
 *
 * Stateless; any thread.
 */
class KLumoJsonMessage
{
public:
    struct Call
    {
        std::string name;
        apache::thrift::protocol::TMessageType type = apache::thrift::protocol::T_CALL;
        int32_t seqId = 0;
        const jsonschema::Method *method = nullptr; // null: not a method of the service
        KLumoJsonValue args;
    };
    struct Reply
    {
        bool exception = false;
        int exceptionType = 0;
        std::string message; // exception text
        bool hasValue = false; // false: the result record lacked its value
        KLumoJsonValue value;
    };

    // T_CALL, or T_ONEWAY for oneway methods. Throws KLumoJsonError when the
    // arguments do not fit.
    static std::string encodeCall(const jsonschema::Method &method, const KLumoJsonValue &args,
                                  int32_t seqId = 0);
    // Reads the message header and, for a known method and unless
    // @p withArgs is false, its arguments. Throws the protocol's exceptions on
    // malformed bytes.
    static Call decodeCall(const std::string &serviceName, const std::string &bytes,
                           bool withArgs = true);

    static std::string encodeReply(const jsonschema::Method &method, const KLumoJsonValue &result,
                                   int32_t seqId = 0);
    static std::string encodeException(const std::string &name, int32_t seqId, int type,
                                       const std::string &message);
    static Reply decodeReply(const jsonschema::Method &method, const std::string &bytes);

    // "call", "reply", "exception", "oneway"; "unknown" for anything else.
    static const char *typeName(int messageType);
};

} // namespace ofx::lumo
