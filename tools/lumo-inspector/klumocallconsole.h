#pragma once

#include "klumojsonvalue.h"

#include <QElapsedTimer>
#include <QWidget>

namespace LumoIpc {
class Status;
}

class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QStandardItemModel;
class QTableView;

namespace ofx::lumo {

class KLumoArgumentEditor;

/**
 * Calls the service the way a host does: every dispatched method in a
 * searchable list with the records it takes and returns, its argument edited
 * as JSON (prefilled with a sample, checked against the schema before it is
 * sent), and the generic route by name; each call's result, time and outcome
 * (in KLumoCallOutcome's words, from the call's status), and a history whose
 * entries run again. Calls go through the exported functions only
 * (LumoIpc::dynamicCall, LumoIpc::call). GUI thread.
 */
class KLumoCallConsole : public QWidget
{
    Q_OBJECT
public:
    // The list entry of the generic route (LumoIpc::call).
    static const QString GenericRoute;

    explicit KLumoCallConsole(QWidget *parent = nullptr);
    ~KLumoCallConsole() override;

    // Selects a method by the name a host calls it, or GenericRoute, and
    // fills the editor with a sample argument.
    bool selectMethod(const QString &name);
    KLumoArgumentEditor *editor() const { return m_pEditor; }
    // Sends what the editor holds; false (the error shown) when it does not check.
    bool send();

    // Time, method, outcome, milliseconds; a row per call, newest last.
    QStandardItemModel *history() const { return m_pHistory; }
    QString resultText() const;
    QString outcomeText() const;
    QListWidget *methodList() const { return m_pMethods; }
    QLineEdit *search() const { return m_pSearch; }

Q_SIGNALS:
    void callEnded(int historyRow);

private:
    void filterMethods(const QString &text);
    void showMethod();
    // The call of history row @p row, sent when @p clock started, ended with
    // @p status and @p result.
    void onEnded(int row, const QElapsedTimer &clock, const LumoIpc::Status &status,
                 const KLumoJsonValue &result);
    void showHistoryRow(int row);
    void rerun(int row);

    QLineEdit *m_pSearch = nullptr;
    QListWidget *m_pMethods = nullptr;
    QPlainTextEdit *m_pDescription = nullptr;
    KLumoArgumentEditor *m_pEditor = nullptr;
    QPushButton *m_pSend = nullptr;
    QLabel *m_pOutcome = nullptr;
    QPlainTextEdit *m_pResult = nullptr;
    QStandardItemModel *m_pHistory = nullptr;
    QTableView *m_pHistoryView = nullptr;
};

} // namespace ofx::lumo
