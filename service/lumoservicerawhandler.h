#pragma once

#include "lumoservicereply.h"

#include <QByteArray>

#include <string>

namespace LumoService {

/** One request as a RawHandler receives it. */
struct RawCall
{
    /** The connection it came from. */
    ClientId client = 0;
    /** The frame's sequence id, under which the answer goes out. */
    quint32 seqId = 0;
    /** The method, as named in the message and known to the interface. */
    std::string method;
    /** Whether the interface declares the method one-way (its Reply answers nothing). */
    bool oneway = false;
    /** The Thrift message's own sequence id, which a reply message repeats. */
    qint32 thriftSeqId = 0;
    /** The whole message as received (compact protocol), its arguments undecoded. */
    QByteArray message;
};

/**
 * A handler of every method by name, for programs that answer from data
 * rather than code (the service emulator answers from its JSON scenario):
 * each call of a method of the interface arrives with its message undecoded,
 * and is answered with a complete encoded reply message (Reply<QByteArray>),
 * under the rules of every Reply. The server still frames each answer under
 * its call's sequence id, answers a method the interface does not have with
 * UNKNOWN_METHOD and closes a client that breaks the wire.
 *
 * Runs on the server's thread. Server::setRawHandler() installs it in place of
 * a Handler.
 */
class LUMOSERVICE_EXPORT RawHandler
{
public:
    virtual ~RawHandler();

    /** Answers @p call through @p reply (which answers nothing for a one-way call). */
    virtual void call(const RawCall &call, Reply<QByteArray> reply) = 0;
};

} // namespace LumoService
