// A complete host of the library, built against the installed package: it
// starts the service if it does not run, waits for the login, then makes a
// typed call, a call by generic name, a call it cancels and a call that may
// fail, and prints a pushed notification. The README shows the part from the
// includes to the end of main(); the slots' bodies follow it.
#include <dispatch/krpcresponse.h> // the result of the generic route
#include <lumo_types.h> // the interface's records (CreateFolderArg, ...)
#include <lumoipc.h> // the exported functions, login and company records

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

class Files : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    // Result slots: (bool ok, const QString &requestId, const <the method's result> &).
    void onFolder(bool ok, const QString &requestId, const ofx::lumo::CreateFolderResult &r);
    void onGeneric(bool ok, const QString &requestId, const KRpcResponse &r);
    void onRemoved(bool ok, const QString &requestId, const ofx::lumo::RemoveResult &r);
    void onCreated(bool ok, const QString &requestId, const ofx::lumo::CreateFileResult &r);
    // Signals of LumoIpcEventObject().
    void onLogin();
    void onNewMessages(const QStringList &ids);

public:
    void callAll()
    {
        ofx::lumo::CreateFolderArg folder;
        folder.__set_folderName("Reports");
        LumoIpcAsynCallEx("createFolder", Q_ARG(ofx::lumo::CreateFolderArg, folder), this,
                          "onFolder");
        LumoIpcAsynCall("getLoginInfo", {QCoreApplication::applicationName()}, this, "onGeneric");

        ofx::lumo::RemoveArg gone;
        gone.__set_id("42");
        LumoIpcAsynCallEx("remove", Q_ARG(ofx::lumo::RemoveArg, gone), this, "onRemoved");

        // A cancelled call ends silently: its slot is not called.
        ofx::lumo::CreateFileArg file;
        const QString id = LumoIpcAsynCallEx("createFile", Q_ARG(ofx::lumo::CreateFileArg, file),
                                             this, "onCreated");
        std::printf("createFile: cancelled=%d\n", int(LumoIpcCancelCall(id)));
    }

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
    QObject *events = LumoIpcEventObject();
    QObject::connect(events, SIGNAL(LoginStatusChange()), &files, SLOT(onLogin()));
    QObject::connect(events, SIGNAL(signal_notifyNewMsgList(QStringList)), &files,
                     SLOT(onNewMessages(QStringList)));
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
    std::printf("freed object=%p\n", static_cast<void *>(LumoIpcEventObject()));
    return rc;
}

void Files::onLogin()
{
    // The records change on this thread, before the signal: read them here.
    const KLumoIpcLoginCache &login = LumoIpcLoginCache();
    std::printf("login: logined=%d user=\"%s\" company=\"%s\"\n", int(login.isLogined),
                qPrintable(login.userName), qPrintable(LumoIpcCompanyCache().companyName));
    if (login.isLogined && !calling) {
        calling = true;
        callAll();
        std::printf("waiting for notifications\n");
    }
    std::fflush(stdout);
}

void Files::onFolder(bool ok, const QString &requestId, const ofx::lumo::CreateFolderResult &r)
{
    std::printf("createFolder: ok=%d id=%d folderId=\"%s\"\n", int(ok), int(requestId.size()),
                r.folderId.c_str());
    done();
}

void Files::onGeneric(bool ok, const QString &, const KRpcResponse &r)
{
    std::printf("getLoginInfo: ok=%d isLogined=%s\n", int(ok),
                qPrintable(r.value(QStringLiteral("isLogined"))));
    done();
}

void Files::onRemoved(bool ok, const QString &, const ofx::lumo::RemoveResult &r)
{
    // ok is false when the service failed or did not answer in time (16 s), or
    // at once when there is no connection; r is then the default record.
    if (ok)
        std::printf("remove: ok, state=%d\n", int(r.state));
    else
        std::printf("remove: failed, handled (state=%d)\n", int(r.state));
    done();
}

void Files::onCreated(bool, const QString &, const ofx::lumo::CreateFileResult &)
{
    std::printf("createFile: delivered although cancelled\n");
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

#include "main.moc"
