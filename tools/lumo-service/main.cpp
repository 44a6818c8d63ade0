// lumo-service: a stand-in for the cloud-service process, for developing and
// testing against the library without the real service.

#include "klumoemulatorcontrol.h"
#include "klumoserviceemulator.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

using namespace ofx::lumo;

namespace {

const char Usage[] =
    "Usage: lumo-service [OPTIONS] [/lumodesk] [/start_from=WHO] [autologin]\n"
    "       lumo-service ctl COMMAND [ARGS] [--server-name NAME]\n"
    "\n"
    "Serves the lumo request interface on the user's local server name, holding\n"
    "the service's lock files, until stopped (ctl stop, SIGTERM or SIGINT).\n"
    "\n"
    "Options:\n"
    "  --scenario FILE      replies, delays, failures and the login profile (JSON)\n"
    "  --request-log FILE   append every request received as a JSON line\n"
    "  --frame-log FILE     append every frame received and sent as a JSON line\n"
    "  --server-name NAME   listen on NAME instead of the name the library forms\n"
    "  --fault NAME[,NAME]  depart from the protocol on purpose (repeatable; below)\n"
    "  --autologin, autologin  log the profile's user in at start\n"
    "  -h, --help           show this help\n"
    "Arguments beginning with '/' are the launcher's and are accepted as given.\n"
    "\n"
    "Control commands (ctl):\n"
    "  status                          service state as JSON\n"
    "  login [PROFILE_JSON]            log a user in (string map profile)\n"
    "  logout                          log the user out\n"
    "  push NOTIFICATION [ARG_JSON]    send a notification to every client\n"
    "  reply METHOD BEHAVIOUR_JSON     e.g. '{\"reply\":{...},\"delayMs\":100}',\n"
    "                                  '{\"fail\":\"text\"}', '{\"noReply\":true}'\n"
    "  generic NAME BEHAVIOUR_JSON     the same for asynCall(NAME, ...)\n"
    "  stall [on|off]                  stop (or resume) reading from clients\n"
    "  raw HEX                         send unframed bytes to every client\n"
    "  cut                             close every client's connection mid-frame\n"
    "  stop                            stop the service\n"
    "\n"
    "Faults (--fault), each a deliberate departure for testing conformance checks:\n";

int usageError(const char *message)
{
    std::fprintf(stderr, "lumo-service: %s\n(see lumo-service --help)\n", message);
    return 2;
}

bool parseJsonArgument(const char *text, const char *what, KLumoJsonValue *out)
{
    std::string error;
    *out = KLumoJsonValue::parse(text, &error);
    if (error.empty())
        return true;
    std::fprintf(stderr, "lumo-service: %s is not JSON: %s\n", what, error.c_str());
    return false;
}

int runControl(const QStringList &args, const QString &serverName)
{
    if (args.isEmpty())
        return usageError("ctl needs a command");
    const QString cmd = args.at(0);
    KLumoJsonValue command = KLumoJsonValue::object();
    command.insert("cmd", cmd.toStdString());
    auto needs = [&](int min, int max) { return args.size() - 1 >= min && args.size() - 1 <= max; };
    KLumoJsonValue json;
    if (cmd == QLatin1String("status") || cmd == QLatin1String("logout")
        || cmd == QLatin1String("cut") || cmd == QLatin1String("stop")) {
        if (!needs(0, 0))
            return usageError("this command takes no arguments");
    } else if (cmd == QLatin1String("login")) {
        if (!needs(0, 1))
            return usageError("login takes at most a profile");
        if (args.size() == 2) {
            if (!parseJsonArgument(args.at(1).toUtf8().constData(), "the profile", &json))
                return 2;
            command.insert("profile", json);
        }
    } else if (cmd == QLatin1String("push")) {
        if (!needs(1, 2))
            return usageError("push NOTIFICATION [ARG_JSON]");
        command.insert("name", args.at(1).toStdString());
        if (args.size() == 3) {
            if (!parseJsonArgument(args.at(2).toUtf8().constData(), "the argument", &json))
                return 2;
            command.insert("arg", json);
        }
    } else if (cmd == QLatin1String("reply") || cmd == QLatin1String("generic")) {
        if (!needs(2, 2))
            return usageError("reply METHOD BEHAVIOUR_JSON / generic NAME BEHAVIOUR_JSON");
        command.insert(cmd == QLatin1String("reply") ? "method" : "name", args.at(1).toStdString());
        if (!parseJsonArgument(args.at(2).toUtf8().constData(), "the behaviour", &json))
            return 2;
        command.insert("behaviour", json);
    } else if (cmd == QLatin1String("stall")) {
        if (!needs(0, 1)
            || (args.size() == 2 && args.at(1) != QLatin1String("on")
                && args.at(1) != QLatin1String("off")))
            return usageError("stall [on|off]");
        command.insert("on", args.size() < 2 || args.at(1) == QLatin1String("on"));
    } else if (cmd == QLatin1String("raw")) {
        if (!needs(1, 1))
            return usageError("raw HEX");
        command.insert("hex", args.at(1).toStdString());
    } else {
        return usageError("unknown ctl command");
    }
    KLumoJsonValue answer;
    QString error;
    if (!KLumoEmulatorControl::request(serverName, command, &answer, &error)) {
        std::fprintf(stderr, "lumo-service: %s\n", qPrintable(error));
        return 1;
    }
    std::printf("%s\n", answer.serialize().c_str());
    const KLumoJsonValue *ok = answer.find("ok");
    return ok && ok->isBool() && ok->toBool() ? 0 : 1;
}

int g_signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char c = 1;
    (void)!::write(g_signalPipe[1], &c, 1);
}

} // namespace

int main(int argc, char *argv[])
{
    // The plain poll() dispatcher: the GLib one wakes itself up every time a
    // socket notifier is switched, twice for each request answered.
    if (qEnvironmentVariableIsEmpty("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    QString serverName = KLumoServiceEmulator::defaultServerName();
    const int nameAt = args.indexOf(QStringLiteral("--server-name"));
    if (nameAt >= 0) {
        if (nameAt + 1 >= args.size())
            return usageError("--server-name needs a value");
        serverName = args.at(nameAt + 1);
        args.erase(args.begin() + nameAt, args.begin() + nameAt + 2);
    }
    if (args.contains(QStringLiteral("-h")) || args.contains(QStringLiteral("--help"))) {
        std::fputs(Usage, stdout);
        std::fputs(qPrintable(KLumoEmulatorFaults::help()), stdout);
        return 0;
    }
    if (!args.isEmpty() && args.at(0) == QLatin1String("ctl"))
        return runControl(args.mid(1), serverName);

    QString scenarioFile, requestLog, frameLog;
    bool autologin = false;
    KLumoServiceEmulator emulator;
    QString qerror;
    for (int i = 0; i < args.size(); ++i) {
        const QString &a = args.at(i);
        if (a == QLatin1String("--scenario") || a == QLatin1String("--request-log")
            || a == QLatin1String("--frame-log")) {
            if (i + 1 >= args.size())
                return usageError("option needs a value");
            (a == QLatin1String("--scenario")          ? scenarioFile
                 : a == QLatin1String("--request-log") ? requestLog
                                                       : frameLog) = args.at(++i);
        } else if (a == QLatin1String("--fault")) {
            if (i + 1 >= args.size())
                return usageError("--fault needs a name");
            if (!emulator.faults().add(args.at(++i), &qerror))
                return usageError(qPrintable(qerror));
        } else if (a == QLatin1String("autologin") || a == QLatin1String("--autologin")) {
            autologin = true;
        } else if (a.startsWith(QLatin1Char('/'))) {
            // The launcher's own arguments ("/lumodesk", "/start_from=lumoipc").
        } else {
            return usageError(qPrintable(QStringLiteral("unknown argument \"%1\"").arg(a)));
        }
    }

    std::string error;
    if (!scenarioFile.isEmpty()
        && !emulator.scenario().loadFile(scenarioFile.toStdString(), &error)) {
        std::fprintf(stderr, "lumo-service: %s\n", error.c_str());
        return 2;
    }
    if ((!requestLog.isEmpty() && !emulator.setRequestLog(requestLog, &qerror))
        || (!frameLog.isEmpty() && !emulator.setFrameLog(frameLog, &qerror))) {
        std::fprintf(stderr, "lumo-service: %s\n", qPrintable(qerror));
        return 1;
    }
    if (!emulator.start(serverName, &qerror)) {
        std::fprintf(stderr, "lumo-service: %s\n", qPrintable(qerror));
        return 1;
    }
    KLumoEmulatorControl control(&emulator);
    if (!control.listen(serverName, &qerror)) {
        std::fprintf(stderr, "lumo-service: %s\n", qPrintable(qerror));
        return 1;
    }
    if (autologin && !emulator.login(nullptr, &error)) {
        std::fprintf(stderr, "lumo-service: autologin failed: %s\n", error.c_str());
        return 1;
    }

    // SIGTERM and SIGINT stop the service cleanly, releasing its locks.
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, g_signalPipe) == 0) {
        struct sigaction sa;
        std::memset(&sa, 0, sizeof sa);
        sa.sa_handler = onSignal;
        sa.sa_flags = SA_RESTART;
        ::sigaction(SIGTERM, &sa, nullptr);
        ::sigaction(SIGINT, &sa, nullptr);
    }
    QSocketNotifier signalNotifier(g_signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&signalNotifier, &QSocketNotifier::activated, &emulator, [&emulator] {
        char c;
        (void)!::read(g_signalPipe[0], &c, 1);
        emulator.stop();
    });
    QObject::connect(&emulator, &KLumoServiceEmulator::stopped, &app, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    // A client that vanished must not take the service down with SIGPIPE.
    std::signal(SIGPIPE, SIG_IGN);

    std::fprintf(stderr, "lumo-service: serving %s (pid %lld)%s\n",
                 qPrintable(emulator.fullServerName()), qint64(QCoreApplication::applicationPid()),
                 emulator.isLoggedIn() ? ", user logged in" : "");
    return app.exec();
}
