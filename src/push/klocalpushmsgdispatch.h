#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>
#include <QVariant>

#include <functional>

namespace ofx::lumo {

/**
 * Turns local push messages ("act=<word>&key=value&...", broadcast by the
 * service through the notification "notifyBroadcastLocalMsg") into signals,
 * by action word.
 *
 * Message form: pairs separated by "&", key and value split at the first "="
 * (values may contain "=" and may be empty; a pair without "=" is a key with an
 * empty value). Every pair "force=true" is removed before anything else. When
 * a key repeats, its first value counts. Words are matched exactly as the
 * service sends them ("loginCance", "autologinFail").
 *
 * The maps of "vipinfoChange" and "broadcastEx" hold every pair of the message
 * except "act", keys as sent, values as QString.
 *
 * Owned by the host thread (the proxy's); on_newMessage runs there and emits
 * directly.
 */
class KLocalPushMsgDispatch : public QObject
{
    Q_OBJECT
public:
    explicit KLocalPushMsgDispatch(QObject *parent = nullptr);
    ~KLocalPushMsgDispatch() override;

Q_SIGNALS:
    void signal_online();
    void signal_offline();
    void signal_roamingChange(const QString &roamingChangeTag);
    void signal_roamingImportChange(const QString &roamingImportChangeTag);
    void signal_vipInfoChanged(const QVariant &info);
    void signal_bindAccountFinish(int actionCode);
    void signal_broadcast(const QString &msg);
    void signal_broadcastEx(const QVariant &info);
    void signal_notify(const QString &event);

public Q_SLOTS:
    void on_newMessage(const QByteArray &msg);

public:
    // One parsed message: its action word and the remaining pairs, in order.
    struct Message
    {
        QString act;
        QList<QPair<QString, QString>> pairs;

        QString value(const QString &key, const QString &fallback = QString()) const;
        QVariantMap toVariantMap() const;
        QString serialise() const;
    };
    static Message parse(const QByteArray &msg);

private:
    using Action = std::function<void(const Message &)>;

    void onPushTest(const Message &msg);
    void onRoamingChange(const Message &msg);
    void onVipInfoChange(const Message &msg);
    void onBroadcast(const Message &msg);
    void onBroadcastEx(const Message &msg);
    void onBindingAccountResult(const Message &msg);
    void onThumbnailChange(const Message &msg);

    QHash<QString, Action> m_actions; // action word -> what it does
};

} // namespace ofx::lumo
