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

    KLumoLiveView *liveView() const { return m_pLive; }
    KLumoCallConsole *callConsole() const { return m_pConsole; }
    KLumoCaptureView *captureView() const { return m_pCapture; }

private:
    QTabWidget *m_pTabs;
    KLumoLiveView *m_pLive;
    KLumoCallConsole *m_pConsole;
    KLumoCaptureView *m_pCapture;
};

} // namespace ofx::lumo
