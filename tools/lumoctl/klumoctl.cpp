#include "klumoctl.h"

#include "klumocalloutcome.h"
#include "klumoctlargument.h"
#include "klumoctlcatalog.h"
#include "klumoctlconsole.h"
#include "klumoctlmonitor.h"
#include "klumoctltrace.h"
#include "klumoservicestate.h"
#include "lumoctl_dispatch.h"

#include <LumoIpc/LumoIpc>

#include <QDir>
#include <QEventLoop>
#include <QFileSystemWatcher>
#include <QThreadPool>
#include <QTimer>

#include <cstdio>
#include <optional>

namespace ofx::lumo {

namespace {

const char *const HelpTexts[][2] = {
    {"status",
     "lumoctl status [--wait S]\n"
     "  Whether the service runs and a user is logged in, the login and company\n"
     "  records, and the socket state, as one JSON object.\n"},
    {"call",
     "lumoctl call METHOD [ARG_JSON] [--timeout S] [--wait S] [--pretty]\n"
     "  Calls a dispatched METHOD (see `lumoctl methods`) through LumoIpc::dynamicCall.\n"
     "  ARG_JSON is the argument record as an object (absent fields take their\n"
     "  defaults), or the bare JSON value when the argument is a string, list or\n"
     "  map. Prints the result as one JSON value (null for void methods), exit 0.\n"
     "  A failed call says why on stderr; its exit status tells the cause: 3 no\n"
     "  connection, 4 the service's exception, 5 a reply that could not be\n"
     "  decoded, 6 no reply within the call expiry or --timeout. 2: usage error.\n"},
    {"generic",
     "lumoctl generic NAME [PARAM...] [--timeout S] [--wait S] [--pretty]\n"
     "  Calls NAME by the generic route (LumoIpc::call) with string parameters\n"
     "  and prints the string map it returns.\n"},
    {"monitor",
     "lumoctl monitor [--count N] [--timeout S] [--signal NAME]... | --list\n"
     "  Prints every signal of the library's event object as a JSON line\n"
     "  {\"signal\": NAME, \"args\": [...]}. Stops after N lines (exit 0) or after\n"
     "  S seconds (exit 0 without --count, 1 when fewer than N arrived).\n"
     "  --list prints the names of the signals instead.\n"},
    {"methods",
     "lumoctl methods [--json]\n"
     "  Lists the methods `call` accepts.\n"},
    {"describe",
     "lumoctl describe NAME [--example]\n"
     "  Shows a method (dispatched, request or notification) or a record with its\n"
     "  fields; --example prints an argument with every field set instead.\n"},
    {"start",
     "lumoctl start [PARAM] [--timeout S]\n"
     "  Starts the service through the library (PARAM defaults to \"autologin\")\n"
     "  and waits until it runs.\n"},
    {"trace",
     "lumoctl trace FILE... [--stats [--json] | --timeline OUT.json | --follow]\n"
     "  Reads captures the library wrote (LUMOIPC_CAPTURE) and prints each frame\n"
     "  as a JSON line (several files merge by time): time, host, direction, seq,\n"
     "  bytes, method, type and the decoded args or result. --stats prints per\n"
     "  method the calls, replies, failures, calls never answered, bytes and\n"
     "  latency p50/p99/max (--json: as JSON); --timeline writes Trace Event JSON\n"
     "  for Perfetto or chrome://tracing (\"-\": stdout); --follow tails files\n"
     "  being written.\n"
     "  Needs no service.\n"},
};

const char Usage[] = "Usage: lumoctl [--verbose] COMMAND [ARGS]\n"
                     "Commands: status, call, generic, monitor, methods, describe, start, trace.\n"
                     "`lumoctl help COMMAND` or `lumoctl COMMAND --help` for details.\n";

const auto usageError = KLumoCtlConsole::usageError;
const auto fail = KLumoCtlConsole::fail;

} // namespace

KLumoCtl::KLumoCtl() = default;

KLumoCtl::~KLumoCtl()
{
    LumoIpcFree();
}

int KLumoCtl::run(const QStringList &argsIn)
{
    QStringList args = argsIn;
    if (args.isEmpty())
        return usageError(QStringLiteral("a command is needed"));
    const QString cmd = args.takeFirst();
    if (cmd == QLatin1String("-h") || cmd == QLatin1String("--help")) {
        std::fputs(Usage, stdout);
        return 0;
    }
    if (cmd == QLatin1String("help"))
        return help(args.value(0));
    if (args.contains(QLatin1String("--help")) || args.contains(QLatin1String("-h")))
        return help(cmd);
    if (cmd == QLatin1String("status"))
        return status(args);
    if (cmd == QLatin1String("call"))
        return call(args);
    if (cmd == QLatin1String("generic"))
        return generic(args);
    if (cmd == QLatin1String("monitor"))
        return monitor(args);
    if (cmd == QLatin1String("methods"))
        return KLumoCtlCatalog::methods(args);
    if (cmd == QLatin1String("describe"))
        return KLumoCtlCatalog::describe(args);
    if (cmd == QLatin1String("start"))
        return start(args);
    if (cmd == QLatin1String("trace"))
        return KLumoCtlTrace::run(args);
    return usageError(QStringLiteral("unknown command \"%1\"").arg(cmd));
}

int KLumoCtl::help(const QString &command)
{
    for (const auto &h : HelpTexts) {
        if (command == QLatin1String(h[0])) {
            std::fputs(h[1], stdout);
            return 0;
        }
    }
    if (command.isEmpty()) {
        std::fputs(Usage, stdout);
        return 0;
    }
    return usageError(QStringLiteral("no such command \"%1\"").arg(command));
}

bool KLumoCtl::waitUntil(const std::function<bool()> &done, int timeoutMs)
{
    if (done())
        return true;
    QEventLoop loop;
    QTimer deadline;
    deadline.setSingleShot(true);
    connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    if (timeoutMs >= 0)
        deadline.start(timeoutMs);
    const std::function<void()> outer = std::exchange(m_fnRecheck, [&] {
        if (done())
            loop.quit();
    });
    loop.exec();
    m_fnRecheck = outer;
    return done();
}

void KLumoCtl::recheckWait()
{
    if (m_fnRecheck)
        m_fnRecheck();
}

bool KLumoCtl::connectService(int waitMs)
{
    LumoIpcInit(true);
    QObject *events = LumoIpcEventObject();
    if (!events)
        return false;
    // By name: the event object's class is not part of the exported face.
    connect(events, SIGNAL(SocketConnected()), this, SLOT(onSocketConnected()),
            Qt::UniqueConnection);
    connect(events, SIGNAL(SocketDisConnected()), this, SLOT(onSocketDisConnected()),
            Qt::UniqueConnection);
    connect(events, SIGNAL(LoginStatusChange()), this, SLOT(recheckWait()), Qt::UniqueConnection);
    return waitUntil([this] { return m_bConnected; }, waitMs);
}

void KLumoCtl::onSocketConnected()
{
    m_bConnected = true;
    recheckWait();
}

void KLumoCtl::onSocketDisConnected()
{
    m_bConnected = false;
    recheckWait();
}

int KLumoCtl::status(const QStringList &argsIn)
{
    KLumoCtlOptions line(argsIn);
    double wait = 2;
    if (!line.takeNumber("--wait", &wait))
        return usageError(line.error());
    if (!line.args().isEmpty())
        return usageError(QStringLiteral("status takes no arguments"));
    const bool running = LumoIpcCheckLumoRunning();
    const bool connected = connectService(running ? KLumoCtlOptions::msecs(wait) : 300);
    if (connected) {
        // On connecting, the library asks for the login information if the
        // service says somebody is logged in. Replies come back in order, so
        // once our own request is answered the library has its answer too; it
        // applies it one queued step later, and a step of ours queued then
        // runs after that.
        bool answered = false;
        LumoIpc::PendingCall call =
            KLumoJsonCall::generic(QStringLiteral("getLoginInfo"), {}, this,
                                   [&](const LumoIpc::Status &, const KLumoJsonValue &) {
                                       answered = true;
                                       recheckWait();
                                   });
        waitUntil([&] { return answered; }, KLumoCtlOptions::msecs(wait));
        call.cancel();
        bool settled = false;
        QMetaObject::invokeMethod(
            this,
            [&] {
                settled = true;
                recheckWait();
            },
            Qt::QueuedConnection);
        waitUntil([&] { return settled; }, KLumoCtlOptions::msecs(wait));
    }

    KLumoJsonValue out = KLumoJsonValue::object();
    out.insert("server", LumoIpcServerName().toStdString());
    out.insert("running", running);
    out.insert("logined", LumoIpcCheckLumoLogined());
    out.insert("socket", connected ? "connected" : "unconnected");
    out.insert("login", KLumoServiceState::login());
    out.insert("company", KLumoServiceState::company());
    KLumoCtlConsole::print(out, true);
    return 0;
}

int KLumoCtl::runCall(const QString &name, const KLumoCtlOptions::Call &opts,
                      const std::function<LumoIpc::PendingCall(KLumoJsonCall::Done)> &send)
{
    // Without a connection the call still goes: the library ends it at once,
    // and says so.
    const bool connected = connectService(KLumoCtlOptions::msecs(opts.wait));
    std::optional<std::pair<LumoIpc::Status, KLumoJsonValue>> ended;
    LumoIpc::PendingCall call =
        send([&](const LumoIpc::Status &status, const KLumoJsonValue &result) {
            ended.emplace(status, result);
            recheckWait();
        });
    if (!call.isValid()) {
        fail(QStringLiteral("the library did not accept the call"));
        return Failure;
    }
    KLumoCallOutcome outcome;
    if (waitUntil([&] { return ended.has_value(); }, KLumoCtlOptions::msecs(opts.timeout))) {
        outcome = KLumoCallOutcome::of(ended->first);
    } else {
        call.cancel(); // its callable must not run once this frame is gone
        outcome = KLumoCallOutcome::timedOut(opts.timeout);
    }
    if (outcome.kind == KLumoCallOutcome::Answered) {
        KLumoCtlConsole::print(ended->second, opts.pretty);
        return outcome.exit;
    }
    QString said = name + QLatin1Char(' ') + outcome.text;
    if (!connected && outcome.kind == KLumoCallOutcome::NotConnected)
        said += QStringLiteral(" (no service answers on %1, waited %2 s)")
                    .arg(LumoIpcServerName())
                    .arg(opts.wait);
    fail(said);
    return outcome.exit;
}

int KLumoCtl::call(const QStringList &argsIn)
{
    KLumoCtlOptions line(argsIn);
    KLumoCtlOptions::Call opts;
    if (!line.takeCallOptions(&opts))
        return usageError(line.error());
    const QStringList &args = line.args();
    if (args.isEmpty() || args.size() > 2)
        return usageError(QStringLiteral("call METHOD [ARG_JSON]"));
    const KLumoCtlMethod *method = KLumoCtlCatalog::findMethod(args.at(0));
    if (!method)
        return usageError(QStringLiteral("\"%1\" is not a dispatched method (see lumoctl methods)")
                              .arg(args.at(0)));

    std::string parseError;
    const std::string text = args.size() == 2 ? args.at(1).toStdString() : std::string();
    KLumoJsonValue json =
        text.empty() ? KLumoJsonValue() : KLumoJsonValue::parse(text, &parseError);
    if (!parseError.empty())
        return usageError(
            QStringLiteral("ARG_JSON is not JSON: %1").arg(QString::fromStdString(parseError)));
    if (json.isNull()) {
        // No argument: the type's default.
        const jsonschema::Method *m = KLumoJsonSchemaIndex::method("KLumoServices", method->method);
        json = KLumoJsonCodec::defaultValue(jsonschema::fields[m->firstArg].type);
    }
    std::unique_ptr<KLumoCtlArgument> arg;
    try {
        arg = std::make_unique<KLumoCtlArgument>(method->method, method->argType, json);
    } catch (const KLumoJsonError &e) {
        return usageError(QString::fromUtf8(e.what()));
    }

    const QString name = QLatin1String(method->name);
    return runCall(name, opts, [&](KLumoJsonCall::Done done) {
        return KLumoJsonCall::call(name, *arg, this, std::move(done));
    });
}

int KLumoCtl::generic(const QStringList &argsIn)
{
    KLumoCtlOptions line(argsIn);
    KLumoCtlOptions::Call opts;
    if (!line.takeCallOptions(&opts))
        return usageError(line.error());
    QStringList &args = line.args();
    if (args.isEmpty())
        return usageError(QStringLiteral("generic NAME [PARAM...]"));
    const QString name = args.takeFirst();
    return runCall(name, opts, [&](KLumoJsonCall::Done done) {
        return KLumoJsonCall::generic(name, args, this, std::move(done));
    });
}

int KLumoCtl::monitor(const QStringList &argsIn)
{
    KLumoCtlOptions line(argsIn);
    double count = 0, timeout = 0;
    QStringList only;
    if (!line.takeNumber("--count", &count) || !line.takeNumber("--timeout", &timeout)
        || !line.takeAll("--signal", &only))
        return usageError(line.error());
    const bool listOnly = line.takeFlag("--list");
    if (!line.args().isEmpty())
        return usageError(QStringLiteral("unexpected argument \"%1\"").arg(line.args().first()));

    LumoIpcInit(true);
    QObject *events = LumoIpcEventObject();
    if (!events) {
        fail(QStringLiteral("the library did not start"));
        return 1;
    }
    if (listOnly) {
        for (const QString &name : KLumoCtlMonitor::signalNames(events))
            std::printf("%s\n", qPrintable(name));
        return 0;
    }
    for (const QString &name : only) {
        if (!KLumoCtlMonitor::signalNames(events).contains(name))
            return usageError(QStringLiteral("the event object has no signal \"%1\"").arg(name));
    }
    int seen = 0;
    KLumoCtlMonitor spy(
        events,
        [&](const KLumoJsonValue &event) {
            if (count > 0 && seen >= int(count))
                return;
            ++seen;
            KLumoCtlConsole::print(event, false);
            recheckWait();
        },
        only);
    std::fprintf(stderr, "lumoctl: watching %d signals of the event object\n", spy.signalCount());
    const bool reached = waitUntil([&] { return count > 0 && seen >= int(count); },
                                   timeout > 0 ? KLumoCtlOptions::msecs(timeout) : -1);
    if (count > 0 && !reached) {
        fail(QStringLiteral("%1 of %2 signals seen before the timeout").arg(seen).arg(int(count)));
        return 1;
    }
    return 0;
}

int KLumoCtl::start(const QStringList &argsIn)
{
    KLumoCtlOptions line(argsIn);
    double timeout = 5;
    if (!line.takeNumber("--timeout", &timeout))
        return usageError(line.error());
    if (line.args().size() > 1)
        return usageError(QStringLiteral("start [PARAM]"));
    LumoIpcInit(true);
    // A service that starts takes its lock and creates its socket in the
    // temporary folder: each change there is a moment to look again.
    QFileSystemWatcher watcher({QDir::tempPath()});
    connect(&watcher, &QFileSystemWatcher::directoryChanged, this, &KLumoCtl::recheckWait);
    LumoIpcStartLumoProcess(line.args().value(0));
    // The launcher runs on the global pool; it must have run before we exit.
    QThreadPool::globalInstance()->waitForDone(KLumoCtlOptions::msecs(timeout));
    const bool running =
        waitUntil([] { return LumoIpcCheckLumoRunning(); }, KLumoCtlOptions::msecs(timeout));
    KLumoJsonValue out = KLumoJsonValue::object();
    out.insert("running", running);
    KLumoCtlConsole::print(out, false);
    if (!running)
        fail(QStringLiteral("the service is not running after %1 s").arg(timeout));
    return running ? 0 : 1;
}

} // namespace ofx::lumo

#include "moc_klumoctl.cpp"
