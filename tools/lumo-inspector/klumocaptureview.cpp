#include "klumocaptureview.h"

#include "klumocaptureloader.h"
#include "klumocapturesession.h"
#include "klumolatencyhistogram.h"
#include "klumosequencechart.h"
#include "klumostatsmodel.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QSplitter>
#include <QTableView>
#include <QThreadPool>
#include <QVBoxLayout>

#include <algorithm>

namespace ofx::lumo {

namespace {

QTableView *statsTable(QAbstractItemModel *model, QWidget *parent)
{
    auto *view = new QTableView(parent);
    view->setModel(model);
    view->setSortingEnabled(true);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->verticalHeader()->hide();
    view->setWordWrap(false);
    view->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    return view;
}

} // namespace

KLumoCaptureView::KLumoCaptureView(QWidget *parent)
    : QWidget(parent)
    , m_pLoader(new KLumoCaptureLoader(this))
    , m_pMethods(new KLumoStatsModel("methods", this))
    , m_pNotes(new KLumoStatsModel("notifications", this))
    , m_pMethodsSorted(new QSortFilterProxyModel(this))
{
    auto *bar = new QHBoxLayout;
    auto *open = new QPushButton(tr("Open…"), this);
    auto *follow = new QPushButton(tr("Follow…"), this);
    open->setToolTip(tr("Open one or more captures; several merge by time"));
    follow->setToolTip(tr("Open captures still being written and show frames as they come"));
    m_pStatus = new QLabel(tr("No capture open"), this);
    bar->addWidget(open);
    bar->addWidget(follow);
    bar->addWidget(m_pStatus, 1);
    m_pBanner = new QLabel(this);
    m_pBanner->setWordWrap(true);
    m_pBanner->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_pBanner->setStyleSheet(
        QStringLiteral("QLabel { background: #ffebee; color: #b71c1c; padding: "
                       "4px; border: 1px solid #e57373; }"));
    m_pBanner->hide();

    m_pChart = new KLumoSequenceChart(this);
    m_pMethodsSorted->setSourceModel(m_pMethods);
    m_pMethodsSorted->setSortRole(Qt::UserRole);
    m_pMethodView = statsTable(m_pMethodsSorted, this);
    m_pMethodView->sortByColumn(0, Qt::AscendingOrder);
    auto *notesView = statsTable(m_pNotes, this);
    notesView->setSortingEnabled(false);
    m_pHistogram = new KLumoLatencyHistogram(this);
    m_pFrame = new QPlainTextEdit(this);
    m_pFrame->setReadOnly(true);
    m_pFrame->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_pFrame->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_pFrame->setPlaceholderText(tr("Click an arrow to see its frame decoded"));

    // The chart, with the frame under the cursor and its method's latencies
    // beside it; below, the statistics.
    auto *beside = new QSplitter(Qt::Vertical, this);
    beside->addWidget(m_pFrame);
    beside->addWidget(m_pHistogram);
    beside->setSizes({340, 200});
    auto *top = new QSplitter(Qt::Horizontal, this);
    top->addWidget(m_pChart);
    top->addWidget(beside);
    top->setStretchFactor(0, 1);
    top->setSizes({900, 440});
    auto *bottom = new QSplitter(Qt::Horizontal, this);
    bottom->addWidget(m_pMethodView);
    bottom->addWidget(notesView);
    bottom->setStretchFactor(0, 1);
    bottom->setSizes({1040, 300});
    auto *split = new QSplitter(Qt::Vertical, this);
    split->addWidget(top);
    split->addWidget(bottom);
    split->setStretchFactor(0, 1);
    split->setSizes({560, 160});
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(bar);
    layout->addWidget(m_pBanner);
    layout->addWidget(split, 1);

    connect(open, &QPushButton::clicked, this, [this] { chooseFiles(false); });
    connect(follow, &QPushButton::clicked, this, [this] { chooseFiles(true); });
    connect(m_pLoader, &KLumoCaptureLoader::loaded, this, &KLumoCaptureView::onLoaded);
    connect(m_pLoader, &KLumoCaptureLoader::progress, this,
            [this](qint64 frames) { m_pStatus->setText(tr("Reading… %1 frames").arg(frames)); });
    connect(m_pChart, &KLumoSequenceChart::rowSelected, this, &KLumoCaptureView::showFrame);
    connect(m_pMethodView->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex &current) {
                showMethod(current.sibling(current.row(), 0).data().toString());
            });
}

KLumoCaptureView::~KLumoCaptureView() = default;

void KLumoCaptureView::chooseFiles(bool follow)
{
    const QStringList paths =
        QFileDialog::getOpenFileNames(this, follow ? tr("Follow captures") : tr("Open captures"),
                                      QString(), tr("Captures (*.pcapng);;All files (*)"));
    if (!paths.isEmpty())
        open(paths, follow);
}

void KLumoCaptureView::open(const QStringList &paths, bool follow)
{
    m_lstPaths = paths;
    m_pStatus->setText(follow ? tr("Following %n file(s)…", nullptr, int(paths.size()))
                              : tr("Reading %n file(s)…", nullptr, int(paths.size())));
    m_pBanner->hide();
    m_pChart->setSession(nullptr); // another capture: its place and selection start afresh
    // A large capture takes a while to free: not on this thread.
    QThreadPool::globalInstance()->start([old = std::move(m_pSession)] {});
    m_pLoader->open(paths, follow);
}

void KLumoCaptureView::onLoaded(std::shared_ptr<const KLumoCaptureSession> session, bool complete)
{
    const QString method = m_pMethodView->currentIndex()
                               .sibling(m_pMethodView->currentIndex().row(), 0)
                               .data()
                               .toString();
    m_pSession = std::move(session);
    m_pChart->setSession(m_pSession);
    m_pMethods->setStats(m_pSession->stats());
    m_pNotes->setStats(m_pSession->stats());
    const KLumoTraceSummary &s = m_pSession->summary();
    m_pStatus->setText(tr("%1 frames from %2 file(s) of %3 host(s): %4 calls, %5 notifications%6")
                           .arg(m_pSession->rowCount() - int(m_pSession->damages().size()))
                           .arg(m_lstPaths.size())
                           .arg(s.processes().size())
                           .arg(s.calls().size())
                           .arg(s.notifications().size())
                           .arg(complete ? QString() : tr(" (following)")));
    QStringList damage;
    for (const KLumoCaptureSession::Damage &d : m_pSession->damages())
        damage << tr("%1: %2. The chart shows the %3 frames read before it, and a red band where "
                     "it stops.")
                      .arg(QFileInfo(d.path).fileName(), d.message)
                      .arg(d.frames);
    m_pBanner->setText(damage.join(QLatin1Char('\n')));
    m_pBanner->setVisible(!damage.isEmpty());
    if (!method.isEmpty())
        showMethod(method);
    Q_EMIT sessionShown(complete);
}

void KLumoCaptureView::showFrame(int row)
{
    const KLumoCaptureSession::Row &r = m_pSession->rows()[size_t(row)];
    QString text = QString::fromStdString(m_pSession->frameJson(row));
    const int partner = m_pSession->partner(row);
    if (partner >= 0)
        text += tr("\n\n%1 row %2; Enter goes there.")
                    .arg(r.kind == KLumoCaptureSession::Kind::Call ? tr("Its reply is on")
                                                                   : tr("Its request is on"))
                    .arg(partner + 1);
    m_pFrame->setPlainText(text.isEmpty() ? m_pSession->label(row) : text);
    if (r.kind == KLumoCaptureSession::Kind::Call || r.kind == KLumoCaptureSession::Kind::Reply)
        showMethod(QString::fromStdString(m_pSession->summary().calls()[size_t(r.index)].method));
}

void KLumoCaptureView::showMethod(const QString &method)
{
    if (!m_pSession)
        return;
    std::vector<qint64> latencies;
    for (const KLumoTraceSummary::Call &c : m_pSession->summary().calls()) {
        if (c.latencyNs() >= 0 && QLatin1String(c.method.c_str()) == method)
            latencies.push_back(c.latencyNs());
    }
    std::sort(latencies.begin(), latencies.end());
    const int row = m_pMethods->rowOf(method);
    double p50 = 0, p99 = 0;
    if (row >= 0) {
        p50 = m_pMethods->latency(row, "p50");
        p99 = m_pMethods->latency(row, "p99");
    }
    m_pHistogram->setLatencies(method, std::move(latencies), p50, p99);
}

QString KLumoCaptureView::bannerText() const
{
    return m_pBanner->isHidden() ? QString() : m_pBanner->text();
}

QString KLumoCaptureView::frameText() const
{
    return m_pFrame->toPlainText();
}

} // namespace ofx::lumo

#include "moc_klumocaptureview.cpp"
