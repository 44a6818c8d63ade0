#pragma once

#include <thrift/transport/TBufferTransports.h>

namespace ofx::lumo {

/**
 * The body of a large reply, read from the socket into memory of its own while
 * it arrives and handed to its call's receive buffer only once it is complete,
 * in one step and without a copy. A generated client decodes every reply from
 * one receive buffer shared by all its calls, and a call that fails at once
 * empties that buffer: so no reply is ever written into it piecemeal.
 */
class KLumoReplyBuffer : public apache::thrift::transport::TMemoryBuffer
{
public:
    using TMemoryBuffer::TMemoryBuffer;

    // @p target gets the bytes held here; this buffer gets whatever target held.
    void moveInto(TMemoryBuffer &target) { swap(target); }
};

} // namespace ofx::lumo
