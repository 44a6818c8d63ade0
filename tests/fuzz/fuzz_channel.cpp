// Feeds arbitrary peer bytes to a connected channel with three calls of the
// generated client waiting (their callbacks decode whatever arrives) and a
// notification processor. Any input must end in delivered frames, a logged
// close or failed calls: never a crash, hang or leak.
// Input: byte 0 picks the chunk size, byte 1 the streaming threshold, the rest
// is the stream from the peer.
#include "KLumoServices.h"
#include "transport/klumoipcchannel_p.h"
#include "transport/klumonotifyprocessor.h"

#include <QCoreApplication>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLoggingCategory>

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <cstdint>
#include <memory>

using namespace ofx::lumo;

namespace {

class Processor : public KLumoNotifyProcessor
{
public:
    void onNotified(std::shared_ptr<apache::thrift::transport::TMemoryBuffer> buffer) override
    {
        std::string name;
        apache::thrift::protocol::TMessageType type;
        int32_t seq;
        apache::thrift::protocol::TCompactProtocol proto(buffer);
        proto.readMessageBegin(name, type, seq); // may throw: caught by the channel
    }
};

struct World
{
    World()
    {
        static int argc = 1;
        static char name[] = "fuzz_channel";
        static char *argv[] = {name, nullptr};
        app = std::make_unique<QCoreApplication>(argc, argv);
        QLoggingCategory::setFilterRules(QStringLiteral("lumoipc*=false"));
        server.setSocketOptions(QLocalServer::UserAccessOption);
        serverName = QStringLiteral("lumo-fuzz-%1").arg(QCoreApplication::applicationPid());
        QLocalServer::removeServer(serverName);
        if (!server.listen(serverName))
            std::abort();
        processor = std::make_shared<Processor>();
        channel = std::make_unique<KLumoIpcChannel>(nullptr, processor);
        shared =
            std::shared_ptr<apache::thrift::async::TAsyncChannel>(channel.get(), [](auto *) {});
        // Thrift's compact decoder allocates whatever string length a message
        // claims before it looks for the bytes; without limits a garbage reply
        // costs up to 2 GiB. Production clients need the same limits.
        factory.setStringSizeLimit(16 << 20);
        factory.setContainerSizeLimit(1 << 20);
        client = std::make_unique<KLumoServicesCobClient>(shared, &factory);
    }

    void connect()
    {
        channel->close();
        delete peer;
        peer = nullptr;
        channel->connectToServer(serverName);
        server.waitForNewConnection(1000);
        peer = server.nextPendingConnection();
        while (!channel->isConnected())
            QCoreApplication::processEvents();
    }

    std::unique_ptr<QCoreApplication> app;
    QLocalServer server;
    QString serverName;
    QLocalSocket *peer = nullptr;
    std::shared_ptr<Processor> processor;
    std::unique_ptr<KLumoIpcChannel> channel;
    std::shared_ptr<apache::thrift::async::TAsyncChannel> shared;
    apache::thrift::protocol::TCompactProtocolFactory factory;
    std::unique_ptr<KLumoServicesCobClient> client;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static World world;
    if (size < 2)
        return 0;
    world.connect();
    KLumoIpcChannelPrivate *const d = KLumoIpcChannelPrivate::get(world.channel.get());
    d->setLastSequenceId(0);
    d->reader.setDirectThreshold(uint32_t(data[1]) * 16);
    for (int i = 0; i < 3; ++i) {
        world.client->getLoginInfo([](KLumoServicesCobClient *c) {
            std::map<std::string, std::string> out;
            try {
                c->recv_getLoginInfo(out);
            } catch (const std::exception &) { }
        });
    }
    const size_t chunk = size_t(data[0]) + 1;
    const char *p = reinterpret_cast<const char *>(data + 2);
    size_t left = size - 2;
    while (left > 0 && world.channel->isConnected()) {
        const size_t n = left < chunk ? left : chunk;
        world.channel->onRecvData(p, unsigned(n));
        p += n;
        left -= n;
    }
    QCoreApplication::processEvents();
    return 0;
}
