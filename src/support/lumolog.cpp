#include "support/lumolog.h"

#include <QDebug>

#include <thrift/TOutput.h>

Q_LOGGING_CATEGORY(lcLumoIpc, "lumoipc", QtInfoMsg)
Q_LOGGING_CATEGORY(lcTransport, "lumoipc.transport", QtInfoMsg)
Q_LOGGING_CATEGORY(lcConnection, "lumoipc.connection", QtInfoMsg)
Q_LOGGING_CATEGORY(lcNotify, "lumoipc.notify", QtInfoMsg)
Q_LOGGING_CATEGORY(lcPush, "lumoipc.push", QtInfoMsg)
Q_LOGGING_CATEGORY(lcIpc, "lumoipc.ipc", QtInfoMsg)
Q_LOGGING_CATEGORY(lcCapture, "lumoipc.capture", QtInfoMsg)
Q_LOGGING_CATEGORY(lcThrift, "lumoipc.thrift", QtWarningMsg)

void _nvo_log_msg(QtMsgType type, const char *category, const QString &message)
{
    QMessageLogger logger(nullptr, 0, nullptr, category ? category : "lumoipc");
    // The stream, unlike a "%s" format, keeps a line whole past a NUL (a
    // protocol violation logs the raw header it saw).
    QDebug stream = [&] {
        switch (type) {
        case QtDebugMsg:
            return logger.debug();
        case QtInfoMsg:
            return logger.info();
        case QtWarningMsg:
            return logger.warning();
        case QtCriticalMsg:
        case QtFatalMsg: // never abort the host for a library log line
            break;
        }
        return logger.critical();
    }();
    stream.noquote().nospace() << message;
}

namespace ofx::lumo::log {

void write(const QLoggingCategory &category, QtMsgType type, const QString &message)
{
    if (category.isEnabled(type))
        _nvo_log_msg(type, category.categoryName(), message);
}

static void thriftOutput(const char *text)
{
    write(lcThrift(), QtWarningMsg, QString::fromUtf8(text));
}

void installThriftOutput()
{
    apache::thrift::GlobalOutput.setOutputFunction(&thriftOutput);
}

} // namespace ofx::lumo::log
