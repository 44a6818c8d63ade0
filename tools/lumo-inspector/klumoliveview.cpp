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
    , m_log(new KLumoNotificationModel(this))
    , m_filtered(new QSortFilterProxyModel(this))
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
        m_state.insert(QLatin1String(row.first), value);
    }
    m_records = newTree(tr("Record"), left);
    m_records->setRootIsDecorated(true);
    auto *start = new QPushButton(tr("Start the service"), left);
    connect(start, &QPushButton::clicked, this, [] { LumoIpcStartLumoProcess(QString()); });
    leftLayout->addWidget(state);
    leftLayout->addWidget(m_records, 1);
    leftLayout->addWidget(start);

    auto *right = new QWidget(this);
    auto *rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    auto *bar = new QHBoxLayout;
    m_filter = new QLineEdit(right);
    m_filter->setPlaceholderText(tr("Filter by signal or argument"));
    m_filter->setClearButtonEnabled(true);
    m_pause = new QPushButton(tr("Pause"), right);
    m_pause->setCheckable(true);
    auto *clear = new QPushButton(tr("Clear"), right);
    bar->addWidget(m_filter, 1);
    bar->addWidget(m_pause);
    bar->addWidget(clear);
    m_filtered->setSourceModel(m_log);
    m_filtered->setFilterKeyColumn(-1);
    m_filtered->setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_view = new QTableView(right);
    m_view->setModel(m_filtered);
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setSelectionMode(QAbstractItemView::SingleSelection);
    m_view->verticalHeader()->hide();
    m_view->setWordWrap(false); // compact JSON is one long word
    m_view->horizontalHeader()->setStretchLastSection(true);
    m_view->horizontalHeader()->setSectionResizeMode(KLumoNotificationModel::Time,
                                                     QHeaderView::ResizeToContents);
    m_view->setColumnWidth(KLumoNotificationModel::Signal, 260);
    m_detail = new QPlainTextEdit(right);
    m_detail->setReadOnly(true);
    m_detail->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_detail->setPlaceholderText(tr("Select a signal to see it in full"));
    auto *logSplit = new QSplitter(Qt::Vertical, right);
    logSplit->addWidget(m_view);
    logSplit->addWidget(m_detail);
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

    connect(m_filter, &QLineEdit::textChanged, m_filtered,
            &QSortFilterProxyModel::setFilterFixedString);
    connect(m_pause, &QPushButton::toggled, m_log, &KLumoNotificationModel::setPaused);
    connect(m_pause, &QPushButton::toggled, this, [this] { updatePauseButton(m_log->heldBack()); });
    connect(m_log, &KLumoNotificationModel::heldBackChanged, this,
            &KLumoLiveView::updatePauseButton);
    connect(clear, &QPushButton::clicked, m_log, &KLumoNotificationModel::clear);
    connect(m_view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &KLumoLiveView::showDetail);
    // New rows follow the end unless the user looks at an older one.
    connect(m_log, &QAbstractItemModel::rowsInserted, this, [this] {
        if (!m_view->selectionModel()->hasSelection())
            m_view->scrollToBottom();
    });
    refresh();
}

KLumoLiveView::~KLumoLiveView() = default;

void KLumoLiveView::attach(QObject *events)
{
    m_monitor = std::make_unique<KLumoCtlMonitor>(
        events, [this](const KLumoJsonValue &event) { onEvent(event); });
    // The service takes its lock and makes its socket in the temporary
    // folder: a change there may mean it started or stopped.
    m_tempWatcher = new QFileSystemWatcher({QDir::tempPath()}, this);
    connect(m_tempWatcher, &QFileSystemWatcher::directoryChanged, this, &KLumoLiveView::refresh);
    refresh();
}

void KLumoLiveView::onEvent(const KLumoJsonValue &event)
{
    const KLumoJsonValue *name = event.find("signal");
    if (name && name->toString() == "SocketConnected")
        m_connected = true;
    else if (name && name->toString() == "SocketDisConnected")
        m_connected = false;
    m_log->append(event);
    // The library may apply what a signal announces a queued step later.
    refresh();
    QTimer::singleShot(0, this, &KLumoLiveView::refresh);
}

void KLumoLiveView::refresh()
{
    const bool running = LumoIpcCheckLumoRunning();
    const std::pair<QString, QString> rows[] = {
        {QStringLiteral("running"), running ? tr("yes") : tr("no")},
        {QStringLiteral("connection"), m_connected ? tr("connected") : tr("not connected")},
        {QStringLiteral("logged in"), LumoIpcCheckLumoLogined() ? tr("yes") : tr("no")},
        {QStringLiteral("server"), LumoIpcServerName()},
    };
    for (const auto &r : rows)
        m_state.value(r.first)->setText(r.second);
    for (const auto &record :
         {std::make_pair(QStringLiteral("login"), KLumoServiceState::login()),
          std::make_pair(QStringLiteral("company"), KLumoServiceState::company())}) {
        QTreeWidgetItem *top = child(nullptr, m_records, record.first);
        top->setExpanded(true);
        for (const auto &m : record.second.members())
            child(top, m_records, QString::fromStdString(m.first))->setText(1, valueText(m.second));
    }
}

QString KLumoLiveView::state(const QString &name) const
{
    const QLabel *value = m_state.value(name);
    return value ? value->text() : QString();
}

QString KLumoLiveView::recordField(const QString &path) const
{
    QTreeWidgetItem *top = child(nullptr, m_records, path.section(QLatin1Char('.'), 0, 0));
    return child(top, m_records, path.section(QLatin1Char('.'), 1))->text(1);
}

void KLumoLiveView::showDetail()
{
    const QModelIndex current = m_view->selectionModel()->currentIndex();
    m_detail->setPlainText(m_log->detail(m_filtered->mapToSource(current).row()));
}

void KLumoLiveView::updatePauseButton(int held)
{
    m_pause->setText(held > 0                   ? tr("Resume (%1 held)").arg(held)
                         : m_pause->isChecked() ? tr("Resume")
                                                : tr("Pause"));
}

} // namespace ofx::lumo
