#include "klumosequencechart.h"

#include "klumocapturesession.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <cmath>

namespace ofx::lumo {

namespace {

using Kind = KLumoCaptureSession::Kind;
using Style = KLumoSequenceChart::Style;

QColor colour(Style s)
{
    switch (s) {
    case Style::Call:
        return QColor(0x30, 0x30, 0x30);
    case Style::Reply:
        return QColor(0x2e, 0x7d, 0x32);
    case Style::Failed:
        return QColor(0xc6, 0x28, 0x28);
    case Style::Unanswered:
        return QColor(0xe0, 0x70, 0x00);
    case Style::Notification:
        return QColor(0x15, 0x65, 0xc0);
    case Style::Damage:
        return QColor(0xb7, 0x1c, 0x1c);
    case Style::Other:
        break;
    }
    return QColor(0x80, 0x80, 0x80);
}

QString relativeTime(qint64 ns)
{
    return QLatin1Char('+') + QString::number(double(ns) / 1e9, 'f', 6) + QLatin1String(" s");
}

} // namespace

KLumoSequenceChart::KLumoSequenceChart(QWidget *parent)
    : QAbstractScrollArea(parent)
{
    const QFontMetrics fm(font());
    m_nRowHeight = fm.height() + 10;
    m_nHeaderHeight = fm.height() * 2 + 14;
    m_nTimeWidth = fm.horizontalAdvance(QStringLiteral("+0000.000000 s")) + 16;
    m_nMinLaneWidth = fm.horizontalAdvance(QLatin1Char('x')) * 26;
    m_nLaneWidth = m_nMinLaneWidth;
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    setFocusPolicy(Qt::StrongFocus);
    verticalScrollBar()->setSingleStep(m_nRowHeight);
    horizontalScrollBar()->setSingleStep(m_nLaneWidth / 8);
}

KLumoSequenceChart::~KLumoSequenceChart() = default;

QSize KLumoSequenceChart::sizeHint() const
{
    return QSize(m_nTimeWidth + m_nLaneWidth * 3, m_nHeaderHeight + m_nRowHeight * 20);
}

void KLumoSequenceChart::setSession(std::shared_ptr<const KLumoCaptureSession> session)
{
    // A growing capture keeps its place, and follows the end when it was there.
    QScrollBar *v = verticalScrollBar();
    const bool atEnd = m_pSession && v->value() == v->maximum();
    const bool sameCapture = m_pSession && session && session->rowCount() >= m_pSession->rowCount();
    m_pSession = std::move(session);
    if (!sameCapture)
        m_nSelected = -1;
    updateScrollBars();
    if (atEnd && sameCapture)
        v->setValue(v->maximum());
    viewport()->update();
}

int KLumoSequenceChart::laneCount() const
{
    return 1 + (m_pSession ? int(m_pSession->summary().processes().size()) : 0);
}

double KLumoSequenceChart::laneX(int lane) const
{
    return m_nTimeWidth + m_nLaneWidth * (lane + 0.5);
}

void KLumoSequenceChart::updateScrollBars()
{
    const int rows = m_pSession ? m_pSession->rowCount() : 0;
    const QSize view = viewport()->size();
    // Lanes share the width there is, and scroll sideways below their minimum.
    m_nLaneWidth = qMax(m_nMinLaneWidth, (view.width() - m_nTimeWidth) / laneCount());
    verticalScrollBar()->setPageStep(view.height());
    verticalScrollBar()->setRange(0,
                                  qMax(0, m_nHeaderHeight + rows * m_nRowHeight - view.height()));
    horizontalScrollBar()->setPageStep(view.width());
    horizontalScrollBar()->setRange(
        0, qMax(0, m_nTimeWidth + laneCount() * m_nLaneWidth - view.width()));
}

void KLumoSequenceChart::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    updateScrollBars();
}

KLumoSequenceChart::Arrow KLumoSequenceChart::arrow(int row) const
{
    Arrow a;
    const KLumoCaptureSession::Row &r = m_pSession->rows()[size_t(row)];
    a.label = m_pSession->label(row);
    const double y = m_nHeaderHeight + (row + 0.5) * m_nRowHeight + m_nRowHeight * 0.15;
    if (r.kind == Kind::Damage) {
        a.style = Style::Damage;
        a.line = QLineF(m_nTimeWidth, y, m_nTimeWidth + laneCount() * m_nLaneWidth, y);
        return a;
    }
    const double service = laneX(0), host = laneX(1 + r.process);
    const bool out = r.kind == Kind::Call;
    a.line = out ? QLineF(host, y, service, y) : QLineF(service, y, host, y);
    switch (r.kind) {
    case Kind::Call:
        a.style = m_pSession->unanswered(row) ? Style::Unanswered : Style::Call;
        break;
    case Kind::Reply:
        a.style = m_pSession->failed(row) ? Style::Failed : Style::Reply;
        break;
    case Kind::Notification:
        a.style = Style::Notification;
        break;
    default:
        a.style = Style::Other;
        break;
    }
    return a;
}

void KLumoSequenceChart::paintEvent(QPaintEvent *)
{
    QPainter p(viewport());
    const int dx = horizontalScrollBar()->value(), dy = verticalScrollBar()->value();
    const QRect view = viewport()->rect();
    p.translate(-dx, 0);
    const int first = qMax(0, dy / m_nRowHeight);
    const int last =
        m_pSession ? qMin(m_pSession->rowCount() - 1, (dy + view.height()) / m_nRowHeight) : -1;
    const auto top = [&](int row) { return m_nHeaderHeight + row * m_nRowHeight - dy; };
    p.save();
    p.setClipRect(QRect(dx, m_nHeaderHeight, view.width(), view.height()));
    // Bottom up: the rows' bands, the lanes, the selected call joined to its
    // reply along the host's lane, then arrows and words over all of them.
    for (int row = first; row <= last; ++row)
        paintBand(p, row, top(row));
    p.setPen(QPen(palette().color(QPalette::Mid), 1, Qt::DashLine));
    for (int lane = 0; lane < laneCount(); ++lane)
        p.drawLine(QPointF(laneX(lane), m_nHeaderHeight), QPointF(laneX(lane), view.height()));
    const int partner = m_nSelected >= 0 ? m_pSession->partner(m_nSelected) : -1;
    if (partner >= 0) {
        const double x = laneX(1 + m_pSession->rows()[size_t(m_nSelected)].process) + 8;
        p.setPen(QPen(palette().color(QPalette::Highlight), 2));
        p.drawLine(QPointF(x, top(m_nSelected) + m_nRowHeight / 2.0),
                   QPointF(x, top(partner) + m_nRowHeight / 2.0));
    }
    for (int row = first; row <= last; ++row)
        paintRow(p, row, top(row));
    p.restore();
    paintHeader(p);
}

void KLumoSequenceChart::paintHeader(QPainter &p)
{
    const QFontMetrics fm(font());
    const int dx = horizontalScrollBar()->value();
    p.fillRect(QRect(dx, 0, viewport()->width(), m_nHeaderHeight), palette().window());
    p.setPen(palette().color(QPalette::Mid));
    p.drawLine(dx, m_nHeaderHeight - 1, dx + viewport()->width(), m_nHeaderHeight - 1);
    p.setPen(palette().color(QPalette::WindowText));
    p.drawText(QRect(dx + 6, 0, m_nTimeWidth - 6, m_nHeaderHeight),
               Qt::AlignLeft | Qt::AlignVCenter, tr("time"));
    for (int lane = 0; lane < laneCount(); ++lane) {
        QString title = tr("service");
        QString detail = tr("lumo");
        if (lane > 0) {
            // "<application> (pid <pid>)": the application above its pid.
            const QString d = m_pSession->summary().processes()[size_t(lane - 1)].description;
            const int cut = d.lastIndexOf(QLatin1String(" ("));
            title = cut > 0 ? d.left(cut) : d;
            detail = cut > 0 ? d.mid(cut + 2).chopped(1) : QString();
        }
        const QRectF box(laneX(lane) - m_nLaneWidth / 2.0 + 4, 4, m_nLaneWidth - 8,
                         m_nHeaderHeight - 8);
        QFont bold = font();
        bold.setBold(true);
        p.setFont(bold);
        p.drawText(box, Qt::AlignHCenter | Qt::AlignTop,
                   QFontMetrics(bold).elidedText(title, Qt::ElideRight, int(box.width())));
        p.setFont(font());
        p.drawText(box, Qt::AlignHCenter | Qt::AlignBottom,
                   fm.elidedText(detail, Qt::ElideRight, int(box.width())));
    }
}

void KLumoSequenceChart::paintBand(QPainter &p, int row, int y)
{
    const QRect band(horizontalScrollBar()->value(), y, viewport()->width(), m_nRowHeight);
    if (row == m_nSelected)
        p.fillRect(band, palette().highlight().color().lighter(170));
    else if (m_nSelected >= 0 && row == m_pSession->partner(m_nSelected))
        p.fillRect(band, palette().highlight().color().lighter(190));
    else if (row % 2)
        p.fillRect(band, palette().alternateBase());
}

void KLumoSequenceChart::paintRow(QPainter &p, int row, int y)
{
    const QFontMetrics fm(font());
    const KLumoCaptureSession::Row &r = m_pSession->rows()[size_t(row)];
    p.setPen(palette().color(QPalette::Text));
    const qint64 t0 = m_pSession->summary().firstNs();
    p.drawText(QRect(6, y, m_nTimeWidth - 10, m_nRowHeight), Qt::AlignLeft | Qt::AlignVCenter,
               relativeTime(r.timeNs - qMax<qint64>(t0, 0)));

    Arrow a = arrow(row);
    a.line.translate(0, y - (m_nHeaderHeight + row * m_nRowHeight));
    const QColor c = colour(a.style);
    if (a.style == Style::Damage) {
        p.fillRect(QRectF(m_nTimeWidth, y + 2, a.line.length(), m_nRowHeight - 4), c.lighter(180));
        p.setPen(c);
        p.drawText(QRectF(m_nTimeWidth + 8, y, a.line.length() - 16, m_nRowHeight),
                   Qt::AlignLeft | Qt::AlignVCenter,
                   fm.elidedText(a.label, Qt::ElideRight, int(a.line.length()) - 16));
        return;
    }
    const bool dashed = a.style == Style::Notification || a.style == Style::Unanswered;
    p.setRenderHint(QPainter::Antialiasing, true);
    p.setPen(QPen(c, a.style == Style::Failed ? 2 : 1.4, dashed ? Qt::DashLine : Qt::SolidLine));
    p.drawLine(a.line);
    // The head, or a cross where an unanswered call waited in vain.
    const QPointF tip = a.line.p2();
    const double dir = a.line.dx() >= 0 ? -1 : 1, h = 7;
    p.setPen(QPen(c, 1.4));
    if (a.style == Style::Unanswered) {
        p.drawLine(tip + QPointF(-4, -4), tip + QPointF(4, 4));
        p.drawLine(tip + QPointF(-4, 4), tip + QPointF(4, -4));
    } else {
        p.setBrush(c);
        p.drawPolygon(
            QPolygonF({tip, tip + QPointF(dir * h, -h / 2), tip + QPointF(dir * h, h / 2)}));
        p.setBrush(Qt::NoBrush);
    }
    p.setRenderHint(QPainter::Antialiasing, false);
    // The label sits above the arrow, centred on it; a row holds one arrow,
    // so a long label may reach past the arrow's ends.
    const double room = laneCount() * m_nLaneWidth - 8;
    const QString label = fm.elidedText(a.label, Qt::ElideMiddle, int(room));
    const double w = fm.horizontalAdvance(label) + 2;
    const double left = qBound(m_nTimeWidth + 4.0, (a.line.x1() + a.line.x2() - w) / 2,
                               m_nTimeWidth + 4.0 + room - w);
    p.setPen(a.style == Style::Call ? palette().color(QPalette::Text) : c);
    p.drawText(QRectF(left, y, w, a.line.y1() - y - 1), Qt::AlignHCenter | Qt::AlignBottom, label);
}

int KLumoSequenceChart::rowAt(int y) const
{
    if (!m_pSession || y < m_nHeaderHeight)
        return -1;
    const int row = (y - m_nHeaderHeight + verticalScrollBar()->value()) / m_nRowHeight;
    return row < m_pSession->rowCount() ? row : -1;
}

void KLumoSequenceChart::selectRow(int row)
{
    if (!m_pSession || row < 0 || row >= m_pSession->rowCount())
        return;
    m_nSelected = row;
    // Keep the row in view.
    QScrollBar *v = verticalScrollBar();
    const int top = row * m_nRowHeight, bottom = top + m_nRowHeight;
    const int visible = viewport()->height() - m_nHeaderHeight;
    if (top < v->value())
        v->setValue(top);
    else if (bottom > v->value() + visible)
        v->setValue(bottom - visible);
    viewport()->update();
    Q_EMIT rowSelected(row);
}

void KLumoSequenceChart::mousePressEvent(QMouseEvent *event)
{
    const int row = rowAt(int(event->pos().y()));
    if (row >= 0)
        selectRow(row);
}

void KLumoSequenceChart::keyPressEvent(QKeyEvent *event)
{
    if (!m_pSession || m_pSession->rowCount() == 0)
        return QAbstractScrollArea::keyPressEvent(event);
    const int page = qMax(1, (viewport()->height() - m_nHeaderHeight) / m_nRowHeight);
    int row = m_nSelected;
    switch (event->key()) {
    case Qt::Key_Down:
        row = m_nSelected + 1;
        break;
    case Qt::Key_Up:
        row = m_nSelected - 1;
        break;
    case Qt::Key_PageDown:
        row = m_nSelected + page;
        break;
    case Qt::Key_PageUp:
        row = m_nSelected - page;
        break;
    case Qt::Key_Home:
        row = 0;
        break;
    case Qt::Key_End:
        row = m_pSession->rowCount() - 1;
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // To the other end of a call, if it has one.
        row = m_nSelected >= 0 ? m_pSession->partner(m_nSelected) : -1;
        if (row < 0)
            return;
        break;
    default:
        return QAbstractScrollArea::keyPressEvent(event);
    }
    selectRow(qBound(0, row, m_pSession->rowCount() - 1));
}

} // namespace ofx::lumo

#include "moc_klumosequencechart.cpp"
