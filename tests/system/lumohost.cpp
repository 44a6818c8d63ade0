// A minimal host application for the whole-system tests: starts the library
// under a given application name and reports what it sees, one line per event,
// until its time is up.
// Usage: lumohost APP_NAME SECONDS [IN_FLIGHT [NOTES]]
// With IN_FLIGHT, keeps that many createFolder calls outstanding once logged
// in, checks notifyFileAction actions arrive in increasing order, and after
// SECONDS stops issuing and waits for every call to end and for NOTES
// notifications (bounded), then prints one summary line:
// "load issued answered failed twice notes disorder rssStartKiB rssEndKiB".

#include "ipc/lumoipc.h"

#include <lumo_types.h>

#include <QCoreApplication>
#include <QFile>
#include <QSet>
#include <QTimer>

#include <cstdio>

using ofx::lumo::CreateFolderArg;
using ofx::lumo::CreateFolderResult;
using ofx::lumo::NotifyFileActionArg;

namespace {

long rssKiB()
{
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : f.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return 0;
}

} // namespace

class Reporter : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void onConnected() { say("connected"); }
    void onDisconnected() { say("disconnected"); }
    void onLogin()
    {
        say(LumoIpcLoginCache().isLogined ? "login 1" : "login 0");
        if (LumoIpcLoginCache().isLogined && inFlight > 0 && issued == 0) {
            for (int i = 0; i < inFlight; ++i)
                issue();
            // The baseline once caches and buffers have reached their working size.
            QTimer::singleShot(2000, this, [this] { rssStart = rssKiB(); });
        }
    }
    void onResult(bool ok, const QString &requestId, const CreateFolderResult &)
    {
        ++answered;
        if (!ok)
            ++failed;
        // Only calls still outstanding may be answered: anything else is a
        // second answer (or one never asked for).
        if (!outstanding.remove(requestId))
            ++twice;
        if (!stopping)
            issue();
    }
    void onNotify(const NotifyFileActionArg &arg)
    {
        if (arg.action <= lastAction)
            ++disorder;
        lastAction = arg.action;
        ++notes;
    }

public:
    void issue()
    {
        static const CreateFolderArg arg;
        outstanding.insert(LumoIpcAsynCallEx(QStringLiteral("createFolder"),
                                             Q_ARG(CreateFolderArg, arg), this,
                                             QStringLiteral("onResult")));
        ++issued;
    }
    void summary()
    {
        std::printf("load %d %d %d %d %d %d %ld %ld\n", issued, answered, failed, twice, notes,
                    disorder, rssStart, rssKiB());
        std::fflush(stdout);
    }
    int inFlight = 0;
    int issued = 0, answered = 0, failed = 0, twice = 0, notes = 0, disorder = 0;
    int lastAction = -1;
    bool stopping = false;
    long rssStart = 0;
    QSet<QString> outstanding;

private:
    static void say(const char *what)
    {
        std::printf("%s\n", what);
        std::fflush(stdout);
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc < 3)
        return 2;
    // Quiet: the test reads stdout only.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QCoreApplication::setApplicationName(QString::fromLocal8Bit(argv[1]));
    LumoIpcInit(true);
    Reporter reporter;
    QObject *events = LumoIpcEventObject();
    QObject::connect(events, SIGNAL(SocketConnected()), &reporter, SLOT(onConnected()));
    QObject::connect(events, SIGNAL(SocketDisConnected()), &reporter, SLOT(onDisconnected()));
    QObject::connect(events, SIGNAL(LoginStatusChange()), &reporter, SLOT(onLogin()));
    QObject::connect(events, SIGNAL(signal_notifyFileAction(NotifyFileActionArg)), &reporter,
                     SLOT(onNotify(NotifyFileActionArg)));
    reporter.inFlight = argc > 3 ? atoi(argv[3]) : 0;
    const int expectedNotes = argc > 4 ? atoi(argv[4]) : 0;
    const int scale = qMax(1, qEnvironmentVariableIntValue("LUMO_TEST_TIME_SCALE"));
    const int ms = int(QByteArray(argv[2]).toDouble() * 1000);
    QTimer::singleShot(ms, &app, [&] {
        if (reporter.inFlight == 0) {
            app.quit();
            return;
        }
        // Stop issuing, let every outstanding call end, then report.
        reporter.stopping = true;
        auto *drain = new QTimer(&app);
        QObject::connect(drain, &QTimer::timeout, &app, [&reporter, &app, expectedNotes] {
            if (reporter.answered >= reporter.issued && reporter.notes >= expectedNotes) {
                reporter.summary();
                app.quit();
            }
        });
        drain->start(20);
        QTimer::singleShot(20000 * scale, &app, [&reporter, &app] {
            reporter.summary();
            app.quit();
        });
    });
    const int rc = app.exec();
    LumoIpcFree();
    return rc;
}

#include "lumohost.moc"
