#pragma once

#include "lumoserviceglobal.h"

#include <QByteArray>
#include <QString>

namespace ofx::lumo {
class KLumoServerCore;
}

namespace LumoService {

/**
 * For test doubles only: a way to break the protocol on purpose. A stand-in
 * for a faulty service (the emulator's --fault) installs one with
 * Server::setInterceptor() to see every frame read and written, and to
 * rewrite, repeat, redirect or drop frames, write bytes outside any frame,
 * stop reading, or skip the main lock. A service never installs one: without
 * it, nothing of the kind can happen.
 *
 * Every function runs on the server's thread.
 */
class LUMOSERVICE_EXPORT Interceptor
{
public:
    /** A frame about to be written. */
    struct Outgoing
    {
        /** The client it goes to; another client may be set instead. */
        ClientId client = 0;
        /** The whole frame, header included, as it will be written. */
        QByteArray frame;
        /** How many times it is written: 0 drops it, 2 repeats it. */
        int copies = 1;
    };

    Interceptor();
    virtual ~Interceptor();
    Interceptor(const Interceptor &) = delete;
    Interceptor &operator=(const Interceptor &) = delete;

    /** Each frame read from @p client, @p index its place among the frames one read brought (0 for
     * the first); false drops it unhandled. */
    virtual bool incoming(ClientId client, quint32 seqId, const QByteArray &body, int index);
    /** Each frame about to be written, answers and pushes alike. */
    virtual void outgoing(Outgoing &frame);
    /** @p client broke the wire (@p why) and is about to be closed. */
    virtual void malformed(ClientId client, const QString &why);
    /** Whether Server::listen() takes the main lock (a stand-in for a service that forgets it). */
    virtual bool takesMainLock() const;

protected:
    /** Writes @p bytes to @p client as they are, outside any frame (after what is queued). */
    void writeRaw(ClientId client, const QByteArray &bytes);
    /** Stops (or resumes) reading from every client: a service that stops reading. */
    void setReading(bool reading);

private:
    friend class ofx::lumo::KLumoServerCore;
    ofx::lumo::KLumoServerCore *m_pCore = nullptr;
};

} // namespace LumoService
