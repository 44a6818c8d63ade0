// A notification connected to a slot that takes another record: Qt's check
// fails, and the diagnostic names the signal's argument and the slot's.
// expect: not compatible
// expect: NotifyFileActionArg[^\n]*NotifyFileCreationArg
#include <lumoipccalls.h>

void host(QObject *context)
{
    QObject::connect(LumoIpc::events(), &KLumoIpc::signal_notifyFileAction, context,
                     [](const ofx::lumo::NotifyFileCreationArg &) {});
}
