// A complete service built with the SDK against the installed package: it
// answers createFolder and the login information (by its own method and by
// the generic route's name), logs a user in and out on commands read from its
// standard input, and pushes notifyFileAction to every client each second.
// Every other method is answered "unknown" by LumoService::Handler. The
// README shows the Files class and the lines that serve it as they stand here.
//
//   commands: login | logout | messages ID... (pushes notifyNewMsgList) | quit
#include <LumoService/LumoService>

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QStringList>
#include <QTimer>

#include <cstdio>
#include <unistd.h>

using namespace ofx::lumo; // the interface's records: CreateFolderArg, ...
using LumoService::Reply;
using StringMap = std::map<std::string, std::string>;

class Files : public LumoService::Handler
{
public:
    explicit Files(LumoService::Server &server)
        : server(server)
    { }

    // Runs on the server's thread; the reply may also be kept and finished
    // later, from any thread. Dropped unanswered, it fails the call at once.
    void createFolder(const CreateFolderArg &arg, Reply<CreateFolderResult> reply) override
    {
        CreateFolderResult folder;
        folder.__set_folderId("f-" + std::to_string(++folders));
        folder.__set_folderName(arg.folderName);
        reply.finish(folder);
    }

    void getLoginInfo(Reply<StringMap> reply) override { reply.finish(loginInfo()); }

    // The generic route: a method name and its parameters, a string map back.
    void asynCall(const std::string &method, const std::vector<std::string> &params,
                  Reply<StringMap> reply) override
    {
        if (method == "getLoginInfo")
            return reply.finish(loginInfo());
        reply.finish({{"method", method}, {"error", "not offered by this service"}});
    }

    StringMap loginInfo() const
    {
        if (!server.isLoggedIn())
            return {{"isLogined", "0"}};
        return {{"isLogined", "1"}, {"userId", "u-1"}, {"userName", "Example User"}};
    }

    LumoService::Server &server;
    int folders = 0;
};

// One command line from standard input.
void command(LumoService::Server &server, const QStringList &words)
{
    const QString verb = words.value(0);
    if (verb == QLatin1String("login") || verb == QLatin1String("logout")) {
        // The login-status lock tells the clients, as the library reads it.
        const bool ok = server.setLoggedIn(verb == QLatin1String("login"));
        std::printf("%s: %s\n", qPrintable(verb), ok ? "done" : "the lock is held elsewhere");
    } else if (verb == QLatin1String("messages")) {
        std::vector<std::string> ids;
        for (const QString &id : words.mid(1))
            ids.push_back(id.toStdString());
        server.notifier().notifyNewMsgList(ids);
        std::printf("messages: pushed %d\n", int(ids.size()));
    } else if (verb == QLatin1String("quit")) {
        QCoreApplication::quit();
    } else if (!verb.isEmpty()) {
        std::printf("unknown command: %s\n", qPrintable(verb));
    }
    std::fflush(stdout);
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);

    LumoService::Server server; // its thread, this one, runs the handlers
    Files files(server);
    server.setHandler(&files);
    QString error;
    if (!server.listen(&error)) { // the lock files, then the socket
        std::fprintf(stderr, "example service: %s\n", qPrintable(error));
        return 1;
    }
    // Every second, a push to every connected client.
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, &server, [&server] {
        NotifyFileActionArg action;
        action.__set_fileId("f-1");
        server.notifier().notifyFileAction(action);
    });
    tick.start(1000);
    std::printf("serving on %s\n", qPrintable(server.fullServerName()));
    std::fflush(stdout);

    // Commands, a line each; the end of the input ends the service.
    QByteArray input;
    QSocketNotifier stdinReady(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&stdinReady, &QSocketNotifier::activated, &server, [&] {
        char chunk[512];
        const ssize_t n = ::read(STDIN_FILENO, chunk, sizeof chunk);
        if (n <= 0)
            return QCoreApplication::quit();
        input.append(chunk, int(n));
        for (int end; (end = input.indexOf('\n')) >= 0; input.remove(0, end + 1))
            command(server,
                    QString::fromUtf8(input.left(end)).split(QLatin1Char(' '), Qt::SkipEmptyParts));
    });
    return app.exec(); // the server closes, freeing its lock files, as it goes
}
