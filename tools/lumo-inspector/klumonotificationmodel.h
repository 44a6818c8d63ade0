#pragma once

#include "klumojsonvalue.h"

#include <QAbstractTableModel>
#include <QDateTime>

#include <deque>

namespace ofx::lumo {

/**
 * The signals of the library's event object as they arrived: time, name and
 * the decoded arguments, newest last. Paused, arrivals are held back and
 * added on resuming; the log keeps the most recent Capacity entries.
 * GUI thread.
 */
class KLumoNotificationModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { Time, Signal, Arguments, ColumnCount };
    static constexpr int Capacity = 10000;

    using QAbstractTableModel::QAbstractTableModel;

    // {"signal": NAME, "args": [...]}, as KLumoCtlMonitor hands it over.
    void append(const KLumoJsonValue &event);
    void setPaused(bool paused);
    int heldBack() const { return int(m_lstHeld.size()); }
    void clear();
    // The entry in full, indented, with its time.
    QString detail(int row) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

Q_SIGNALS:
    void heldBackChanged(int count);

private:
    struct Entry
    {
        QDateTime time;
        QString name;
        QString args; // compact
        KLumoJsonValue event;
    };
    void add(std::deque<Entry> entries);

    std::deque<Entry> m_lstEntries;
    std::deque<Entry> m_lstHeld;
    bool m_bPaused = false;
};

} // namespace ofx::lumo
