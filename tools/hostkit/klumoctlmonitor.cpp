#include "klumoctlmonitor.h"

#include "klumojsoncodec.h"

#include <LumoIpc/LumoTypes>

#include <QJsonDocument>
#include <QJsonValue>
#include <QMap>
#include <QStringList>
#include <QVariant>
#include <QVector>

namespace ofx::lumo {

namespace {

KLumoJsonValue fromQJson(const QJsonValue &v)
{
    // QJsonValue has no exact 64-bit integers; it is only used for QVariant
    // arguments, which carry no record data.
    const QByteArray text =
        QJsonDocument::fromVariant(QVariantList {v.toVariant()}).toJson(QJsonDocument::Compact);
    const KLumoJsonValue list = KLumoJsonValue::parse(text.toStdString(), nullptr);
    return list.isArray() && list.size() == 1 ? list.elements().front() : KLumoJsonValue();
}

KLumoJsonValue recordToJson(const char *typeName, const void *data)
{
    std::string name = typeName;
    const std::string ns = "ofx::lumo::";
    if (name.compare(0, ns.size(), ns) == 0)
        name.erase(0, ns.size());
    const int record = KLumoJsonSchemaIndex::recordIndex(name);
    if (record < 0)
        return KLumoJsonValue();
    return KLumoJsonCodec::toJson(*KLumoJsonSchemaIndex::recordOps(record), data);
}

} // namespace

KLumoCtlMonitor::KLumoCtlMonitor(QObject *source, Sink sink, const QStringList &only)
    : m_fnSink(std::move(sink))
{
    const QMetaObject *mo = source->metaObject();
    const int first = QObject::staticMetaObject.methodCount();
    for (int i = first; i < mo->methodCount(); ++i) {
        const QMetaMethod m = mo->method(i);
        if (m.methodType() != QMetaMethod::Signal)
            continue;
        if (!only.isEmpty() && !only.contains(QString::fromLatin1(m.name())))
            continue;
        if (QMetaObject::connect(source, i, this, first + int(m_lstSignals.size()),
                                 Qt::DirectConnection))
            m_lstSignals.push_back(m);
    }
}

QStringList KLumoCtlMonitor::signalNames(const QObject *source)
{
    QStringList names;
    const QMetaObject *mo = source->metaObject();
    for (int i = QObject::staticMetaObject.methodCount(); i < mo->methodCount(); ++i) {
        if (mo->method(i).methodType() == QMetaMethod::Signal)
            names << QString::fromLatin1(mo->method(i).name());
    }
    return names;
}

KLumoJsonValue KLumoCtlMonitor::argumentToJson(int type, const char *typeName, const void *data)
{
    switch (type) {
    case QMetaType::Bool:
        return KLumoJsonValue(*static_cast<const bool *>(data));
    case QMetaType::Int:
        return KLumoJsonValue(int64_t(*static_cast<const int *>(data)));
    case QMetaType::UInt:
        return KLumoJsonValue(int64_t(*static_cast<const uint *>(data)));
    case QMetaType::LongLong:
        return KLumoJsonValue(int64_t(*static_cast<const qlonglong *>(data)));
    case QMetaType::Double:
        return KLumoJsonValue(*static_cast<const double *>(data));
    case QMetaType::QString:
        return KLumoJsonValue(static_cast<const QString *>(data)->toStdString());
    case QMetaType::QByteArray:
        return KLumoJsonValue(static_cast<const QByteArray *>(data)->toStdString());
    case QMetaType::QStringList: {
        KLumoJsonValue v = KLumoJsonValue::array();
        for (const QString &s : *static_cast<const QStringList *>(data))
            v.append(s.toStdString());
        return v;
    }
    case QMetaType::QVariant:
        return fromQJson(QJsonValue::fromVariant(*static_cast<const QVariant *>(data)));
    case QMetaType::QVariantMap:
        return fromQJson(QJsonValue::fromVariant(*static_cast<const QVariantMap *>(data)));
    default:
        break;
    }
    const QByteArray name(typeName);
    if (name == "QMap<QString,QString>") {
        const auto &map = *static_cast<const QMap<QString, QString> *>(data);
        KLumoJsonValue v = KLumoJsonValue::object();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            v.insert(it.key().toStdString(), it.value().toStdString());
        return v;
    }
    // The one container of records among the signals (Qt 6 spells QVector QList).
    if (name == "QVector<ofx::lumo::CloudItem>" || name == "QVector<CloudItem>"
        || name == "QList<ofx::lumo::CloudItem>" || name == "QList<CloudItem>") {
        KLumoJsonValue v = KLumoJsonValue::array();
        for (const CloudItem &item : *static_cast<const QVector<CloudItem> *>(data))
            v.append(KLumoJsonCodec::toJson(item));
        return v;
    }
    KLumoJsonValue record = recordToJson(typeName, data);
    if (!record.isNull())
        return record;
    KLumoJsonValue unknown = KLumoJsonValue::object();
    unknown.insert("unsupported", name.toStdString());
    return unknown;
}

int KLumoCtlMonitor::qt_metacall(QMetaObject::Call call, int id, void **args)
{
    id = QObject::qt_metacall(call, id, args);
    if (id < 0 || call != QMetaObject::InvokeMetaMethod)
        return id;
    if (id < int(m_lstSignals.size())) {
        const QMetaMethod &m = m_lstSignals[size_t(id)];
        KLumoJsonValue event = KLumoJsonValue::object();
        event.insert("signal", m.name().toStdString());
        KLumoJsonValue list = KLumoJsonValue::array();
        for (int i = 0; i < m.parameterCount(); ++i)
            list.append(argumentToJson(m.parameterType(i), m.parameterTypes().at(i).constData(),
                                       args[i + 1]));
        event.insert("args", std::move(list));
        m_fnSink(event);
    }
    return id - int(m_lstSignals.size());
}

} // namespace ofx::lumo
