#pragma once

#include "transport/klumonotifyprocessor.h"

namespace apache::thrift::async {
class TAsyncProtocolProcessor;
}

namespace ofx::lumo {

class KLumoNotifyServicesCobSvIf;

/**
 * Decodes notification frames with the generated processor of the
 * notification service (compact protocol) and calls the handler. Every
 * notification is oneway: whatever the processor writes is discarded.
 *
 * Runs on the channel's thread, synchronously inside its receive handler.
 */
class KLumoNotifyActualProcessor : public KLumoNotifyProcessor
{
public:
    explicit KLumoNotifyActualProcessor(std::shared_ptr<KLumoNotifyServicesCobSvIf> handler);
    ~KLumoNotifyActualProcessor() override;

    void onNotified(std::shared_ptr<apache::thrift::transport::TMemoryBuffer> buffer) override;

private:
    std::shared_ptr<apache::thrift::async::TAsyncProtocolProcessor> m_pProcessor;
};

} // namespace ofx::lumo
