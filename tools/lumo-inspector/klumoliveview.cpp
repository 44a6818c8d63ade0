#include "klumoliveview.h"

#include "klumoctlmonitor.h"
#include "klumonotificationmodel.h"
#include "klumoservicestate.h"

#include <LumoIpc/LumoIpc>

#include <QDir>
#include <QFileSystemWatcher>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QSplitter>
#include <QTableView>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace ofx::lumo {

namespace {

QTreeWidget *newTree(const QString &first, QWidget *parent)
{
    auto *tree = new QTreeWidget(parent);
    tree->setColumnCount(2);
    tree->setHeaderLabels({first, QObject::tr("Value")});
    tree->setRootIsDecorated(false);
    tree->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    return tree;
}

QTreeWidgetItem *child(QTreeWidgetItem *parent, QTreeWidget *tree, const QString &name)
{
    const int n = parent ? parent->childCount() : tree->topLevelItemCount();
    for (int i = 0; i < n; ++i) {
        QTreeWidgetItem *item = parent ? parent->child(i) : tree->topLevelItem(i);
        if (item->text(0) == name)
            return item;
    }
    auto *item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(tree);
    item->setText(0, name);
    return item;
}

QString valueText(const KLumoJsonValue &v)
{
    return QString::fromStdString(v.isString() ? v.toString() : v.serialize());
}

} // namespace

KLumoLiveView::KLumoLiveView(QWidget *parent)
    : QWidget(parent)
    , m_pLog(new KLumoNotificationModel(this))
    , m_pFiltered(new QSortFilterProxyModel(this))
{
    auto *left = new QWidget(this);
    auto *leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    auto *state = new QGroupBox(tr("Service"), left);
    auto *form = new QFormLayout(state);
    for (const auto &row :
         {std::make_pair("running", tr("Running")), std::make_pair("connection", tr("Connection")),
          std::make_pair("logged in", tr("Logged in")),
          std::make_pair("server", tr("Server name"))}) {
        auto *value = new QLabel(state);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        form->addRow(row.second, value);
        m_mapState.insert(QLatin1String(row.first), value);
    }
    m_pRecords = newTree(tr("Record"), left);
    m_pRecords->setRootIsDecorated(true);
    auto *start = new QPushButton(tr("Start the service"), left);
    connect(start, &QPushButton::clicked, this, [] { LumoIpcStartLumoProcess(QString()); });
    leftLayout->addWidget(state);
    leftLayout->addWidget(m_pRecords, 1);
    leftLayout->addWidget(start);

    auto *right = new QWidget(this);
    auto *rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    auto *bar = new QHBoxLayout;
    m_pFilter = new QLineEdit(right);
    m_pFilter->setPlaceholderText(tr("Filter by signal or argument"));
    m_pFilter->setClearButtonEnabled(true);
    m_pPause = new QPushButton(tr("Pause"), right);
    m_pPause->setCheckable(true);
    auto *clear = new QPushButton(tr("Clear"), right);
    bar->addWidget(m_pFilter, 1);
    bar->addWidget(m_pPause);
    bar->addWidget(clear);
    m_pFiltered->setSourceModel(m_pLog);
    m_pFiltered->setFilterKeyColumn(-1);
    m_pFiltered->setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_pView = new QTableView(right);
    m_pView->setModel(m_pFiltered);
    m_pView->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_pView->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pView->verticalHeader()->hide();
    m_pView->setWordWrap(false); // compact JSON is one long word
    m_pView->horizontalHeader()->setStretchLastSection(true);
    m_pView->horizontalHeader()->setSectionResizeMode(KLumoNotificationModel::Time,
                                                      QHeaderView::ResizeToContents);
    m_pView->setColumnWidth(KLumoNotificationModel::Signal, 260);
    m_pDetail = new QPlainTextEdit(right);
    m_pDetail->setReadOnly(true);
    m_pDetail->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_pDetail->setPlaceholderText(tr("Select a signal to see it in full"));
    auto *logSplit = new QSplitter(Qt::Vertical, right);
    logSplit->addWidget(m_pView);
    logSplit->addWidget(m_pDetail);
    logSplit->setStretchFactor(0, 3);
    logSplit->setStretchFactor(1, 2);
    rightLayout->addLayout(bar);
    rightLayout->addWidget(logSplit, 1);

    auto *split = new QSplitter(Qt::Horizontal, this);
    split->addWidget(left);
    split->addWidget(right);
    split->setStretchFactor(1, 1);
    split->setSizes({420, 860});
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(split);

    connect(m_pFilter, &QLineEdit::textChanged, m_pFiltered,
            &QSortFilterProxyModel::setFilterFixedString);
    connect(m_pPause, &QPushButton::toggled, m_pLog, &KLumoNotificationModel::setPaused);
    connect(m_pPause, &QPushButton::toggled, this,
            [this] { updatePauseButton(m_pLog->heldBack()); });
    connect(m_pLog, &KLumoNotificationModel::heldBackChanged, this,
            &KLumoLiveView::updatePauseButton);
    connect(clear, &QPushButton::clicked, m_pLog, &KLumoNotificationModel::clear);
    connect(m_pView->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &KLumoLiveView::showDetail);
    // New rows follow the end unless the user looks at an older one.
    connect(m_pLog, &QAbstractItemModel::rowsInserted, this, [this] {
        if (!m_pView->selectionModel()->hasSelection())
            m_pView->scrollToBottom();
    });
    refresh();
}

KLumoLiveView::~KLumoLiveView() = default;

void KLumoLiveView::attach(QObject *events)
{
    m_pMonitor = std::make_unique<KLumoCtlMonitor>(
        events, [this](const KLumoJsonValue &event) { onEvent(event); });
    // The service takes its lock and makes its socket in the temporary
    // folder: a change there may mean it started or stopped.
    m_pTempWatcher = new QFileSystemWatcher({QDir::tempPath()}, this);
    connect(m_pTempWatcher, &QFileSystemWatcher::directoryChanged, this, &KLumoLiveView::refresh);
    refresh();
}

void KLumoLiveView::onEvent(const KLumoJsonValue &event)
{
    const KLumoJsonValue *name = event.find("signal");
    if (name && name->toString() == "SocketConnected")
        m_bConnected = true;
    else if (name && name->toString() == "SocketDisConnected")
        m_bConnected = false;
    m_pLog->append(event);
    // The library may apply what a signal announces a queued step later.
    refresh();
    QTimer::singleShot(0, this, &KLumoLiveView::refresh);
}

void KLumoLiveView::refresh()
{
    const bool running = LumoIpcCheckLumoRunning();
    const std::pair<QString, QString> rows[] = {
        {QStringLiteral("running"), running ? tr("yes") : tr("no")},
        {QStringLiteral("connection"), m_bConnected ? tr("connected") : tr("not connected")},
        {QStringLiteral("logged in"), LumoIpcCheckLumoLogined() ? tr("yes") : tr("no")},
        {QStringLiteral("server"), LumoIpcServerName()},
    };
    for (const auto &r : rows)
        m_mapState.value(r.first)->setText(r.second);
    for (const auto &record :
         {std::make_pair(QStringLiteral("login"), KLumoServiceState::login()),
          std::make_pair(QStringLiteral("company"), KLumoServiceState::company())}) {
        QTreeWidgetItem *top = child(nullptr, m_pRecords, record.first);
        top->setExpanded(true);
        for (const auto &m : record.second.members())
            child(top, m_pRecords, QString::fromStdString(m.first))
                ->setText(1, valueText(m.second));
    }
}

QString KLumoLiveView::state(const QString &name) const
{
    const QLabel *value = m_mapState.value(name);
    return value ? value->text() : QString();
}

QString KLumoLiveView::recordField(const QString &path) const
{
    QTreeWidgetItem *top = child(nullptr, m_pRecords, path.section(QLatin1Char('.'), 0, 0));
    return child(top, m_pRecords, path.section(QLatin1Char('.'), 1))->text(1);
}

void KLumoLiveView::showDetail()
{
    const QModelIndex current = m_pView->selectionModel()->currentIndex();
    m_pDetail->setPlainText(m_pLog->detail(m_pFiltered->mapToSource(current).row()));
}

void KLumoLiveView::updatePauseButton(int held)
{
    m_pPause->setText(held > 0                    ? tr("Resume (%1 held)").arg(held)
                          : m_pPause->isChecked() ? tr("Resume")
                                                  : tr("Pause"));
}

} // namespace ofx::lumo

#include "moc_klumoliveview.cpp"
