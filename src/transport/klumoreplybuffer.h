#pragma once

#include <thrift/transport/TBufferTransports.h>

namespace ofx::lumo {

/**
 * The body of a large reply, read from the socket into memory of its own while
 * it arrives and shown to its call's receive buffer only once it is complete,
 * without a copy. A generated client decodes every reply from one receive
 * buffer shared by all its calls, and a call that fails at once empties that
 * buffer: so no reply is ever written into it piecemeal.
 *
 * The reader keeps the memory and fills it with the next large reply once the
 * callback that decoded this one has returned: fresh memory would cost a page
 * fault per 4 KiB, more than reading the bytes.
 */
class KLumoReplyBuffer : public apache::thrift::transport::TMemoryBuffer
{
public:
    using TMemoryBuffer::TMemoryBuffer;

    // @p target reads the bytes held here, in place. Whatever reads it next
    // refills or empties it first (the channel does), so it never reads them
    // after this buffer is filled again.
    void lendTo(TMemoryBuffer &target)
    {
        uint8_t *bytes = nullptr;
        uint32_t len = 0;
        getBuffer(&bytes, &len);
        target.resetBuffer(bytes, len, OBSERVE);
    }
};

} // namespace ofx::lumo
