#pragma once

#include <QMap>
#include <QWidget>

#include <memory>

class QFileSystemWatcher;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSortFilterProxyModel;
class QTableView;
class QTreeWidget;

namespace ofx::lumo {

class KLumoCtlMonitor;
class KLumoJsonValue;
class KLumoNotificationModel;

/**
 * The service as the library sees it: whether it runs, the connection, the
 * login and company records, refreshed as the event object's signals arrive,
 * and the log of every one of those signals with a filter, a detail pane and
 * a pause button. Reads the library's exported functions only. GUI thread
 * (the library's).
 */
class KLumoLiveView : public QWidget
{
    Q_OBJECT
public:
    explicit KLumoLiveView(QWidget *parent = nullptr);
    ~KLumoLiveView() override;

    // Watches the library's event object (LumoIpcEventObject()).
    void attach(QObject *events);

    KLumoNotificationModel *log() const { return m_pLog; }
    QSortFilterProxyModel *filteredLog() const { return m_pFiltered; }
    // What the state panel says, by row name ("running", "connection", ...).
    QString state(const QString &name) const;
    // The value the record panels show for a field ("login.userName").
    QString recordField(const QString &path) const;
    QPlainTextEdit *detail() const { return m_pDetail; }
    QTableView *logView() const { return m_pView; }

private:
    void refresh();
    void onEvent(const KLumoJsonValue &event);
    void showDetail();
    void updatePauseButton(int held);

    std::unique_ptr<KLumoCtlMonitor> m_pMonitor;
    QFileSystemWatcher *m_pTempWatcher = nullptr;
    bool m_bConnected = false;
    QMap<QString, QLabel *> m_mapState; // by row name
    QTreeWidget *m_pRecords = nullptr;
    KLumoNotificationModel *m_pLog = nullptr;
    QSortFilterProxyModel *m_pFiltered = nullptr;
    QLineEdit *m_pFilter = nullptr;
    QPushButton *m_pPause = nullptr;
    QTableView *m_pView = nullptr;
    QPlainTextEdit *m_pDetail = nullptr;
};

} // namespace ofx::lumo
