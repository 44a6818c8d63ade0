#include "notify/klumonotifyhandler.h"

#include "support/klumometatypes.h"
#include "support/klumoqueuedcall.h"
#include "support/lumolog.h"

#include <QMetaObject>
#include <QStringList>
#include <QVector>

#include <optional>

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

// The action types of notify/klumonotifyactions.def and what each invokes.
enum class Carrier { notifyAction, notifyActionsMap, notifyShareDiscussion };
enum class Argument { None, False, True, Map };
constexpr std::optional<int> Other; // a row for every value without one of its own

struct ActionRow
{
    Carrier carrier;
    std::optional<int> value;
    const char *member; // nullptr: nothing is invoked
    Argument argument;
};

constexpr ActionRow ActionRows[] = {
#define LUMO_ACTION(notification, name, value, member, argument)                                   \
    {Carrier::notification, value, member, Argument::argument},
#include "notify/klumonotifyactions.def"
#undef LUMO_ACTION
};

// The row of @p value, else the carrier's Other row.
const ActionRow &actionRow(Carrier carrier, int value)
{
    const ActionRow *other = nullptr;
    for (const ActionRow &row : ActionRows) {
        if (row.carrier != carrier)
            continue;
        if (row.value == value)
            return row;
        if (!row.value)
            other = &row;
    }
    return *other;
}

// Every value, Other included, has at most one row per carrier, and every
// carrier has its Other row: the look-up above takes the first it finds.
constexpr bool rowsAreOneEach()
{
    for (const ActionRow &a : ActionRows) {
        int same = 0, others = 0;
        for (const ActionRow &b : ActionRows) {
            same += a.carrier == b.carrier && a.value == b.value;
            others += a.carrier == b.carrier && !b.value;
        }
        if (same != 1 || others != 1)
            return false;
    }
    return true;
}
static_assert(rowsAreOneEach(), "an action type with two rows, or a notification without Other");

// Invokes what the row of @p value names on @p to, if anything; @p map is the
// record's map, for the rows that pass it.
void act(QObject *to, Carrier carrier, int value,
         const std::map<std::string, std::string> *map = nullptr)
{
    const ActionRow &row = actionRow(carrier, value);
    if (!to || !row.member)
        return;
    switch (row.argument) {
    case Argument::None:
        KLumoQueuedCall::invoke(to, row.member, {});
        break;
    case Argument::False:
    case Argument::True:
        KLumoQueuedCall::invoke(to, row.member, {"bool"}, row.argument == Argument::True);
        break;
    case Argument::Map:
        KLumoQueuedCall::invoke(to, row.member, {"const StringMapArgs&"}, toStringMap(*map));
        break;
    }
}

} // namespace

KLumoNotifyHandler::KLumoNotifyHandler(QObject *target, QObject *pushTarget)
    : m_pTarget(target)
    , m_pPushTarget(pushTarget ? pushTarget : target)
{
    KLumoMetaTypes::registerAll();
}

KLumoNotifyHandler::~KLumoNotifyHandler() = default;

QObject *KLumoNotifyHandler::receiver(bool push) const
{
    return push ? m_pPushTarget.data() : m_pTarget.data();
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
    act(receiver(false), Carrier::notifyAction, arg.type);
    cob();
}

void KLumoNotifyHandler::notifyActionsMap(std::function<void()> cob, const NotifyActionsMapArg &arg)
{
    log::info(lcNotify(),
              QStringLiteral("KLumoNotifyHandler::notifyActionsMap NotifyActionsMapType=%1")
                  .arg(arg.nActionType));
    act(receiver(false), Carrier::notifyActionsMap, arg.nActionType, &arg.mapArgs);
    cob();
}

void KLumoNotifyHandler::notifyShareDiscussion(std::function<void()> cob,
                                               const NotifyShareDiscussionArg &arg)
{
    log::info(
        lcNotify(),
        QStringLiteral("KLumoNotifyHandler::notifyShareDiscussion NotifyShareDiscussionType=%1")
            .arg(arg.nActionType));
    act(receiver(false), Carrier::notifyShareDiscussion, arg.nActionType, &arg.mapArgs);
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
