#pragma once

#include "lumoserviceglobal.h"

#include <QObject>
#include <QString>
#include <QVector>

#include <memory>

namespace ofx::lumo {
class KLumoServerCore;
}

namespace LumoService {

class Handler;
class Interceptor;
class Notifier;
class RawHandler;

/**
 * The service's end of the wire, done once for every service: the per-user
 * lock files, the local socket under the name the client library forms, the
 * frames, the dispatch of each call to a Handler and the writing of its
 * answer, pushes through the Notifier, and the limits that keep one bad
 * client from hurting the others.
 *
 * A Server belongs to the thread that creates it (its thread), which must run
 * an event loop: handlers run there, and every frame is written there. Only
 * Reply objects and the Notifier may be used from other threads. Do not move
 * a listening server to another thread.
 */
class LUMOSERVICE_EXPORT Server : public QObject
{
    Q_OBJECT
public:
    /** A frame claiming more bytes than this closes its client (setMaxFrameSize()). */
    static constexpr quint32 DefaultMaxFrameSize = 256u << 20;
    /** A client with more unsent bytes than this is closed (setMaxUnsentBytes()). */
    static constexpr qint64 DefaultMaxUnsentBytes = qint64(64) << 20;

    /** A server that does not listen yet, with no handler (every call is unknown). */
    explicit Server(QObject *parent = nullptr);
    /** Closes (close()). */
    ~Server() override;

    /**
     * The handler of every call from now on; null answers every call with
     * UNKNOWN_METHOD. Not owned: it must outlive its use by the server.
     */
    void setHandler(Handler *handler);

    /**
     * Answers every call through @p handler, by name and with its message
     * undecoded, instead of through a Handler (null: back to the Handler).
     * Not owned.
     */
    void setRawHandler(RawHandler *handler);
    /**
     * For test doubles only: installs @p interceptor, which sees every frame
     * and may break the protocol on purpose (see Interceptor). Set before
     * listen(); not owned.
     */
    void setInterceptor(Interceptor *interceptor);

    /**
     * Listens under @p name instead of the name the client library forms for
     * this user (a test's or a second instance's). Set before listen().
     */
    void setServerName(const QString &name);
    /** The name listened under, or to be listened under. */
    QString serverName() const;
    /** The socket's path while listening, else empty. */
    QString fullServerName() const;

    /**
     * Takes the exist and main lock files as the client library checks them,
     * then listens on a socket that only this user can open. Fails, saying
     * why in @p error, when another process holds the main lock (another
     * service runs for this user) or the name cannot be listened on.
     */
    bool listen(QString *error = nullptr);
    /** Whether listen() succeeded and close() has not been called since. */
    bool isListening() const;
    /**
     * Closes every client and the socket and frees the lock files, the
     * login-status lock included. Replies still out answer nobody.
     */
    void close();

    /**
     * Holds (@p loggedIn) or frees the login-status lock, through which clients
     * learn that a user is logged in. False when another process holds it.
     */
    bool setLoggedIn(bool loggedIn);
    /** Whether this server holds the login-status lock. */
    bool isLoggedIn() const;

    /** The typed pushes of the interface's notifications. */
    Notifier &notifier();
    /**
     * Pushes @p message, a notification already encoded (a one-way Thrift
     * message of KLumoNotifyServices), to @p client or to every client
     * (AllClients), under sequence id 0: for relays and for stand-ins that
     * push from data. Any thread.
     */
    void pushMessage(ClientId client, const QByteArray &message);

    /**
     * A frame whose header claims more than @p bytes in total closes its
     * client before its body is read. Default DefaultMaxFrameSize.
     */
    void setMaxFrameSize(quint32 bytes);
    /**
     * A client that stops reading is closed once more than @p bytes of
     * answers and pushes wait for it. Default DefaultMaxUnsentBytes.
     */
    void setMaxUnsentBytes(qint64 bytes);

    /** The connected clients, oldest first. */
    QVector<ClientId> clients() const;
    /** Closes @p client's connection; its replies still out answer nobody. */
    void disconnectClient(ClientId client);

Q_SIGNALS:
    /** A client connected (and passed the peer check). */
    void signal_clientConnected(LumoService::ClientId client);
    /** A client's connection ended, whichever side ended it. */
    void signal_clientDisconnected(LumoService::ClientId client);

private:
    friend class ofx::lumo::KLumoServerCore;
    std::unique_ptr<ofx::lumo::KLumoServerCore> const d;
};

} // namespace LumoService
