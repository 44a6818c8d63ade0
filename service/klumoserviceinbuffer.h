#pragma once

#include <thrift/transport/TBufferTransports.h>

namespace ofx::lumo {

/**
 * The server's request decoder reads each frame's body in place. Thrift's own
 * resetBuffer(buf, len) builds a buffer and a configuration for every call;
 * observe() only points the read window at the body. Server's thread.
 */
class KLumoServiceInBuffer : public apache::thrift::transport::TMemoryBuffer
{
public:
    using TMemoryBuffer::TMemoryBuffer;

    // Reads @p length bytes at @p data next; the bytes must outlive the reads.
    void observe(const char *data, uint32_t length)
    {
        readEnd(); // a fresh message: its own size budget
        auto *bytes = reinterpret_cast<uint8_t *>(const_cast<char *>(data));
        setReadBuffer(bytes, length);
        // A memory buffer reads up to where writing would start.
        setWriteBuffer(bytes + length, 0);
    }
};

} // namespace ofx::lumo
