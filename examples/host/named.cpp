// The named route, as hosts written before the typed calls use it: the method,
// the record's type name, the result slot and the signals are named by text,
// and checked when the call runs. Run it while the service runs; it makes a
// call with a record and one by generic name, and ends when both are answered.
#include <LumoIpc/KRpcResponse> // the result of the generic route
#include <LumoIpc/LumoIpc> // the exported functions
#include <LumoIpc/LumoTypes> // the interface's records (CreateFolderArg, ...)

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

class Files : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    // Result slots: (bool ok, const QString &requestId, const <the method's result> &).
    void onFolder(bool ok, const QString &, const ofx::lumo::CreateFolderResult &r)
    {
        std::printf("named createFolder: ok=%d folderId=\"%s\"\n", int(ok), r.folderId.c_str());
        done();
    }
    void onGeneric(bool ok, const QString &, const KRpcResponse &r)
    {
        std::printf("named getLoginInfo: ok=%d isLogined=%s\n", int(ok),
                    qPrintable(r.value(QStringLiteral("isLogined"))));
        done();
    }
    void onConnected()
    {
        ofx::lumo::CreateFolderArg folder;
        folder.__set_folderName("Reports");
        LumoIpcAsynCallEx("createFolder", Q_ARG(ofx::lumo::CreateFolderArg, folder), this,
                          "onFolder");
        LumoIpcAsynCall("getLoginInfo", {QCoreApplication::applicationName()}, this, "onGeneric");
    }

private:
    void done()
    {
        std::fflush(stdout);
        if (--m_pending == 0)
            QCoreApplication::quit();
    }
    int m_pending = 2;
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    LumoIpcInit(false);
    Files files;
    QObject::connect(LumoIpcEventObject(), SIGNAL(SocketConnected()), &files, SLOT(onConnected()));
    QTimer::singleShot(20000, &app, [] { QCoreApplication::exit(1); });
    const int rc = app.exec();
    LumoIpcFree();
    return rc;
}

#include "named.moc"
