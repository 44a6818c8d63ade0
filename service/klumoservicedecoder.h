#pragma once

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

namespace ofx::lumo {

/**
 * The server's request decoder: the compact protocol over the frame's body,
 * called directly rather than through TProtocol's virtuals. A record's begin
 * and end need no name (Thrift's clear one each time), so the argument reader
 * takes them here. Server's thread.
 */
class KLumoServiceDecoder
    : public apache::thrift::protocol::TCompactProtocolT<apache::thrift::transport::TMemoryBuffer>
{
public:
    using TCompactProtocolT::TCompactProtocolT;

    // What readStructBegin() and readStructEnd() do, but for the name.
    void beginRecord()
    {
        lastField_.push(lastFieldId_);
        lastFieldId_ = 0;
    }
    void endRecord()
    {
        lastFieldId_ = lastField_.top();
        lastField_.pop();
    }
};

} // namespace ofx::lumo
