#pragma once

#include "lumoservice_export.h"

#include <QtGlobal>

namespace LumoService {

/**
 * One client connection of a Server, for as long as the server object lives:
 * ids are handed out in order from 1 and never reused, so a Reply or a push
 * meant for a client that left reaches nobody else.
 */
using ClientId = quint64;

/** The client id that stands for every connected client (Notifier). */
constexpr ClientId AllClients = 0;

} // namespace LumoService
