#pragma once

#include <QAbstractScrollArea>
#include <QLineF>

#include <memory>

namespace ofx::lumo {

class KLumoCaptureSession;

/**
 * A capture as a sequence chart: a lane for the service and one per host,
 * time running down a row per frame, an arrow per call (host to service),
 * reply and notification (service to host), labelled with the method and, on
 * replies, the latency or the failure. Calls never answered and failed replies
 * are drawn in their own colours; a damaged file ends in a red band.
 *
 * Paints only the rows in view, so a capture of any length scrolls alike.
 * GUI thread; the session it shows is immutable and shared with its loader.
 */
class KLumoSequenceChart : public QAbstractScrollArea
{
    Q_OBJECT
public:
    enum class Style { Call, Reply, Failed, Unanswered, Notification, Other, Damage };
    struct Arrow
    {
        QLineF line; // in chart coordinates; from sender to receiver
        QString label;
        Style style = Style::Other;
    };

    explicit KLumoSequenceChart(QWidget *parent = nullptr);
    ~KLumoSequenceChart() override;

    void setSession(std::shared_ptr<const KLumoCaptureSession> session);
    const KLumoCaptureSession *session() const { return m_pSession.get(); }
    int selectedRow() const { return m_nSelected; }
    void selectRow(int row);
    // What paintEvent draws for a row: the chart's words and geometry.
    Arrow arrow(int row) const;
    int rowHeight() const { return m_nRowHeight; }

    QSize sizeHint() const override;

Q_SIGNALS:
    void rowSelected(int row);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    int laneCount() const;
    double laneX(int lane) const;
    int rowAt(int y) const; // viewport y
    void updateScrollBars();
    void paintHeader(QPainter &p);
    void paintBand(QPainter &p, int row, int y); // its background
    void paintRow(QPainter &p, int row, int y); // its time, arrow and label

    std::shared_ptr<const KLumoCaptureSession> m_pSession;
    int m_nSelected = -1;
    int m_nRowHeight = 24;
    int m_nHeaderHeight = 40;
    int m_nTimeWidth = 110;
    int m_nLaneWidth = 260;
    int m_nMinLaneWidth = 260;
};

} // namespace ofx::lumo
