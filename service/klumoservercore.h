#pragma once

#include "klumoservicecodec.h"
#include "klumoservicemethod.h"
#include "lumoserviceserver.h"

#include <QString>

#include <map>
#include <memory>

namespace LumoService {
class Interceptor;
class RawHandler;
} // namespace LumoService

namespace ofx::lumo {

class KLumoLockFile;
class KLumoReplyState;
class KLumoServiceConnection;
class KLumoServiceListener;
class KLumoServiceOutbox;

/**
 * The Server's private part: the lock files, the listener, the clients by id,
 * and the dispatch of each request frame to the handler.
 *
 * Server's thread only, but for m_pOutbox, which replies share with other
 * threads (it guards itself).
 */
class KLumoServerCore
{
public:
    explicit KLumoServerCore(LumoService::Server *q);
    ~KLumoServerCore();

    bool listen(QString *error);
    void close();
    bool setLoggedIn(bool loggedIn);

    // A request frame of @p connection: decoded, dispatched, answered.
    void dispatch(KLumoServiceConnection *connection, quint32 seqId, const char *body,
                  quint32 length);
    // Writes @p frame to @p client, or to each client (AllClients); nothing
    // when the client has left.
    void send(LumoService::ClientId client, const QByteArray &frame);
    // Writes the reply to @p call, which @p write completes; nothing when its
    // client has left.
    void sendReply(const KLumoReplyState &call, KLumoServiceCodec::Write write, const void *value);
    // @p client's connection closed.
    void forget(LumoService::ClientId client);
    // @p client broke the wire (@p why): the interceptor hears of it, then
    // the connection closes with a line saying why.
    void malformed(KLumoServiceConnection *connection, const QString &why);

    // The interceptor's ways (test doubles only).
    void setInterceptor(LumoService::Interceptor *interceptor);
    void writeRaw(LumoService::ClientId client, const QByteArray &bytes);
    void setReading(bool reading);

    LumoService::Server *const q;
    // The notifier, made and destroyed where its class is complete: its
    // header brings every record of the interface, which nothing here needs.
    static LumoService::Notifier *makeNotifier(KLumoServerCore *core);
    static void dropNotifier(LumoService::Notifier *notifier);

    LumoService::Handler *m_pHandler = nullptr;
    LumoService::RawHandler *m_pRawHandler = nullptr;
    LumoService::Interceptor *m_pInterceptor = nullptr;
    bool m_bReading = true;
    const std::unique_ptr<LumoService::Notifier, void (*)(LumoService::Notifier *)> m_pNotifier;
    const std::shared_ptr<KLumoServiceOutbox> m_pOutbox;
    QString m_strName;
    KLumoServiceListener *m_pListener = nullptr; // a child of q
    std::map<LumoService::ClientId, KLumoServiceConnection *> m_mapClients; // children of q
    LumoService::ClientId m_nLastClient = 0;
    // The method of the last request: a burst of one method skips the lookup.
    const KLumoServiceMethod *m_pLastMethod = nullptr;
    size_t m_nLastMethodLength = 0;
    quint32 m_nMaxFrame = LumoService::Server::DefaultMaxFrameSize;
    qint64 m_nMaxUnsent = LumoService::Server::DefaultMaxUnsentBytes;
    std::unique_ptr<KLumoLockFile> m_pExistLock;
    std::unique_ptr<KLumoLockFile> m_pMainLock;
    std::unique_ptr<KLumoLockFile> m_pLoginLock;

private:
    void accept(int fd);
    void dispatchRaw(KLumoServiceConnection *connection, quint32 seqId, const char *body,
                     quint32 length, const char *method, bool oneway, qint32 thriftSeq,
                     KLumoServiceMethod::State state);

    // The request decoder, reused for every frame (defined with the dispatch,
    // so that the headers of the server's other parts stay free of Thrift's).
    struct Decoder;
    const std::unique_ptr<Decoder> m_pDecoder;
};

} // namespace ofx::lumo
