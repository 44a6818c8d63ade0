#include "notify/klumonotifyactualprocessor.h"

#include "transport/klumoframe.h"

#include "support/lumolog.h"

#include "KLumoNotifyServices.h"

#include <thrift/async/TAsyncProtocolProcessor.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

namespace ofx::lumo {

using apache::thrift::async::TAsyncProtocolProcessor;
using apache::thrift::protocol::TCompactProtocolFactoryT;
using apache::thrift::transport::TMemoryBuffer;
using apache::thrift::transport::TTransport;

KLumoNotifyActualProcessor::KLumoNotifyActualProcessor(
    std::shared_ptr<KLumoNotifyServicesCobSvIf> handler)
    : m_pProcessor(std::make_shared<TAsyncProtocolProcessor>(
        std::make_shared<KLumoNotifyServicesAsyncProcessor>(std::move(handler)),
        std::make_shared<TCompactProtocolFactoryT<TTransport>>(frame::MaxStringBytes,
                                                               frame::MaxContainerElements)))
{ }

KLumoNotifyActualProcessor::~KLumoNotifyActualProcessor() = default;

void KLumoNotifyActualProcessor::onNotified(std::shared_ptr<TMemoryBuffer> buffer)
{
    auto output = std::make_shared<TMemoryBuffer>(1024);
    try {
        m_pProcessor->process(
            [output](bool healthy) {
                // Oneway methods never write a reply; anything in the output is the
                // exception the processor wrote for a method it does not know.
                const bool ok = healthy && output->available_read() == 0;
                log::info(lcNotify(),
                          ok ? QStringLiteral("On Notified succeeded")
                             : QStringLiteral("On Notified failed"));
            },
            std::move(buffer), output);
    } catch (const std::exception &e) {
        log::warning(lcNotify(),
                     QStringLiteral("KLumoNotifyActualProcessor: ") + QString::fromUtf8(e.what()));
    }
    // The output buffer goes with this scope: the service never gets an answer.
}

} // namespace ofx::lumo
