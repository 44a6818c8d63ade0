#pragma once

#include "support/lumolog.h"

// "lumoservice": the service SDK's lines, which end in _nvo_log_msg too.
Q_DECLARE_LOGGING_CATEGORY(lcService)
