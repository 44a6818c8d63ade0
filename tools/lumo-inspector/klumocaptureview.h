#pragma once

#include <QStringList>
#include <QWidget>

#include <memory>

class QLabel;
class QPlainTextEdit;
class QSortFilterProxyModel;
class QTableView;

namespace ofx::lumo {

class KLumoCaptureLoader;
class KLumoCaptureSession;
class KLumoLatencyHistogram;
class KLumoSequenceChart;
class KLumoStatsModel;

/**
 * Captures written with LUMOIPC_CAPTURE, read on the loader's thread: the
 * session as a sequence chart, the decoded frame under a click, the
 * per-method statistics lumoctl trace --stats computes as sortable tables,
 * and the latency histogram of the method in question. A damaged file shows
 * what could be read and says where the damage starts. GUI thread.
 */
class KLumoCaptureView : public QWidget
{
    Q_OBJECT
public:
    explicit KLumoCaptureView(QWidget *parent = nullptr);
    ~KLumoCaptureView() override;

    void open(const QStringList &paths, bool follow);
    // Asks for files and opens them.
    void chooseFiles(bool follow);

    KLumoSequenceChart *chart() const { return m_pChart; }
    KLumoStatsModel *methodStats() const { return m_pMethods; }
    QTableView *methodTable() const { return m_pMethodView; }
    KLumoLatencyHistogram *histogram() const { return m_pHistogram; }
    QString bannerText() const;
    QString frameText() const;

Q_SIGNALS:
    void sessionShown(bool complete);

private:
    void onLoaded(std::shared_ptr<const KLumoCaptureSession> session, bool complete);
    void showFrame(int row);
    void showMethod(const QString &method);

    KLumoCaptureLoader *m_pLoader;
    std::shared_ptr<const KLumoCaptureSession> m_pSession;
    QStringList m_lstPaths;
    QLabel *m_pStatus = nullptr;
    QLabel *m_pBanner = nullptr;
    KLumoSequenceChart *m_pChart = nullptr;
    KLumoStatsModel *m_pMethods = nullptr;
    KLumoStatsModel *m_pNotes = nullptr;
    QSortFilterProxyModel *m_pMethodsSorted = nullptr;
    QTableView *m_pMethodView = nullptr;
    KLumoLatencyHistogram *m_pHistogram = nullptr;
    QPlainTextEdit *m_pFrame = nullptr;
};

} // namespace ofx::lumo
