// Feeds arbitrary client bytes to a listening LumoService::Server, through a
// real local socket, with a handler that answers records and string maps and
// keeps one reply for later. Any input must end in answers, a logged close or
// nothing: never a crash, a hang or a leak, and the server keeps serving.
// Input: byte 0 picks the chunk size, the rest is the stream from the client.
#include <LumoService/LumoService>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QLoggingCategory>

#include <cstdint>
#include <memory>

namespace {

class Files : public LumoService::Handler
{
public:
    void createFolder(const ofx::lumo::CreateFolderArg &arg,
                      LumoService::Reply<ofx::lumo::CreateFolderResult> reply) override
    {
        ofx::lumo::CreateFolderResult result;
        result.__set_folderName(arg.folderName);
        reply.finish(result);
    }
    void asynCall(const std::string &method, const std::vector<std::string> &params,
                  LumoService::Reply<std::map<std::string, std::string>> reply) override
    {
        if (params.size() % 2)
            m_oKept = std::move(reply); // the earlier one is dropped: an exception
        else
            reply.finish({{"method", method}});
    }
    LumoService::Reply<std::map<std::string, std::string>> m_oKept;
};

struct World
{
    World()
    {
        static int argc = 1;
        static char name[] = "fuzz_service";
        static char *argv[] = {name, nullptr};
        app = std::make_unique<QCoreApplication>(argc, argv);
        QLoggingCategory::setFilterRules(QStringLiteral("lumo*=false"));
        server.setServerName(
            QStringLiteral("lumo-fuzz-service-%1").arg(QCoreApplication::applicationPid()));
        server.setHandler(&files);
        server.setMaxFrameSize(1 << 20);
        if (!server.listen())
            std::abort();
    }

    std::unique_ptr<QCoreApplication> app;
    Files files;
    LumoService::Server server;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static World world;
    if (size < 1)
        return 0;
    QLocalSocket client;
    client.connectToServer(world.server.fullServerName());
    if (!client.waitForConnected(1000))
        std::abort();
    const int chunk = int(data[0]) + 1;
    const char *p = reinterpret_cast<const char *>(data + 1);
    for (qint64 left = qint64(size) - 1;
         left > 0 && client.state() == QLocalSocket::ConnectedState;) {
        const qint64 n = qMin<qint64>(left, chunk);
        client.write(p, n);
        client.flush();
        QCoreApplication::processEvents();
        p += n;
        left -= n;
    }
    // Done when the server has read everything and let the client go.
    client.disconnectFromServer();
    const QDeadlineTimer deadline(2000);
    while (!world.server.clients().isEmpty() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    if (!world.server.clients().isEmpty())
        std::abort(); // the server hangs on to a client that left
    return 0;
}
