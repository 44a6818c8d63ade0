#include "klumolatencyhistogram.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace ofx::lumo {

namespace {

QString msText(double ns)
{
    const double ms = ns / 1e6;
    return QString::number(ms, 'g', ms < 1 ? 2 : 3) + QLatin1String(" ms");
}

} // namespace

KLumoLatencyHistogram::KLumoLatencyHistogram(QWidget *parent)
    : QWidget(parent)
{
    setMinimumHeight(140);
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
}

void KLumoLatencyHistogram::setLatencies(const QString &method, std::vector<qint64> latenciesNs,
                                         double p50Ms, double p99Ms)
{
    m_strMethod = method;
    m_lstLatencies = std::move(latenciesNs);
    m_fP50 = p50Ms;
    m_p99 = p99Ms;
    m_lstCounts.fill(0, m_lstLatencies.empty() ? 0 : BinCount);
    if (!m_lstLatencies.empty()) {
        m_fLow = double(std::max<qint64>(m_lstLatencies.front(), 1));
        m_fHigh = std::max(double(m_lstLatencies.back()), m_fLow * 1.01);
        m_bLog = m_fHigh / m_fLow > 20;
        for (qint64 ns : m_lstLatencies)
            ++m_lstCounts[std::min(BinCount - 1, int(position(double(ns)) * BinCount))];
    }
    update();
}

double KLumoLatencyHistogram::position(double ns) const
{
    ns = std::clamp(ns, m_fLow, m_fHigh);
    return m_bLog ? std::log(ns / m_fLow) / std::log(m_fHigh / m_fLow)
                  : (ns - m_fLow) / (m_fHigh - m_fLow);
}

double KLumoLatencyHistogram::edge(int i) const
{
    const double f = double(i) / BinCount;
    return m_bLog ? m_fLow * std::pow(m_fHigh / m_fLow, f) : m_fLow + (m_fHigh - m_fLow) * f;
}

void KLumoLatencyHistogram::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    const QFontMetrics fm(font());
    // A line for the title, one for the percentiles' labels, then the bars.
    const QRect area = rect().adjusted(8, fm.height() * 2 + 10, -8, -(fm.height() + 10));
    p.setPen(palette().color(QPalette::Text));
    if (m_lstCounts.isEmpty()) {
        p.drawText(rect(), Qt::AlignCenter,
                   m_strMethod.isEmpty() ? tr("Select a method to see its latencies")
                                         : tr("%1: no answered calls").arg(m_strMethod));
        return;
    }
    const int most = *std::max_element(m_lstCounts.begin(), m_lstCounts.end());
    const QString title = tr("%1: %2 answered calls (%3 scale)")
                              .arg(m_strMethod)
                              .arg(m_lstLatencies.size())
                              .arg(m_bLog ? tr("log") : tr("linear"));
    p.drawText(QRect(8, 2, width() - 16, fm.height() + 4), Qt::AlignLeft | Qt::AlignVCenter,
               fm.elidedText(title, Qt::ElideRight, width() - 16));
    const double w = double(area.width()) / BinCount;
    const QColor bar(0x42, 0x7a, 0xb8);
    for (int i = 0; i < BinCount; ++i) {
        const double h = most ? double(m_lstCounts[i]) / most * area.height() : 0;
        p.fillRect(QRectF(area.left() + i * w + 1, area.bottom() - h, w - 2, h), bar);
    }
    p.setPen(palette().color(QPalette::Mid));
    p.drawLine(area.bottomLeft(), area.bottomRight());
    // The axis: its ends and middle.
    p.setPen(palette().color(QPalette::Text));
    const int y = area.bottom() + 4;
    p.drawText(QRect(area.left(), y, area.width(), fm.height()), Qt::AlignLeft, msText(m_fLow));
    p.drawText(QRect(area.left(), y, area.width(), fm.height()), Qt::AlignHCenter,
               msText(edge(BinCount / 2)));
    p.drawText(QRect(area.left(), y, area.width(), fm.height()), Qt::AlignRight, msText(m_fHigh));
    // The percentiles: p99's label right of its line, p50's left of its own
    // and never over p99's.
    const auto x = [&](double ms) { return area.left() + position(ms * 1e6) * area.width(); };
    const int w50 = fm.horizontalAdvance(QStringLiteral("p50")) + 4;
    const int w99 = fm.horizontalAdvance(QStringLiteral("p99")) + 4;
    const double at99 = qBound(double(area.left()), x(m_p99) + 2, double(area.right() - w99));
    const double at50 = qMax(double(area.left()), qMin(x(m_fP50) - w50, at99 - w50 - 2));
    p.setPen(QPen(QColor(0xc6, 0x28, 0x28), 1, Qt::DashLine));
    for (const double ms : {m_fP50, m_p99})
        p.drawLine(QPointF(x(ms), area.top()), QPointF(x(ms), area.bottom()));
    const int y0 = area.top() - fm.height() - 2;
    p.drawText(QRectF(at50, y0, w50, fm.height()), Qt::AlignLeft, QStringLiteral("p50"));
    p.drawText(QRectF(at99, y0, w99, fm.height()), Qt::AlignLeft, QStringLiteral("p99"));
}

} // namespace ofx::lumo

#include "moc_klumolatencyhistogram.cpp"
