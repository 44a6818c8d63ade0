#include "klumoctl.h"

#include "klumoctlargument.h"
#include "klumoctlmonitor.h"
#include "klumojsonsample.h"
#include "lumoctl_dispatch.h"

#include "ipc/lumoipc.h"
#include "transport/kxlocalservernames.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThreadPool>
#include <QTimer>

#include <cstdio>
#include <pwd.h>
#include <unistd.h>

namespace ofx::lumo {

namespace {

const char *const HelpTexts[][2] = {
    {"status",
     "lumoctl status [--wait S]\n"
     "  Whether the service runs and a user is logged in, the login and company\n"
     "  records, and the socket state, as one JSON object.\n"},
    {"call",
     "lumoctl call METHOD [ARG_JSON] [--timeout S] [--wait S] [--pretty]\n"
     "  Calls a dispatched METHOD (see `lumoctl methods`) through LumoIpcAsynCallEx.\n"
     "  ARG_JSON is the argument record as an object (absent fields take their\n"
     "  defaults), or the bare JSON value when the argument is a string, list or\n"
     "  map. Prints the result as one JSON value (null for void methods); exits 0\n"
     "  when the success flag is true, 1 otherwise, 2 on usage errors.\n"},
    {"generic",
     "lumoctl generic NAME [PARAM...] [--timeout S] [--wait S] [--pretty]\n"
     "  Calls NAME by the generic route (LumoIpcAsynCall) with string parameters\n"
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
};

const char Usage[] = "Usage: lumoctl [--verbose] COMMAND [ARGS]\n"
                     "Commands: status, call, generic, monitor, methods, describe, start.\n"
                     "`lumoctl help COMMAND` or `lumoctl COMMAND --help` for details.\n";

int usageError(const QString &message)
{
    std::fprintf(stderr, "lumoctl: %s\n(see lumoctl --help)\n", qPrintable(message));
    return 2;
}

void fail(const QString &message)
{
    std::fprintf(stderr, "lumoctl: %s\n", qPrintable(message));
}

void print(const KLumoJsonValue &v, bool pretty)
{
    std::printf("%s\n", v.serialize(pretty ? 2 : 0).c_str());
    std::fflush(stdout);
}

// Removes "--name VALUE" from @p args; @p out keeps its value when absent.
bool takeNumber(QStringList &args, const char *name, double *out, QString *error)
{
    const int i = args.indexOf(QLatin1String(name));
    if (i < 0)
        return true;
    bool ok = false;
    const double v = i + 1 < args.size() ? args.at(i + 1).toDouble(&ok) : 0;
    if (!ok || v < 0) {
        *error = QStringLiteral("%1 needs a non-negative number").arg(QLatin1String(name));
        return false;
    }
    *out = v;
    args.erase(args.begin() + i, args.begin() + i + 2);
    return true;
}

bool takeFlag(QStringList &args, const char *name)
{
    return args.removeAll(QLatin1String(name)) > 0;
}

// The options shared by the commands that issue a call.
struct CallOptions
{
    double timeout = 30; // seconds for the answer
    double wait = 3; // seconds for the connection
    bool pretty = false;
};

bool takeCallOptions(QStringList &args, CallOptions *opts, QString *error)
{
    if (!takeNumber(args, "--timeout", &opts->timeout, error)
        || !takeNumber(args, "--wait", &opts->wait, error))
        return false;
    opts->pretty = takeFlag(args, "--pretty");
    return true;
}

QString serverName()
{
    const passwd *pw = ::getpwuid(::getuid());
    return QLatin1String(servername::Ipc) + QString::fromLocal8Bit(pw ? pw->pw_name : "")
        + QString::number(::getuid());
}

KLumoJsonValue describeFields(int first, int count)
{
    KLumoJsonValue list = KLumoJsonValue::array();
    for (int i = first; i < first + count; ++i) {
        const jsonschema::Field &f = jsonschema::fields[i];
        std::string line = std::to_string(f.id) + ": " + (f.optional ? "optional " : "")
            + KLumoJsonSchemaIndex::typeName(f.type) + " " + f.name;
        list.append(line);
    }
    return list;
}

void printRecord(int record)
{
    const jsonschema::Record &r = jsonschema::records[record];
    std::printf("struct %s {\n", r.name);
    const KLumoJsonValue lines = describeFields(r.firstField, r.fieldCount);
    for (const KLumoJsonValue &line : lines.elements())
        std::printf("  %s\n", line.toString().c_str());
    std::printf("}\n");
}

} // namespace

KLumoCtl::KLumoCtl()
    : m_receiver(std::make_unique<KLumoCtlReceiver>())
{ }

KLumoCtl::~KLumoCtl()
{
    m_receiver.reset();
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
        return methods(args);
    if (cmd == QLatin1String("describe"))
        return describe(args);
    if (cmd == QLatin1String("start"))
        return start(args);
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
    QTimer tick;
    QElapsedTimer elapsed;
    elapsed.start();
    connect(&tick, &QTimer::timeout, &loop, [&] {
        if (done() || elapsed.elapsed() >= timeoutMs)
            loop.quit();
    });
    // Results end the wait at once rather than on the next tick.
    connect(m_receiver.get(), &KLumoCtlReceiverBase::resultReady, &loop, [&] {
        if (done())
            loop.quit();
    });
    tick.start(20);
    loop.exec();
    return done();
}

bool KLumoCtl::requireService(double waitSeconds)
{
    if (connectService(int(waitSeconds * 1000)))
        return true;
    fail(QStringLiteral("no service answers on %1 (waited %2 s)")
             .arg(serverName())
             .arg(waitSeconds));
    return false;
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
    return waitUntil([this] { return m_connected; }, waitMs);
}

void KLumoCtl::onSocketConnected()
{
    m_connected = true;
}

void KLumoCtl::onSocketDisConnected()
{
    m_connected = false;
    m_disconnected = true;
}

const KLumoCtlMethod *KLumoCtl::findMethod(const QString &name)
{
    for (const KLumoCtlMethod &m : lumoctlMethods) {
        if (name == QLatin1String(m.name))
            return &m;
    }
    return nullptr;
}

int KLumoCtl::status(const QStringList &argsIn)
{
    QStringList args = argsIn;
    double wait = 2;
    QString error;
    if (!takeNumber(args, "--wait", &wait, &error))
        return usageError(error);
    if (!args.isEmpty())
        return usageError(QStringLiteral("status takes no arguments"));
    const bool running = LumoIpcCheckLumoRunning();
    const bool connected = connectService(running ? int(wait * 1000) : 300);
    if (connected && LumoIpcCheckLumoLogined())
        waitUntil([] { return LumoIpcLoginCache().isLogined; }, int(wait * 1000));

    const KLumoIpcLoginCache &l = LumoIpcLoginCache();
    KLumoJsonValue login = KLumoJsonValue::object();
    login.insert("isLogined", l.isLogined);
    for (const auto &f :
         {std::make_pair("userId", &l.userId), std::make_pair("userName", &l.userName),
          std::make_pair("nickName", &l.nickName), std::make_pair("account", &l.account),
          std::make_pair("loginMode", &l.loginMode),
          std::make_pair("currentCompanyId", &l.currentCompanyId)})
        login.insert(f.first, f.second->toStdString());
    login.insert("isVip", l.isVip);
    login.insert("isCompanyAccount", l.isCompanyAccount);
    login.insert("isRoamingOpen", l.isRoamingOpen);
    const KCompanyInfoCache &c = LumoIpcCompanyCache();
    KLumoJsonValue company = KLumoJsonValue::object();
    company.insert("companyId", c.companyId.toStdString());
    company.insert("companyName", c.companyName.toStdString());
    company.insert("role", c.role.toStdString());

    KLumoJsonValue out = KLumoJsonValue::object();
    out.insert("server", serverName().toStdString());
    out.insert("running", running);
    out.insert("logined", LumoIpcCheckLumoLogined());
    out.insert("socket", connected ? "connected" : "unconnected");
    out.insert("login", std::move(login));
    out.insert("company", std::move(company));
    print(out, true);
    return 0;
}

int KLumoCtl::call(const QStringList &argsIn)
{
    QStringList args = argsIn;
    CallOptions opts;
    QString error;
    if (!takeCallOptions(args, &opts, &error))
        return usageError(error);
    const double timeout = opts.timeout, wait = opts.wait;
    const bool pretty = opts.pretty;
    if (args.isEmpty() || args.size() > 2)
        return usageError(QStringLiteral("call METHOD [ARG_JSON]"));
    const KLumoCtlMethod *method = findMethod(args.at(0));
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

    if (!requireService(wait))
        return 1;
    QElapsedTimer elapsed;
    elapsed.start();
    const QString id = LumoIpcAsynCallEx(QLatin1String(method->name), arg->argument(),
                                         m_receiver.get(), QStringLiteral("onResult"));
    arg.reset();
    if (id.isEmpty()) {
        fail(QStringLiteral("the library did not accept the call"));
        return 1;
    }
    if (!waitUntil([&] { return m_receiver->has(id); }, int(timeout * 1000))) {
        fail(QStringLiteral("%1: no result within %2 s")
                 .arg(QLatin1String(method->name))
                 .arg(timeout));
        return 1;
    }
    const KLumoCtlReceiverBase::Result result = m_receiver->take(id);
    print(result.value, pretty);
    if (result.ok)
        return 0;
    const char *reason = m_disconnected
        ? "the connection to the service was lost"
        : "the service answered with a failure, or did not answer in time";
    fail(QStringLiteral("%1 failed after %2 ms: %3")
             .arg(QLatin1String(method->name))
             .arg(elapsed.elapsed())
             .arg(QLatin1String(reason)));
    return 1;
}

int KLumoCtl::generic(const QStringList &argsIn)
{
    QStringList args = argsIn;
    CallOptions opts;
    QString error;
    if (!takeCallOptions(args, &opts, &error))
        return usageError(error);
    const double timeout = opts.timeout, wait = opts.wait;
    const bool pretty = opts.pretty;
    if (args.isEmpty())
        return usageError(QStringLiteral("generic NAME [PARAM...]"));
    const QString name = args.takeFirst();
    if (!requireService(wait))
        return 1;
    const QString id = LumoIpcAsynCall(name, args, m_receiver.get(), QStringLiteral("onGeneric"));
    if (id.isEmpty() || !waitUntil([&] { return m_receiver->has(id); }, int(timeout * 1000))) {
        fail(QStringLiteral("%1: no result within %2 s").arg(name).arg(timeout));
        return 1;
    }
    const KLumoCtlReceiverBase::Result result = m_receiver->take(id);
    print(result.value, pretty);
    if (!result.ok)
        fail(QStringLiteral("%1 failed").arg(name));
    return result.ok ? 0 : 1;
}

int KLumoCtl::monitor(const QStringList &argsIn)
{
    QStringList args = argsIn;
    double count = 0, timeout = 0;
    QString error;
    if (!takeNumber(args, "--count", &count, &error)
        || !takeNumber(args, "--timeout", &timeout, &error))
        return usageError(error);
    const bool listOnly = takeFlag(args, "--list");
    QStringList only;
    for (int i = args.indexOf(QLatin1String("--signal")); i >= 0;
         i = args.indexOf(QLatin1String("--signal"))) {
        if (i + 1 >= args.size())
            return usageError(QStringLiteral("--signal needs a name"));
        only << args.at(i + 1);
        args.erase(args.begin() + i, args.begin() + i + 2);
    }
    if (!args.isEmpty())
        return usageError(QStringLiteral("unexpected argument \"%1\"").arg(args.first()));

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
            print(event, false);
        },
        only);
    std::fprintf(stderr, "lumoctl: watching %d signals of the event object\n", spy.signalCount());
    const bool reached =
        waitUntil([&] { return count > 0 && seen >= int(count); },
                  timeout > 0 ? int(timeout * 1000) : std::numeric_limits<int>::max());
    if (count > 0 && !reached) {
        fail(QStringLiteral("%1 of %2 signals seen before the timeout").arg(seen).arg(int(count)));
        return 1;
    }
    return 0;
}

int KLumoCtl::methods(const QStringList &argsIn)
{
    QStringList args = argsIn;
    const bool json = takeFlag(args, "--json");
    if (!args.isEmpty())
        return usageError(QStringLiteral("methods takes no arguments"));
    KLumoJsonValue list = KLumoJsonValue::array();
    for (const KLumoCtlMethod &m : lumoctlMethods) {
        if (!json) {
            std::printf("%s\n", m.name);
            continue;
        }
        KLumoJsonValue row = KLumoJsonValue::object();
        row.insert("name", m.name);
        row.insert("method", m.method);
        row.insert("argument", m.argType);
        row.insert("result", m.resultType);
        list.append(std::move(row));
    }
    if (json)
        print(list, true);
    return 0;
}

int KLumoCtl::describe(const QStringList &argsIn)
{
    QStringList args = argsIn;
    const bool example = takeFlag(args, "--example");
    if (args.size() != 1)
        return usageError(QStringLiteral("describe NAME [--example]"));
    const std::string name = args.at(0).toStdString();
    const jsonschema::Method *m = nullptr;
    if (const KLumoCtlMethod *d = findMethod(args.at(0)))
        m = KLumoJsonSchemaIndex::method("KLumoServices", d->method);
    if (!m)
        m = KLumoJsonSchemaIndex::method("KLumoServices", name);
    if (!m)
        m = KLumoJsonSchemaIndex::method("KLumoNotifyServices", name);
    const int record = KLumoJsonSchemaIndex::recordIndex(name);
    if (!m && record < 0) {
        fail(QStringLiteral("\"%1\" is neither a method nor a record").arg(args.at(0)));
        return 1;
    }
    if (example) {
        const int type = m ? (m->argCount ? jsonschema::fields[m->firstArg].type : -1)
                           : KLumoJsonSchemaIndex::recordType(record);
        print(type >= 0 ? KLumoJsonSample::value(type) : KLumoJsonValue(), true);
        return 0;
    }
    if (!m) {
        printRecord(record);
        return 0;
    }
    std::string signature =
        std::string(jsonschema::services[m->service].name) + "." + m->name + "(";
    for (int i = 0; i < m->argCount; ++i) {
        const jsonschema::Field &f = jsonschema::fields[m->firstArg + i];
        signature += (i ? ", " : "") + std::to_string(f.id) + ": "
            + KLumoJsonSchemaIndex::typeName(f.type) + " " + f.name;
    }
    signature +=
        std::string(") -> ") + (m->oneway ? "oneway" : KLumoJsonSchemaIndex::typeName(m->result));
    std::printf("%s\n", signature.c_str());
    for (int i = 0; i < m->argCount; ++i) {
        const int r = KLumoJsonSchemaIndex::recordOfType(jsonschema::fields[m->firstArg + i].type);
        if (r >= 0)
            printRecord(r);
    }
    const int r = m->oneway ? -1 : KLumoJsonSchemaIndex::recordOfType(m->result);
    if (r >= 0)
        printRecord(r);
    return 0;
}

int KLumoCtl::start(const QStringList &argsIn)
{
    QStringList args = argsIn;
    double timeout = 5;
    QString error;
    if (!takeNumber(args, "--timeout", &timeout, &error))
        return usageError(error);
    if (args.size() > 1)
        return usageError(QStringLiteral("start [PARAM]"));
    LumoIpcInit(true);
    LumoIpcStartLumoProcess(args.value(0));
    // The launcher runs on the global pool; it must have run before we exit.
    QThreadPool::globalInstance()->waitForDone(int(timeout * 1000));
    const bool running = waitUntil([] { return LumoIpcCheckLumoRunning(); }, int(timeout * 1000));
    KLumoJsonValue out = KLumoJsonValue::object();
    out.insert("running", running);
    print(out, false);
    if (!running)
        fail(QStringLiteral("the service is not running after %1 s").arg(timeout));
    return running ? 0 : 1;
}

} // namespace ofx::lumo
