#include "klumocallconsole.h"

#include "klumoargumenteditor.h"
#include "klumocalloutcome.h"
#include "klumoctlargument.h"
#include "klumojsoncall.h"
#include "klumojsonmessage.h"
#include "klumojsonsample.h"
#include "klumomethodcatalog.h"
#include "lumoctl_dispatch.h"

#include <QDateTime>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QStandardItemModel>
#include <QTableView>
#include <QVBoxLayout>

namespace ofx::lumo {

namespace {

enum HistoryColumn { Time, Method, Outcome, Milliseconds };
enum HistoryRole { ArgumentRole = Qt::UserRole + 1, ResultRole, KindRole };

// The generic route's call, as the request service declares it.
const jsonschema::Method &asynCall()
{
    return *KLumoJsonSchemaIndex::method("KLumoServices", "asynCall");
}

QPlainTextEdit *readOnlyText(QWidget *parent)
{
    auto *text = new QPlainTextEdit(parent);
    text->setReadOnly(true);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text->setLineWrapMode(QPlainTextEdit::NoWrap);
    return text;
}

} // namespace

const QString KLumoCallConsole::GenericRoute = QStringLiteral("generic route (by name)");

KLumoCallConsole::KLumoCallConsole(QWidget *parent)
    : QWidget(parent)
    , m_pHistory(new QStandardItemModel(0, 4, this))
{
    auto *left = new QWidget(this);
    auto *leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    m_pSearch = new QLineEdit(left);
    m_pSearch->setPlaceholderText(tr("Search methods"));
    m_pSearch->setClearButtonEnabled(true);
    m_pMethods = new QListWidget(left);
    m_pMethods->addItem(GenericRoute);
    for (const KLumoCtlMethod &m : lumoctlMethods)
        m_pMethods->addItem(QLatin1String(m.name));
    leftLayout->addWidget(m_pSearch);
    leftLayout->addWidget(m_pMethods, 1);

    auto *right = new QSplitter(Qt::Vertical, this);
    m_pDescription = readOnlyText(right);
    auto *argument = new QWidget(right);
    auto *argumentLayout = new QVBoxLayout(argument);
    argumentLayout->setContentsMargins(0, 0, 0, 0);
    m_pEditor = new KLumoArgumentEditor(argument);
    auto *buttons = new QHBoxLayout;
    auto *sample = new QPushButton(tr("Sample"), argument);
    m_pSend = new QPushButton(tr("Send"), argument);
    m_pSend->setDefault(true);
    buttons->addWidget(m_pEditor->messageLabel(), 1);
    buttons->addWidget(sample);
    buttons->addWidget(m_pSend);
    argumentLayout->addWidget(new QLabel(tr("Argument (JSON)"), argument));
    argumentLayout->addWidget(m_pEditor, 1);
    argumentLayout->addLayout(buttons);
    auto *result = new QWidget(right);
    auto *resultLayout = new QVBoxLayout(result);
    resultLayout->setContentsMargins(0, 0, 0, 0);
    m_pOutcome = new QLabel(tr("Nothing sent yet"), result);
    m_pOutcome->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_pResult = readOnlyText(result);
    resultLayout->addWidget(m_pOutcome);
    resultLayout->addWidget(m_pResult, 1);
    m_pHistory->setHorizontalHeaderLabels({tr("Time"), tr("Method"), tr("Outcome"), tr("ms")});
    m_pHistoryView = new QTableView(right);
    m_pHistoryView->setModel(m_pHistory);
    m_pHistoryView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_pHistoryView->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_pHistoryView->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pHistoryView->verticalHeader()->hide();
    m_pHistoryView->setWordWrap(false);
    m_pHistoryView->setVerticalScrollMode(QAbstractItemView::ScrollPerItem); // whole rows
    m_pHistoryView->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_pHistoryView->horizontalHeader()->setSectionResizeMode(Outcome, QHeaderView::Stretch);
    m_pHistoryView->setToolTip(tr("Double-click a call to run it again"));
    right->addWidget(m_pDescription);
    right->addWidget(argument);
    right->addWidget(result);
    right->addWidget(m_pHistoryView);
    right->setSizes({150, 130, 160, 330});

    auto *split = new QSplitter(Qt::Horizontal, this);
    split->addWidget(left);
    split->addWidget(right);
    split->setStretchFactor(1, 1);
    split->setSizes({300, 900});
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(split);

    connect(m_pSearch, &QLineEdit::textChanged, this, &KLumoCallConsole::filterMethods);
    connect(m_pMethods, &QListWidget::currentRowChanged, this, &KLumoCallConsole::showMethod);
    connect(sample, &QPushButton::clicked, this, &KLumoCallConsole::showMethod);
    connect(m_pSend, &QPushButton::clicked, this, &KLumoCallConsole::send);
    connect(m_pHistoryView->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex &current) { showHistoryRow(current.row()); });
    connect(m_pHistoryView, &QTableView::doubleClicked, this,
            [this](const QModelIndex &index) { rerun(index.row()); });
    m_pMethods->setCurrentRow(1);
}

KLumoCallConsole::~KLumoCallConsole() = default;

void KLumoCallConsole::filterMethods(const QString &text)
{
    for (int i = 0; i < m_pMethods->count(); ++i) {
        QListWidgetItem *item = m_pMethods->item(i);
        item->setHidden(!item->text().contains(text, Qt::CaseInsensitive));
    }
}

bool KLumoCallConsole::selectMethod(const QString &name)
{
    const QList<QListWidgetItem *> found = m_pMethods->findItems(name, Qt::MatchExactly);
    if (found.isEmpty())
        return false;
    m_pMethods->setCurrentItem(found.first());
    showMethod();
    return true;
}

void KLumoCallConsole::showMethod()
{
    const QListWidgetItem *item = m_pMethods->currentItem();
    if (!item)
        return;
    if (item->text() == GenericRoute) {
        m_pDescription->setPlainText(
            QString::fromStdString(KLumoMethodCatalog::describe({&asynCall(), -1}))
            + tr("\nCalled through LumoIpcAsynCall; the result is a string map."));
        // The arguments by their names in the interface.
        KLumoJsonValue sample = KLumoJsonValue::object();
        sample.insert(jsonschema::fields[asynCall().firstArg].name, "getLoginInfo");
        sample.insert(jsonschema::fields[asynCall().firstArg + 1].name, KLumoJsonValue::array());
        m_pEditor->setPlainText(QString::fromStdString(sample.serialize(2)));
        return;
    }
    const KLumoMethodCatalog::Entry entry = KLumoMethodCatalog::lookup(item->text().toStdString());
    m_pDescription->setPlainText(QString::fromStdString(KLumoMethodCatalog::describe(entry)));
    const int type = KLumoMethodCatalog::exampleType(entry);
    m_pEditor->setPlainText(QString::fromStdString(
        (type >= 0 ? KLumoJsonSample::value(type) : KLumoJsonValue()).serialize(2)));
}

bool KLumoCallConsole::send()
{
    const QListWidgetItem *item = m_pMethods->currentItem();
    if (!item)
        return false;
    const QString name = item->text();
    const bool generic = name == GenericRoute;
    // What to send, checked before anything is sent or shown.
    QString method;
    QStringList params; // the generic route's
    std::unique_ptr<KLumoCtlArgument> arg; // a method's
    KLumoJsonValue json;
    try {
        if (generic) {
            if (!m_pEditor->parse({}, &json))
                return false;
            KLumoJsonMessage::encodeCall(asynCall(), json); // checks it
            const KLumoJsonValue *called = json.find(jsonschema::fields[asynCall().firstArg].name);
            const KLumoJsonValue *list =
                json.find(jsonschema::fields[asynCall().firstArg + 1].name);
            for (const KLumoJsonValue &v : list ? list->elements() : KLumoJsonValue::Array())
                params << QString::fromStdString(v.toString());
            method = QString::fromStdString(called ? called->toString() : "");
        } else {
            const KLumoCtlMethod *found = KLumoMethodCatalog::find(name);
            const jsonschema::Method *m =
                KLumoJsonSchemaIndex::method("KLumoServices", found->method);
            if (!m_pEditor->parse(jsonschema::fields[m->firstArg].name, &json))
                return false;
            arg = std::make_unique<KLumoCtlArgument>(found->method, found->argType, json);
            method = name;
        }
    } catch (const KLumoJsonError &e) {
        m_pEditor->showError(QString::fromUtf8(e.what()), e.path());
        return false;
    }

    const int row = m_pHistory->rowCount();
    auto *methodItem = new QStandardItem(method);
    methodItem->setData(m_pEditor->toPlainText(), ArgumentRole);
    methodItem->setData(name, KindRole);
    m_pHistory->appendRow(
        {new QStandardItem(QTime::currentTime().toString(QStringLiteral("HH:mm:ss.zzz"))),
         methodItem, new QStandardItem(tr("waiting")), new QStandardItem});
    m_pHistoryView->scrollToBottom();
    m_pOutcome->setText(tr("%1: waiting for the result").arg(method));
    m_pResult->clear();

    QElapsedTimer clock;
    clock.start();
    // Runs in this widget's thread, and not at all once the widget is gone.
    KLumoJsonCall::Done ended = [this, row, clock](const LumoIpc::Status &status,
                                                   const KLumoJsonValue &result) {
        onEnded(row, clock, status, result);
    };
    const LumoIpc::PendingCall call = generic
        ? KLumoJsonCall::generic(method, params, this, std::move(ended))
        : KLumoJsonCall::call(method, *arg, this, std::move(ended));
    if (!call.isValid()) // the library does not run: nothing ends the call
        onEnded(row, clock, LumoIpc::Status(LumoIpc::Status::Code::NotConnected, QString()),
                KLumoJsonValue());
    return true;
}

void KLumoCallConsole::onEnded(int row, const QElapsedTimer &clock, const LumoIpc::Status &status,
                               const KLumoJsonValue &result)
{
    const KLumoCallOutcome outcome = KLumoCallOutcome::of(status);
    m_pHistory->item(row, Outcome)->setText(outcome.text);
    m_pHistory->item(row, Outcome)->setData(int(outcome.kind), KindRole);
    m_pHistory->item(row, Milliseconds)->setText(QString::number(clock.elapsed()));
    m_pHistory->item(row, Method)->setData(QString::fromStdString(result.serialize(2)), ResultRole);
    // The call that ended is the one shown.
    m_pHistoryView->selectRow(row);
    showHistoryRow(row);
    Q_EMIT callEnded(row);
}

void KLumoCallConsole::showHistoryRow(int row)
{
    if (row < 0 || row >= m_pHistory->rowCount())
        return;
    const QStandardItem *method = m_pHistory->item(row, Method);
    const QString ms = m_pHistory->item(row, Milliseconds)->text();
    m_pOutcome->setText(ms.isEmpty()
                            ? tr("%1: waiting for the result").arg(method->text())
                            : tr("%1: %2 after %3 ms")
                                  .arg(method->text(), m_pHistory->item(row, Outcome)->text(), ms));
    m_pResult->setPlainText(method->data(ResultRole).toString());
}

void KLumoCallConsole::rerun(int row)
{
    const QStandardItem *method = m_pHistory->item(row, Method);
    if (!method || !selectMethod(method->data(KindRole).toString()))
        return;
    m_pEditor->setPlainText(method->data(ArgumentRole).toString());
    send();
}

QString KLumoCallConsole::resultText() const
{
    return m_pResult->toPlainText();
}

QString KLumoCallConsole::outcomeText() const
{
    return m_pOutcome->text();
}

} // namespace ofx::lumo

#include "moc_klumocallconsole.cpp"
