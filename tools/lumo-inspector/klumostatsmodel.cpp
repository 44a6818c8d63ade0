#include "klumostatsmodel.h"

#include "klumotracesummary.h"

namespace ofx::lumo {

KLumoStatsModel::KLumoStatsModel(const char *list, QObject *parent)
    : QAbstractTableModel(parent)
    , m_pList(list)
{ }

void KLumoStatsModel::setStats(const KLumoJsonValue &stats)
{
    beginResetModel();
    const KLumoJsonValue *rows = stats.find(m_pList);
    m_lstRows = rows ? rows->elements() : KLumoJsonValue::Array();
    endResetModel();
}

int KLumoStatsModel::rowOf(const QString &method) const
{
    for (size_t i = 0; i < m_lstRows.size(); ++i) {
        if (m_lstRows[i].find("method")->toString() == method.toStdString())
            return int(i);
    }
    return -1;
}

KLumoJsonValue KLumoStatsModel::value(int row, int column) const
{
    const KLumoTraceSummary::Column &c = KLumoTraceSummary::columns(m_pList)[size_t(column)];
    const KLumoJsonValue *v = m_lstRows[size_t(row)].find(c.key);
    if (v && c.latency)
        v = v->isNull() ? nullptr : v->find(c.latency);
    return v ? *v : KLumoJsonValue();
}

double KLumoStatsModel::latency(int row, const char *which) const
{
    const KLumoJsonValue *l = m_lstRows[size_t(row)].find("latencyMs");
    const KLumoJsonValue *v = l && !l->isNull() ? l->find(which) : nullptr;
    return v ? v->toDouble() : 0;
}

int KLumoStatsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_lstRows.size());
}

int KLumoStatsModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(KLumoTraceSummary::columns(m_pList).size());
}

QVariant KLumoStatsModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const KLumoJsonValue v = value(index.row(), index.column());
    switch (role) {
    case Qt::DisplayRole:
        if (v.isString())
            return QString::fromStdString(v.toString());
        if (v.isNull())
            return QStringLiteral("-");
        return v.isInteger() ? QString::number(v.toInteger())
                             : QString::number(v.toDouble(), 'f', 3);
    case Qt::UserRole:
        if (v.isString())
            return QString::fromStdString(v.toString());
        return v.isNull() ? -1.0 : v.toDouble();
    case Qt::TextAlignmentRole:
        return int(v.isString() ? Qt::AlignLeft | Qt::AlignVCenter
                                : Qt::AlignRight | Qt::AlignVCenter);
    default:
        return {};
    }
}

QVariant KLumoStatsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return QString::fromLatin1(KLumoTraceSummary::columns(m_pList)[size_t(section)].title);
}

} // namespace ofx::lumo

#include "moc_klumostatsmodel.cpp"
