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
    , m_tabs(new QTabWidget(this))
    , m_live(new KLumoLiveView(m_tabs))
    , m_console(new KLumoCallConsole(m_tabs))
    , m_capture(new KLumoCaptureView(m_tabs))
{
    setWindowTitle(tr("lumo inspector"));
    m_tabs->addTab(m_live, tr("Live"));
    m_tabs->addTab(m_console, tr("Calls"));
    m_tabs->addTab(m_capture, tr("Capture"));
    setCentralWidget(m_tabs);

    QMenu *file = menuBar()->addMenu(tr("&File"));
    QAction *open = file->addAction(tr("&Open capture…"));
    open->setShortcut(QKeySequence::Open);
    connect(open, &QAction::triggered, this, [this] {
        showTab(Capture);
        m_capture->chooseFiles(false);
    });
    QAction *follow = file->addAction(tr("&Follow capture…"));
    connect(follow, &QAction::triggered, this, [this] {
        showTab(Capture);
        m_capture->chooseFiles(true);
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
    m_live->attach(events);
}

void KLumoInspectorWindow::showTab(Tab tab)
{
    m_tabs->setCurrentIndex(int(tab));
}

} // namespace ofx::lumo
