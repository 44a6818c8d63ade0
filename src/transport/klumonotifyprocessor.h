#pragma once

#include <memory>

namespace apache::thrift::transport {
class TMemoryBuffer;
}

namespace ofx::lumo {

/**
 * What the channel hands notification frames (sequence id 0) to. The channel
 * holds it weakly: once the owner drops the processor, notifications are
 * dropped without a call. Called on the channel's thread.
 */
class KLumoNotifyProcessor
{
public:
    virtual ~KLumoNotifyProcessor() = default;
    // @p buffer holds exactly one frame body: a compact-protocol oneway call.
    virtual void onNotified(std::shared_ptr<apache::thrift::transport::TMemoryBuffer> buffer) = 0;
};

} // namespace ofx::lumo
