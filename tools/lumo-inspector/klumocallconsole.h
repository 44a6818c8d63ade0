#pragma once

#include "klumocalloutcome.h"
#include "klumoreplyfailurewatch.h"

#include <QElapsedTimer>
#include <QHash>
#include <QWidget>

#include <memory>

class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QStandardItemModel;
class QTableView;

namespace ofx::lumo {

class KLumoArgumentEditor;
class KLumoCtlReceiver;

/**
 * Calls the service the way a host does: every dispatched method in a
 * searchable list with the records it takes and returns, its argument edited
 * as JSON (prefilled with a sample, checked against the schema before it is
 * sent), and the generic route by name; each call's result, time and outcome,
 * and a history whose entries run again. Calls go through the exported
 * functions only (LumoIpcAsynCallEx, LumoIpcAsynCall). GUI thread.
 */
class KLumoCallConsole : public QWidget
{
    Q_OBJECT
public:
    // The list entry of the generic route (LumoIpcAsynCall).
    static const QString GenericRoute;

    explicit KLumoCallConsole(QWidget *parent = nullptr);
    ~KLumoCallConsole() override;

    // Follows the connection signals of the library's event object.
    void attach(QObject *events);

    // Selects a method by the name a host calls it, or GenericRoute, and
    // fills the editor with a sample argument.
    bool selectMethod(const QString &name);
    KLumoArgumentEditor *editor() const { return m_editor; }
    // Sends what the editor holds; false (the error shown) when it does not check.
    bool send();

    // Time, method, outcome, milliseconds; a row per call, newest last.
    QStandardItemModel *history() const { return m_history; }
    QString resultText() const;
    QString outcomeText() const;
    QListWidget *methodList() const { return m_methods; }
    QLineEdit *search() const { return m_search; }

Q_SIGNALS:
    void callEnded(int historyRow);

private Q_SLOTS:
    // The event object's connection signals, connected by name.
    void onConnected();
    void onDisconnected();

private:
    struct Pending
    {
        int row = -1; // in the history
        QString method;
        QElapsedTimer clock;
        KLumoCallOutcome::Facts facts;
        bool generic = false;
    };

    void filterMethods(const QString &text);
    void showMethod();
    void onResult(const QString &requestId);
    void onReplyFailed(const QString &requestId, KLumoReplyFailureWatch::Kind, const QString &why);
    void showHistoryRow(int row);
    void rerun(int row);

    std::unique_ptr<KLumoCtlReceiver> m_receiver;
    KLumoReplyFailureWatch *m_watch = nullptr;
    QHash<QString, Pending> m_pending;
    bool m_connected = false;

    QLineEdit *m_search = nullptr;
    QListWidget *m_methods = nullptr;
    QPlainTextEdit *m_description = nullptr;
    KLumoArgumentEditor *m_editor = nullptr;
    QPushButton *m_send = nullptr;
    QLabel *m_outcome = nullptr;
    QPlainTextEdit *m_result = nullptr;
    QStandardItemModel *m_history = nullptr;
    QTableView *m_historyView = nullptr;
};

} // namespace ofx::lumo
