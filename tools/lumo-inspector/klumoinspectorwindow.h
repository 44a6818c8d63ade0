#pragma once

#include <QMainWindow>

class QTabWidget;

namespace ofx::lumo {

class KLumoCallConsole;
class KLumoCaptureView;
class KLumoLiveView;

/**
 * The inspector's window: the live view of the service, the call console and
 * the capture view, one tab each. GUI thread, which is the library's.
 */
class KLumoInspectorWindow : public QMainWindow
{
    Q_OBJECT
public:
    enum Tab { Live, Calls, Capture };

    explicit KLumoInspectorWindow(QWidget *parent = nullptr);
    ~KLumoInspectorWindow() override;

    // Watches the library's event object; call once LumoIpcInit() has run.
    void attach(QObject *events);
    void showTab(Tab tab);

    KLumoLiveView *liveView() const { return m_live; }
    KLumoCallConsole *callConsole() const { return m_console; }
    KLumoCaptureView *captureView() const { return m_capture; }

private:
    QTabWidget *m_tabs;
    KLumoLiveView *m_live;
    KLumoCallConsole *m_console;
    KLumoCaptureView *m_capture;
};

} // namespace ofx::lumo
