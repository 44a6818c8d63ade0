#pragma once

#include "klumoemulatorcontrolname.h"
#include "klumojsonvalue.h"

#include <QLocalServer>
#include <QObject>

class QLocalSocket;

namespace ofx::lumo {

class KLumoServiceEmulator;

/**
 * The emulator's own control interface: a second local server, named after the
 * service's with ".ctl" appended, taking one JSON object per line and answering
 * each with one line, {"ok": true, ...} or {"ok": false, "error": "..."}.
 *
 *   {"cmd":"status"}
 *   {"cmd":"login", "profile":{...}}           profile optional
 *   {"cmd":"logout"}
 *   {"cmd":"push", "name":"notifyFileAction", "arg":{...}, "count":1}
 *   {"cmd":"reply", "method":"createFolder", "behaviour":{"reply":{...}}}
 *   {"cmd":"generic", "name":"getSkinInfo", "behaviour":{...}}
 *   {"cmd":"stall", "on":true}                 stop (or resume) reading from clients
 *   {"cmd":"raw", "hex":"6c756d6f..."}         unframed bytes to every client
 *   {"cmd":"cut"}                              close every client mid-frame
 *   {"cmd":"stop"}
 *
 * Lives on the emulator's thread.
 */
class KLumoEmulatorControl : public QObject
{
    Q_OBJECT
public:
    explicit KLumoEmulatorControl(KLumoServiceEmulator *emulator, QObject *parent = nullptr);

    bool listen(const QString &serverName, QString *error);

    // Handles one command; public so that the command-line side and tests share it.
    KLumoJsonValue execute(const KLumoJsonValue &command);

    // The client side: sends @p command to the emulator serving @p serverName and
    // waits for its answer. Returns false with @p error when nobody answers.
    static bool request(const QString &serverName, const KLumoJsonValue &command,
                        KLumoJsonValue *answer, QString *error, int timeoutMs = 5000);

private:
    void onNewConnection();
    void onReadyRead(QLocalSocket *socket);

    KLumoServiceEmulator *m_pEmulator;
    QLocalServer m_oServer;
};

} // namespace ofx::lumo
