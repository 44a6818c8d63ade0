#pragma once

#include <QMap>
#include <QString>

namespace ofx::lumo {

/**
 * The key/value map the action-map and share-discussion notifications carry,
 * converted from UTF-8. Slots and signals that receive it must be declared with
 * this very name (`const StringMapArgs &`): the handler finds them by the
 * signature "(StringMapArgs)", and the name is registered as a meta type.
 */
using StringMapArgs = QMap<QString, QString>;

} // namespace ofx::lumo
