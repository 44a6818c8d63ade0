// lumo-inspector: the service's state and notifications, a console that calls
// it, and captures as sequence charts, through the library's exported
// functions only.

#include "klumocaptureview.h"
#include "klumoinspectorwindow.h"

#include <LumoIpc/LumoIpc>

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QIcon>

int main(int argc, char *argv[])
{
    // Help needs no display: let it print where there is none.
    for (int i = 1; i < argc; ++i) {
        const QByteArray a(argv[i]);
        if ((a == "-h" || a == "--help" || a == "--help-all")
            && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    // Named after its executable, as its .desktop file is (lumo-inspector-qt6 too).
    app.setDesktopFileName(QFileInfo(app.applicationFilePath()).fileName());
    // Installed as an SVG into the icon theme; shown where Qt can read SVG.
    app.setWindowIcon(QIcon::fromTheme(QStringLiteral("lumo-inspector")));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Shows the lumo service as the library sees it, calls it, and draws captures written "
        "with LUMOIPC_CAPTURE as sequence charts."));
    parser.addHelpOption();
    const QCommandLineOption follow(QStringLiteral("follow"),
                                    QStringLiteral("Follow the captures as they are written."));
    const QCommandLineOption offline(QStringLiteral("no-service"),
                                     QStringLiteral("Do not start the library: captures only."));
    parser.addOptions({follow, offline});
    parser.addPositionalArgument(QStringLiteral("capture"),
                                 QStringLiteral("Capture files to open (pcapng)."),
                                 QStringLiteral("[capture...]"));
    parser.process(app);

    int rc;
    {
        ofx::lumo::KLumoInspectorWindow window;
        if (!parser.isSet(offline)) {
            LumoIpcInit(true);
            window.attach(LumoIpcEventObject());
        }
        if (!parser.positionalArguments().isEmpty()) {
            window.showTab(ofx::lumo::KLumoInspectorWindow::Capture);
            window.captureView()->open(parser.positionalArguments(), parser.isSet(follow));
        }
        window.show();
        rc = app.exec();
    }
    LumoIpcFree();
    return rc;
}
