#include "push/klocalpushmsgdispatch.h"

#include "support/lumolog.h"

#include <QPointer>

namespace ofx::lumo {

namespace {
const QString ActKey = QStringLiteral("act");
const QByteArray ForcePair = QByteArrayLiteral("force=true");
} // namespace

KLocalPushMsgDispatch::KLocalPushMsgDispatch(QObject *parent)
    : QObject(parent)
{
    // Actions that only announce an event, by the name the host knows it under.
    const auto notify = [this](const QString &event) {
        return [this, event](const Message &) { Q_EMIT signal_notify(event); };
    };
    using Self = KLocalPushMsgDispatch;
    const auto member = [this](void (Self::*fn)(const Message &)) {
        return [this, fn](const Message &msg) { (this->*fn)(msg); };
    };
    m_mapActions.insert(QStringLiteral("push_test"), member(&Self::onPushTest));
    m_mapActions.insert(QStringLiteral("loginCance"), notify(QStringLiteral("logincancel")));
    m_mapActions.insert(QStringLiteral("online"), notify(QStringLiteral("online")));
    m_mapActions.insert(QStringLiteral("offline"), notify(QStringLiteral("offline")));
    m_mapActions.insert(QStringLiteral("roamingChange"), member(&Self::onRoamingChange));
    m_mapActions.insert(QStringLiteral("notifyOpenFileRoaming"),
                        notify(QStringLiteral("notifyOpenFileRoaming")));
    m_mapActions.insert(QStringLiteral("vipinfoChange"), member(&Self::onVipInfoChange));
    m_mapActions.insert(QStringLiteral("broadcast"), member(&Self::onBroadcast));
    m_mapActions.insert(QStringLiteral("broadcastEx"), member(&Self::onBroadcastEx));
    m_mapActions.insert(QStringLiteral("loginChange"), notify(QStringLiteral("loginChange")));
    m_mapActions.insert(QStringLiteral("autologinFail"), notify(QStringLiteral("autoLoginFail")));
    m_mapActions.insert(QStringLiteral("bindingAccountResult"),
                        member(&Self::onBindingAccountResult));
    m_mapActions.insert(QStringLiteral("roamingTagChange"),
                        notify(QStringLiteral("roamingTagChange")));
    m_mapActions.insert(QStringLiteral("importFileChange"),
                        notify(QStringLiteral("importFileChange")));
    m_mapActions.insert(QStringLiteral("thumbnailChange"), member(&Self::onThumbnailChange));
}

KLocalPushMsgDispatch::~KLocalPushMsgDispatch() = default;

KLocalPushMsgDispatch::Message KLocalPushMsgDispatch::parse(const QByteArray &msg)
{
    Message out;
    bool haveAct = false;
    for (const QByteArray &pair : msg.split('&')) {
        if (pair.isEmpty() || pair == ForcePair)
            continue;
        const int eq = pair.indexOf('=');
        const QString key = QString::fromUtf8(eq < 0 ? pair : pair.left(eq));
        const QString value = eq < 0 ? QString() : QString::fromUtf8(pair.mid(eq + 1));
        if (key == ActKey) {
            if (!haveAct)
                out.act = value;
            haveAct = true;
            continue;
        }
        out.pairs.append({key, value});
    }
    return out;
}

QString KLocalPushMsgDispatch::Message::value(const QString &key, const QString &fallback) const
{
    for (const auto &pair : pairs) {
        if (pair.first == key)
            return pair.second;
    }
    return fallback;
}

QVariantMap KLocalPushMsgDispatch::Message::toVariantMap() const
{
    QVariantMap map;
    for (const auto &pair : pairs) {
        if (!map.contains(pair.first))
            map.insert(pair.first, pair.second);
    }
    return map;
}

QString KLocalPushMsgDispatch::Message::serialise() const
{
    QString text = ActKey + QLatin1Char('=') + act;
    for (const auto &pair : pairs)
        text += QLatin1Char('&') + pair.first + QLatin1Char('=') + pair.second;
    return text;
}

void KLocalPushMsgDispatch::on_newMessage(const QByteArray &msg)
{
    const Message parsed = parse(msg);
    const auto action = m_mapActions.constFind(parsed.act);
    if (action == m_mapActions.constEnd()) {
        log::info(lcPush(),
                  QStringLiteral("KLocalPushMsgDispatch::on_newMessage unhandled act=%1")
                      .arg(parsed.act));
        return;
    }
    log::info(lcPush(),
              QStringLiteral("KLocalPushMsgDispatch::on_newMessage act=%1").arg(parsed.act));
    (*action)(parsed);
}

void KLocalPushMsgDispatch::onPushTest(const Message &msg)
{
    log::debug(lcPush(),
               QStringLiteral("KLocalPushMsgDispatch::onPushTest %1").arg(msg.serialise()));
}

void KLocalPushMsgDispatch::onRoamingChange(const Message &msg)
{
    // A receiver may delete this dispatcher; stop emitting once it has.
    QPointer<KLocalPushMsgDispatch> self(this);
    Q_EMIT signal_roamingChange(msg.value(QStringLiteral("roamingChangeTag")));
    if (!self)
        return;
    Q_EMIT signal_roamingImportChange(msg.value(QStringLiteral("roamingImportChangeTag")));
    if (!self)
        return;
    Q_EMIT signal_notify(QStringLiteral("roamingChange"));
}

void KLocalPushMsgDispatch::onVipInfoChange(const Message &msg)
{
    QPointer<KLocalPushMsgDispatch> self(this);
    Q_EMIT signal_vipInfoChanged(msg.toVariantMap());
    if (!self)
        return;
    Q_EMIT signal_notify(QStringLiteral("vipInfoChanged"));
}

void KLocalPushMsgDispatch::onBroadcast(const Message &msg)
{
    Q_EMIT signal_broadcast(msg.serialise());
}

void KLocalPushMsgDispatch::onBroadcastEx(const Message &msg)
{
    Q_EMIT signal_broadcastEx(msg.toVariantMap());
}

void KLocalPushMsgDispatch::onBindingAccountResult(const Message &msg)
{
    Q_EMIT signal_bindAccountFinish(
        msg.value(QStringLiteral("bindaccountresult"), QStringLiteral("0")).toInt());
}

void KLocalPushMsgDispatch::onThumbnailChange(const Message &msg)
{
    // The host reloads the picture itself; the path is only worth a trace.
    log::debug(lcPush(),
               QStringLiteral("KLocalPushMsgDispatch::onThumbnailChange thumbnailLocalPath=%1")
                   .arg(msg.value(QStringLiteral("thumbnailLocalPath"))));
    Q_EMIT signal_notify(QStringLiteral("thumbnailChange"));
}

} // namespace ofx::lumo

#include "push/moc_klocalpushmsgdispatch.cpp"
