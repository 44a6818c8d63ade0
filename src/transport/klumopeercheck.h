#pragma once

#include <QString>
#include <QtGlobal>

#include <functional>

namespace ofx::lumo {

// Decides whether the server at the other end of a fresh connection may be
// talked to; @p fd is the connected descriptor (-1 if unknown). On refusal
// @p reason says why, for the log.
using KLumoPeerCheck = std::function<bool(qintptr fd, QString *reason)>;

// The channel's default check: only a server running under our own effective
// uid is accepted (SO_PEERCRED), so another user cannot squat on the name and
// read our calls. A service applies it to each client it accepts.
bool samePeerUid(qintptr fd, QString *reason);

} // namespace ofx::lumo
