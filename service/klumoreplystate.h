#pragma once

#include "klumoservicelink.h"
#include "lumoserviceglobal.h"

#include <QtGlobal>

#include <atomic>
#include <memory>

namespace ofx::lumo {

/**
 * One two-way call as its Reply sees it: where the answer goes and whether it
 * was given. Made by the server on its thread, then shared by whichever
 * Reply holds the call, on any thread: everything is constant after
 * construction but m_bAnswered, which is atomic.
 */
class KLumoReplyState
{
public:
    // @p method is the name in the interface's table, which lives as long as
    // the program.
    KLumoReplyState(std::shared_ptr<const KLumoServiceLink> link, quint32 frameSeq,
                    qint32 thriftSeq, const char *method)
        : m_pLink(std::move(link))
        , m_nFrameSeq(frameSeq)
        , m_nThriftSeq(thriftSeq)
        , m_pMethod(method)
    { }

    // True for the first caller only: it answers.
    bool claim() { return !m_bAnswered.exchange(true, std::memory_order_acq_rel); }
    bool isAnswered() const { return m_bAnswered.load(std::memory_order_acquire); }
    // Whether the client is still connected: once it left, nothing is sent for it.
    bool isClientOpen() const { return m_pLink->isOpen(); }
    LumoService::ClientId client() const { return m_pLink->m_nClient; }
    KLumoServiceOutbox &outbox() const { return *m_pLink->m_pOutbox; }

    const std::shared_ptr<const KLumoServiceLink> m_pLink; // its connection's
    const quint32 m_nFrameSeq;
    const qint32 m_nThriftSeq;
    const char *const m_pMethod;

private:
    std::atomic<bool> m_bAnswered {false};
};

} // namespace ofx::lumo
