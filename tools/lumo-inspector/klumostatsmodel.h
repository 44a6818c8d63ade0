#pragma once

#include "klumojsonvalue.h"

#include <QAbstractTableModel>

namespace ofx::lumo {

/**
 * One list of the statistics lumoctl trace --stats prints ("methods" or
 * "notifications" of KLumoTraceSummary::stats()), as a table with its
 * columns and headings. Qt::UserRole holds each cell's value for sorting.
 * GUI thread.
 */
class KLumoStatsModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    KLumoStatsModel(const char *list, QObject *parent = nullptr);

    void setStats(const KLumoJsonValue &stats);
    // The row of a method, or -1.
    int rowOf(const QString &method) const;
    // A cell's value as lumoctl trace --stats --json has it (null for no latency).
    KLumoJsonValue value(int row, int column) const;
    // A latency of a method's row ("p50", "p99", "max") in ms; 0 without one.
    double latency(int row, const char *which) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    const char *m_pList;
    KLumoJsonValue::Array m_lstRows;
};

} // namespace ofx::lumo
