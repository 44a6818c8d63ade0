#pragma once

#include "lumoserviceglobal.h"

#include <QtGlobal>

#include <atomic>
#include <memory>
#include <string>

namespace ofx::lumo {

class KLumoServiceOutbox;

/**
 * One two-way call as its Reply sees it: where the answer goes and whether it
 * was given. Made by the server on its thread, then shared by whichever
 * Reply holds the call, on any thread: everything is constant after
 * construction but m_bAnswered, which is atomic.
 */
class KLumoReplyState
{
public:
    KLumoReplyState(std::shared_ptr<KLumoServiceOutbox> outbox, LumoService::ClientId client,
                    std::shared_ptr<const std::atomic<bool>> clientOpen, quint32 frameSeq,
                    qint32 thriftSeq, const char *method)
        : m_pOutbox(std::move(outbox))
        , m_nClient(client)
        , m_pClientOpen(std::move(clientOpen))
        , m_nFrameSeq(frameSeq)
        , m_nThriftSeq(thriftSeq)
        , m_strMethod(method)
    { }

    // True for the first caller only: it answers.
    bool claim() { return !m_bAnswered.exchange(true, std::memory_order_acq_rel); }
    bool isAnswered() const { return m_bAnswered.load(std::memory_order_acquire); }
    // Whether the client is still connected: once it left, nothing is sent for it.
    bool isClientOpen() const { return m_pClientOpen->load(std::memory_order_acquire); }

    const std::shared_ptr<KLumoServiceOutbox> m_pOutbox;
    const LumoService::ClientId m_nClient;
    const std::shared_ptr<const std::atomic<bool>> m_pClientOpen; // its connection's flag
    const quint32 m_nFrameSeq;
    const qint32 m_nThriftSeq;
    const std::string m_strMethod;

private:
    std::atomic<bool> m_bAnswered {false};
};

} // namespace ofx::lumo
