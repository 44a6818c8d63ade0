// The smallest useful host: start the library, look at the login state,
// listen for changes, use a record by value, stop.
#include <lumo_types.h>
#include <lumoipc.h>

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    app.setApplicationName(QStringLiteral("lumo_example_host"));

    if (!LumoIpcInit(false))
        return 1;
    QObject *events = LumoIpcEventObject();
    if (!events)
        return 2;
    QObject::connect(events, SIGNAL(LoginStatusChange()), &app, SLOT(quit()));

    const KLumoIpcLoginCache &login = LumoIpcLoginCache();
    std::printf("logined=%d running=%d user=\"%s\" company=\"%s\"\n", int(login.isLogined),
                int(LumoIpcCheckLumoRunning()), qPrintable(login.userName),
                qPrintable(LumoIpcCompanyCache().companyName));

    ofx::lumo::CloudItem item;
    item.__set_name("example.txt");
    std::printf("record=%s\n", item.name.c_str());

    // A service would answer on its socket; without one, stop after a moment.
    QTimer::singleShot(200, &app, &QCoreApplication::quit);
    app.exec();

    LumoIpcFree();
    std::printf("freed object=%p\n", static_cast<void *>(LumoIpcEventObject()));
    return 0;
}
