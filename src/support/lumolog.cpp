#include "support/lumolog.h"

#include <thrift/TOutput.h>

Q_LOGGING_CATEGORY(lcLumoIpc, "lumoipc", QtInfoMsg)
Q_LOGGING_CATEGORY(lcTransport, "lumoipc.transport", QtInfoMsg)
Q_LOGGING_CATEGORY(lcConnection, "lumoipc.connection", QtInfoMsg)
Q_LOGGING_CATEGORY(lcNotify, "lumoipc.notify", QtInfoMsg)
Q_LOGGING_CATEGORY(lcPush, "lumoipc.push", QtInfoMsg)
Q_LOGGING_CATEGORY(lcIpc, "lumoipc.ipc", QtInfoMsg)
Q_LOGGING_CATEGORY(lcThrift, "lumoipc.thrift", QtWarningMsg)

void _nvo_log_msg(QtMsgType type, const char *category, const QString &message)
{
    QMessageLogger logger(nullptr, 0, nullptr, category ? category : "lumoipc");
    const QByteArray text = message.toUtf8();
    switch (type) {
    case QtDebugMsg:
        logger.debug("%s", text.constData());
        break;
    case QtInfoMsg:
        logger.info("%s", text.constData());
        break;
    case QtWarningMsg:
        logger.warning("%s", text.constData());
        break;
    case QtCriticalMsg:
    case QtFatalMsg: // never abort the host for a library log line
        logger.critical("%s", text.constData());
        break;
    }
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
