#pragma once

#include "lumoserviceglobal.h"

#include <atomic>
#include <memory>

namespace ofx::lumo {

class KLumoServiceConnection;
class KLumoServiceOutbox;

/**
 * What a connection shares with the replies to its calls, which may live on
 * any thread and outlive it: where their answers go and whether the client
 * is still there. One per connection, so that a call's state takes a single
 * reference rather than one per part.
 *
 * Constant after construction but the open flag, which is atomic and which
 * only the connection clears (on the server's thread) before it goes.
 */
class KLumoServiceLink
{
public:
    KLumoServiceLink(std::shared_ptr<KLumoServiceOutbox> outbox, LumoService::ClientId client,
                     KLumoServiceConnection *connection)
        : m_pOutbox(std::move(outbox))
        , m_nClient(client)
        , m_pConnection(connection)
    { }

    bool isOpen() const { return m_bOpen.load(std::memory_order_acquire); }
    void setClosed() { m_bOpen.store(false, std::memory_order_release); }

    const std::shared_ptr<KLumoServiceOutbox> m_pOutbox;
    const LumoService::ClientId m_nClient;
    // For the server's thread, and only while open: a reply given there goes
    // straight to its connection, without looking the client up.
    KLumoServiceConnection *const m_pConnection;

private:
    std::atomic<bool> m_bOpen {true};
};

} // namespace ofx::lumo
