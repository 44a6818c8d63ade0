#include "klumonotificationmodel.h"

namespace ofx::lumo {

void KLumoNotificationModel::append(const KLumoJsonValue &event)
{
    const KLumoJsonValue *name = event.find("signal");
    const KLumoJsonValue *args = event.find("args");
    Entry e {QDateTime::currentDateTime(), QString::fromStdString(name ? name->toString() : ""),
             QString::fromStdString(args ? args->serialize() : "[]"), event};
    if (m_bPaused) {
        m_lstHeld.push_back(std::move(e));
        if (m_lstHeld.size() > size_t(Capacity))
            m_lstHeld.pop_front();
        Q_EMIT heldBackChanged(heldBack());
        return;
    }
    std::deque<Entry> one;
    one.push_back(std::move(e));
    add(std::move(one));
}

void KLumoNotificationModel::add(std::deque<Entry> entries)
{
    if (entries.empty())
        return;
    const int drop = int(m_lstEntries.size() + entries.size()) - Capacity;
    if (drop > 0) {
        const int n = qMin(drop, int(m_lstEntries.size()));
        if (n > 0) {
            beginRemoveRows({}, 0, n - 1);
            m_lstEntries.erase(m_lstEntries.begin(), m_lstEntries.begin() + n);
            endRemoveRows();
        }
        while (int(entries.size()) > Capacity)
            entries.pop_front();
    }
    const int first = int(m_lstEntries.size());
    beginInsertRows({}, first, first + int(entries.size()) - 1);
    for (Entry &e : entries)
        m_lstEntries.push_back(std::move(e));
    endInsertRows();
}

void KLumoNotificationModel::setPaused(bool paused)
{
    if (paused == m_bPaused)
        return;
    m_bPaused = paused;
    if (!paused) {
        add(std::exchange(m_lstHeld, {}));
        Q_EMIT heldBackChanged(0);
    }
}

void KLumoNotificationModel::clear()
{
    beginResetModel();
    m_lstEntries.clear();
    m_lstHeld.clear();
    endResetModel();
    Q_EMIT heldBackChanged(0);
}

QString KLumoNotificationModel::detail(int row) const
{
    if (row < 0 || row >= int(m_lstEntries.size()))
        return {};
    const Entry &e = m_lstEntries[size_t(row)];
    return e.time.toString(Qt::ISODateWithMs) + QLatin1Char('\n')
        + QString::fromStdString(e.event.serialize(2));
}

int KLumoNotificationModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_lstEntries.size());
}

int KLumoNotificationModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant KLumoNotificationModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return {};
    const Entry &e = m_lstEntries[size_t(index.row())];
    switch (index.column()) {
    case Time:
        return e.time.toString(QStringLiteral("HH:mm:ss.zzz"));
    case Signal:
        return e.name;
    case Arguments:
        return e.args;
    }
    return {};
}

QVariant KLumoNotificationModel::headerData(int section, Qt::Orientation orientation,
                                            int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case Time:
        return tr("Time");
    case Signal:
        return tr("Signal");
    case Arguments:
        return tr("Arguments");
    }
    return {};
}

} // namespace ofx::lumo

#include "moc_klumonotificationmodel.cpp"
