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

    KLumoSequenceChart *chart() const { return m_chart; }
    KLumoStatsModel *methodStats() const { return m_methods; }
    QTableView *methodTable() const { return m_methodView; }
    KLumoLatencyHistogram *histogram() const { return m_histogram; }
    QString bannerText() const;
    QString frameText() const;

Q_SIGNALS:
    void sessionShown(bool complete);

private:
    void onLoaded(std::shared_ptr<const KLumoCaptureSession> session, bool complete);
    void showFrame(int row);
    void showMethod(const QString &method);

    KLumoCaptureLoader *m_loader;
    std::shared_ptr<const KLumoCaptureSession> m_session;
    QStringList m_paths;
    QLabel *m_status = nullptr;
    QLabel *m_banner = nullptr;
    KLumoSequenceChart *m_chart = nullptr;
    KLumoStatsModel *m_methods = nullptr;
    KLumoStatsModel *m_notes = nullptr;
    QSortFilterProxyModel *m_methodsSorted = nullptr;
    QTableView *m_methodView = nullptr;
    KLumoLatencyHistogram *m_histogram = nullptr;
    QPlainTextEdit *m_frame = nullptr;
};

} // namespace ofx::lumo
