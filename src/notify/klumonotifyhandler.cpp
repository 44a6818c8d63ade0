#include "notify/klumonotifyhandler.h"

#include "support/klumometatypes.h"
#include "support/klumoqueuedcall.h"
#include "support/lumolog.h"

#include <QMetaObject>
#include <QStringList>
#include <QVector>

namespace ofx::lumo {

namespace {

// Which object of the handler a table row addresses.
enum Receiver { Target, Push };

// Wire values to what the targets take. Strings from the service are UTF-8;
// a local push message is handed on as raw bytes, all of them.
QByteArray toQt(const std::string &s)
{
    return QByteArray(s.data(), int(s.size()));
}

QStringList toQt(const std::vector<std::string> &list)
{
    QStringList out;
    out.reserve(int(list.size()));
    for (const std::string &s : list)
        out.append(QString::fromUtf8(s.data(), int(s.size())));
    return out;
}

QVector<CloudItem> toQt(std::vector<CloudItem> &&list)
{
    return QVector<CloudItem>(std::make_move_iterator(list.begin()),
                              std::make_move_iterator(list.end()));
}

// The generated processor decodes each argument into a local of its own and
// drops it right after the handler returns, so a converting row may take the
// value apart instead of copying it (a thousand records are a thousand deep
// copies). Only the processor calls the handler.
template<class T> T &&giveUp(const T &decoded)
{
    return std::move(const_cast<T &>(decoded));
}

StringMapArgs toStringMap(const std::map<std::string, std::string> &map)
{
    StringMapArgs out;
    for (const auto &entry : map)
        out.insert(QString::fromUtf8(entry.first.data(), int(entry.first.size())),
                   QString::fromUtf8(entry.second.data(), int(entry.second.size())));
    return out;
}

} // namespace

KLumoNotifyHandler::KLumoNotifyHandler(QObject *target, QObject *pushTarget)
    : m_target(target)
    , m_pushTarget(pushTarget ? pushTarget : target)
{
    KLumoMetaTypes::registerAll();
}

KLumoNotifyHandler::~KLumoNotifyHandler() = default;

QObject *KLumoNotifyHandler::receiver(bool push) const
{
    return push ? m_pushTarget.data() : m_target.data();
}

// The table's Forward and Convert rows: one queued invocation, then done.
#define LUMO_NOTIFY_DEFINE_Forward(method, Arg, recv, member, typeName, QtType)                    \
    void KLumoNotifyHandler::method(std::function<void()> cob, const Arg &arg)                     \
    {                                                                                              \
        KLumoQueuedCall::invoke(receiver(recv == Push), member, {typeName}, arg);                  \
        cob();                                                                                     \
    }
#define LUMO_NOTIFY_DEFINE_Convert(method, Arg, recv, member, typeName, QtType)                    \
    void KLumoNotifyHandler::method(std::function<void()> cob, const Arg &arg)                     \
    {                                                                                              \
        if (QObject *to = receiver(recv == Push))                                                  \
            KLumoQueuedCall::invoke<QtType>(to, member, {typeName}, toQt(giveUp(arg)));            \
        cob();                                                                                     \
    }
#define LUMO_NOTIFY_DEFINE_Silent(method, Arg, recv, member, typeName, QtType)                     \
    void KLumoNotifyHandler::method(std::function<void()> cob, const Arg &)                        \
    {                                                                                              \
        cob();                                                                                     \
    }
#define LUMO_NOTIFY_DEFINE_Own(method, Arg, recv, member, typeName, QtType)
#define LUMO_NOTIFY(kind, method, Arg, recv, member, typeName, QtType)                             \
    LUMO_NOTIFY_DEFINE_##kind(method, Arg, recv, member, typeName, QtType)
#include "notify/klumonotifications.def"
#undef LUMO_NOTIFY

void KLumoNotifyHandler::notifyAction(std::function<void()> cob, const NotifyActionArg &arg)
{
    log::info(lcNotify(),
              QStringLiteral("KLumoNotifyHandler::notifyAction NotifyActionType=%1").arg(arg.type));
    QObject *to = receiver(false);
    switch (arg.type) {
    case 1:
        KLumoQueuedCall::invoke(to, "on_accountUpdateInfo", {});
        break;
    case 2:
        KLumoQueuedCall::invoke(to, "on_accountNoLogined", {});
        break;
    case 4:
        KLumoQueuedCall::invoke(to, "on_notifyRecentFileListChanged", {});
        break;
    case 5:
        KLumoQueuedCall::invoke(to, "on_notifyDocumentRoamingSwitchChanged", {});
        break;
    case 6:
    case 7:
        KLumoQueuedCall::invoke(to, "signal_notifyCloudDocOpening", {"bool"}, arg.type == 7);
        break;
    case 8:
        KLumoQueuedCall::invoke(to, "signal_notifyRecycleBinClear", {});
        break;
    default: // 3 and unknown types are dropped after the log line
        break;
    }
    cob();
}

void KLumoNotifyHandler::notifyActionsMap(std::function<void()> cob, const NotifyActionsMapArg &arg)
{
    log::info(lcNotify(),
              QStringLiteral("KLumoNotifyHandler::notifyActionsMap NotifyActionsMapType=%1")
                  .arg(arg.nActionType));
    if (QObject *to = receiver(false)) {
        const char *member = "on_notifyActionsMapDefault";
        switch (arg.nActionType) {
        case 1:
            member = "on_notifyActionsMapForShareFile";
            break;
        case 2:
            member = "on_notifyActionsMapForReadMessage";
            break;
        case 3:
            member = "on_notifyActionsMapForCooperate";
            break;
        }
        KLumoQueuedCall::invoke(to, member, {"const StringMapArgs&"}, toStringMap(arg.mapArgs));
    }
    cob();
}

void KLumoNotifyHandler::notifyShareDiscussion(std::function<void()> cob,
                                               const NotifyShareDiscussionArg &arg)
{
    log::info(
        lcNotify(),
        QStringLiteral("KLumoNotifyHandler::notifyShareDiscussion NotifyShareDiscussionType=%1")
            .arg(arg.nActionType));
    QObject *to = receiver(false);
    if (to && arg.nActionType == 1)
        KLumoQueuedCall::invoke(to, "on_notifyShareDiscussion", {"const StringMapArgs&"},
                                toStringMap(arg.mapArgs));
    cob();
}

void KLumoNotifyHandler::notifyDocCollaborativeStatus(std::function<void()> cob,
                                                      const NotifyDocCollaborativeStatusArg &arg)
{
    const QString fileId = QString::fromUtf8(arg.fileId.data(), int(arg.fileId.size()));
    KLumoQueuedCall::invoke(receiver(false), "on_notifyDocCollaborativeStatus",
                            {"const QString &", "bool", "quint32"}, fileId,
                            arg.collaborativeStatus == 1, quint32(arg.collaboratorNum));
    cob();
}

} // namespace ofx::lumo
