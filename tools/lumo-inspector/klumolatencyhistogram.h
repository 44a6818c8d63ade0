#pragma once

#include <QVector>
#include <QWidget>

#include <vector>

namespace ofx::lumo {

/**
 * The latencies of one method's answered calls as a histogram, with its
 * p50 and p99 marked. Bins are spaced on a logarithmic scale when the
 * latencies span more than a factor of 20, where a linear one would put
 * nearly every call in its first bin. GUI thread.
 */
class KLumoLatencyHistogram : public QWidget
{
    Q_OBJECT
public:
    static constexpr int BinCount = 24;

    explicit KLumoLatencyHistogram(QWidget *parent = nullptr);

    // @p latenciesNs sorted; @p p50Ms and @p p99Ms as the statistics give them.
    void setLatencies(const QString &method, std::vector<qint64> latenciesNs, double p50Ms,
                      double p99Ms);
    const QVector<int> &counts() const { return m_lstCounts; }

    QSize sizeHint() const override { return QSize(420, 180); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    double position(double ns) const; // 0..1 along the axis
    double edge(int i) const; // the lower edge of bin @p i (BinCount: the end), in ns

    QString m_strMethod;
    std::vector<qint64> m_lstLatencies;
    QVector<int> m_lstCounts;
    double m_fLow = 0, m_fHigh = 0;
    bool m_bLog = false;
    double m_fP50 = 0, m_p99 = 0; // ms
};

} // namespace ofx::lumo
