#include "klumoinspectorwindow.h"

#include "klumocallconsole.h"
#include "klumocaptureview.h"
#include "klumoliveview.h"

#include <LumoIpc/LumoIpc>

#include <QAction>
#include <QApplication>
#include <QKeySequence>
#include <QMenuBar>
#include <QStatusBar>
#include <QTabWidget>

namespace ofx::lumo {

KLumoInspectorWindow::KLumoInspectorWindow(QWidget *parent)
    : QMainWindow(parent)
    , m_pTabs(new QTabWidget(this))
    , m_pLive(new KLumoLiveView(m_pTabs))
    , m_pConsole(new KLumoCallConsole(m_pTabs))
    , m_pCapture(new KLumoCaptureView(m_pTabs))
{
    setWindowTitle(tr("lumo inspector"));
    m_pTabs->addTab(m_pLive, tr("Live"));
    m_pTabs->addTab(m_pConsole, tr("Calls"));
    m_pTabs->addTab(m_pCapture, tr("Capture"));
    setCentralWidget(m_pTabs);

    QMenu *file = menuBar()->addMenu(tr("&File"));
    QAction *open = file->addAction(tr("&Open capture…"));
    open->setShortcut(QKeySequence::Open);
    connect(open, &QAction::triggered, this, [this] {
        showTab(Capture);
        m_pCapture->chooseFiles(false);
    });
    QAction *follow = file->addAction(tr("&Follow capture…"));
    connect(follow, &QAction::triggered, this, [this] {
        showTab(Capture);
        m_pCapture->chooseFiles(true);
    });
    file->addSeparator();
    QAction *quit = file->addAction(tr("&Quit"));
    quit->setShortcut(QKeySequence::Quit);
    connect(quit, &QAction::triggered, qApp, &QApplication::quit);
    statusBar()->showMessage(tr("Server name: %1").arg(LumoIpcServerName()));
    resize(1280, 800);
}

KLumoInspectorWindow::~KLumoInspectorWindow() = default;

void KLumoInspectorWindow::attach(QObject *events)
{
    m_pLive->attach(events);
}

void KLumoInspectorWindow::showTab(Tab tab)
{
    m_pTabs->setCurrentIndex(int(tab));
}

} // namespace ofx::lumo

#include "moc_klumoinspectorwindow.cpp"
