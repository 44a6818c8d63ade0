// A complete host of the library, built against the installed package: it
// starts the service if it does not run, waits for the login, then makes
// typed calls (answered, failing, cancelled, one whose context goes away) and
// a call by generic name, and prints a pushed notification. The README shows
// main()'s connections and callAll() as they stand here.
#include <LumoIpc/LumoIpcCalls> // typed calls, the library object's signals, the records

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

using namespace ofx::lumo; // the interface's records: CreateFolderArg, ...

class Files : public QObject
{
public:
    void callAll();
    void callAndWalkAway();
    void onLogin();
    void onLoginInfo(bool ok, const KRpcResponse &r);
    void onRemoved(const LumoIpc::Status &status, const RemoveResult &r);
    void onNewMessages(const QStringList &ids);

    bool calling = false;
    int pending = 4; // what the host waits for: three results and a notification
    void done();
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("lumo_example_host"));

    LumoIpcInit(false); // once, on the main thread
    Files files;
    // Signals by pointer to member: the compiler checks the arguments.
    QObject::connect(LumoIpc::events(), &KLumoIpc::LoginStatusChange, &files, &Files::onLogin);
    QObject::connect(LumoIpc::events(), &KLumoIpc::signal_notifyNewMsgList, &files,
                     &Files::onNewMessages);
    if (!LumoIpcCheckLumoRunning()) {
        // Looked for as "ofxcloudsvr" in $LUMO_SUITE_DIR (default: our own folder).
        std::printf("starting the service\n");
        LumoIpcStartLumoProcess(QString());
    }

    QTimer::singleShot(20000, &app, [&files] {
        std::printf("timed out, %d steps left\n", files.pending);
        QCoreApplication::exit(1);
    });
    const int rc = app.exec();

    LumoIpcFree();
    std::printf("freed object=%p\n", static_cast<void *>(LumoIpc::events()));
    return rc;
}

void Files::callAll()
{
    CreateFolderArg folder;
    folder.__set_folderName("Reports");
    LumoIpc::createFolder(folder, this,
                          [this](bool ok, const QString &id, const CreateFolderResult &r) {
                              std::printf("createFolder: ok=%d id=%d folderId=\"%s\"\n", int(ok),
                                          int(id.size()), r.folderId.c_str());
                              done();
                          });

    RemoveArg gone;
    gone.__set_id("42");
    LumoIpc::remove(gone, this, &Files::onRemoved); // takes (const Status &, const RemoveResult &)

    // The generic route: a method name and its parameters, a KRpcResponse back.
    LumoIpc::call("getLoginInfo", {QCoreApplication::applicationName()}, this, &Files::onLoginInfo);
}

void Files::callAndWalkAway()
{
    // A call whose context is destroyed before the reply ends silently.
    auto *dialog = new QObject;
    LumoIpc::rename(RenameArg(), dialog, [](bool, const RenameResult &) {
        std::printf("rename: delivered although its context was destroyed\n");
    });
    delete dialog;

    // A cancelled call ends silently: its callable does not run.
    LumoIpc::PendingCall created =
        LumoIpc::createFile(CreateFileArg(), this, [](bool, const CreateFileResult &) {
            std::printf("createFile: delivered although cancelled\n");
        });
    std::printf("createFile: cancelled=%d\n", int(created.cancel()));
}

void Files::onLogin()
{
    // The records change on this thread, before the signal: read them here.
    const KLumoIpcLoginCache &login = LumoIpcLoginCache();
    std::printf("login: logined=%d user=\"%s\" company=\"%s\"\n", int(login.isLogined),
                qPrintable(login.userName), qPrintable(LumoIpcCompanyCache().companyName));
    if (login.isLogined && !calling) {
        calling = true;
        callAndWalkAway();
        callAll();
        std::printf("waiting for notifications\n");
    }
    std::fflush(stdout);
}

void Files::onLoginInfo(bool ok, const KRpcResponse &r)
{
    std::printf("getLoginInfo: ok=%d isLogined=%s\n", int(ok),
                qPrintable(r.value(QStringLiteral("isLogined"))));
    done();
}

void Files::onRemoved(const LumoIpc::Status &status, const RemoveResult &r)
{
    // The status says how the call ended; r is the default record unless it was
    // answered. The service fails this one: its exception's text comes along.
    if (status.ok())
        std::printf("remove: ok, state=%d\n", int(r.state));
    else if (status.code() == LumoIpc::Status::Code::ServiceException)
        std::printf("remove: the service said \"%s\" (state=%d)\n", qPrintable(status.message()),
                    int(r.state));
    else
        std::printf("remove: failed, code %d\n", int(status.code()));
    done();
}

void Files::onNewMessages(const QStringList &ids)
{
    std::printf("notifyNewMsgList: %s\n", qPrintable(ids.join(QLatin1Char(','))));
    done();
}

void Files::done()
{
    std::fflush(stdout);
    if (--pending == 0)
        QCoreApplication::quit();
}
