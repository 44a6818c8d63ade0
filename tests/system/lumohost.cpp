// A minimal host for the whole-system tests: starts the library under a given
// application name and reports what it sees, one line per event, until its time
// is up ("stdin": until its standard input closes).
// Usage: lumohost APP_NAME SECONDS|stdin [IN_FLIGHT [NOTES]]
// With IN_FLIGHT, keeps that many createFolder calls outstanding once logged
// in, checks notifyFileAction actions arrive in increasing order, and after
// SECONDS stops issuing and waits for every call to end and for NOTES
// notifications (bounded), then prints one summary line:
// "load issued answered failed twice notes disorder".
// A failed call is issued again after a short pause (a closed transport fails
// at once, and re-issuing at once would spin). A notification whose fileId is
// "mark" prints "mark ACTION N", N counting the notifications since the last mark.

#include "ipc/lumoipc.h"

#include <lumo_types.h>

#include <QCoreApplication>
#include <QSet>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdio>
#include <unistd.h>

using ofx::lumo::CreateFolderArg;
using ofx::lumo::CreateFolderResult;
using ofx::lumo::NotifyFileActionArg;

class Reporter : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void onConnected() { std::printf("connected\n"); }
    void onLogin()
    {
        std::printf("login %d\n", int(LumoIpcLoginCache().isLogined));
        if (LumoIpcLoginCache().isLogined && inFlight > 0 && issued == 0)
            for (int i = 0; i < inFlight; ++i)
                issue();
    }
    void onResult(bool ok, const QString &requestId, const CreateFolderResult &)
    {
        ++answered;
        failed += !ok;
        // Only calls still outstanding may be answered: anything else is a
        // second answer (or one never asked for).
        twice += !outstanding.remove(requestId);
        if (stopping)
            finishWhenDrained();
        else if (ok)
            issue();
        else
            QTimer::singleShot(50, this, [this] { stopping ? finishWhenDrained() : issue(); });
    }
    void onNotify(const NotifyFileActionArg &arg)
    {
        disorder += arg.action <= lastAction;
        lastAction = arg.action;
        ++notes;
        ++sinceMark;
        if (arg.fileId == "mark") {
            std::printf("mark %d %d\n", int(arg.action), sinceMark);
            sinceMark = 0;
        }
        finishWhenDrained();
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
    // After the run: report once every call has ended and the notes are in.
    void finishWhenDrained(bool anyway = false)
    {
        if (finished || !stopping || (!anyway && (answered < issued || notes < expectedNotes)))
            return;
        finished = true;
        std::printf("load %d %d %d %d %d %d\n", issued, answered, failed, twice, notes, disorder);
        QCoreApplication::quit();
    }
    int inFlight = 0, expectedNotes = 0;
    int issued = 0, answered = 0, failed = 0, twice = 0, notes = 0, disorder = 0, sinceMark = 0;
    int lastAction = -1;
    bool stopping = false, finished = false;
    QSet<QString> outstanding;
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0); // each line as it happens
    if (argc < 3)
        return 2;
    // Quiet: the test reads stdout only.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QCoreApplication::setApplicationName(QString::fromLocal8Bit(argv[1]));
    LumoIpcInit(true);
    Reporter reporter;
    QObject *events = LumoIpcEventObject();
    QObject::connect(events, SIGNAL(SocketConnected()), &reporter, SLOT(onConnected()));
    QObject::connect(events, SIGNAL(LoginStatusChange()), &reporter, SLOT(onLogin()));
    QObject::connect(events, SIGNAL(signal_notifyFileAction(NotifyFileActionArg)), &reporter,
                     SLOT(onNotify(NotifyFileActionArg)));
    reporter.inFlight = argc > 3 ? atoi(argv[3]) : 0;
    reporter.expectedNotes = argc > 4 ? atoi(argv[4]) : 0;
    const int scale = qMax(1, qEnvironmentVariableIntValue("LUMO_TEST_TIME_SCALE"));
    const auto stop = [&] {
        if (reporter.inFlight == 0)
            return app.quit();
        // Stop issuing, let every outstanding call end, then report.
        reporter.stopping = true;
        reporter.finishWhenDrained();
        QTimer::singleShot(20000 * scale, &app, [&] { reporter.finishWhenDrained(true); });
    };
    QSocketNotifier input(0, QSocketNotifier::Read);
    input.setEnabled(QByteArray(argv[2]) == "stdin"); // runs until the test closes our stdin
    QObject::connect(&input, &QSocketNotifier::activated, &app, [&] {
        char c;
        if (::read(0, &c, 1) <= 0 && input.isEnabled()) {
            input.setEnabled(false);
            stop();
        }
    });
    if (!input.isEnabled())
        QTimer::singleShot(int(QByteArray(argv[2]).toDouble() * 1000), &app, stop);
    const int rc = app.exec();
    LumoIpcFree();
    return rc;
}

#include "lumohost.moc"
