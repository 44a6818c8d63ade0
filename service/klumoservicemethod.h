#pragma once

#include "klumoservicefield.h"

#include <memory>
#include <string_view>

namespace LumoService {
class Handler;
}

namespace ofx::lumo {

class KLumoReplyState;

/**
 * One method of KLumoServices as the server dispatches it: a row of the table
 * generated from the interface (klumoservicemethods.cpp). A row's call reads
 * the method's argument record from the message and calls the handler's
 * virtual, handing it a Reply made from @p state (moved out of it only once
 * the arguments decoded). Constant; any thread.
 */
struct KLumoServiceMethod
{
    using State = std::shared_ptr<KLumoReplyState>;
    using Call = void (*)(LumoService::Handler &handler, KLumoServiceDecoder &in, State &state);

    const char *name;
    bool oneway;
    Call call;

    // The row of @p method, or null when the interface has no such method.
    static const KLumoServiceMethod *find(std::string_view method);
    // The handler of a server that has none: every method is unknown.
    static LumoService::Handler &fallback();

    static const KLumoServiceMethod table[];
    static const int count;
};

} // namespace ofx::lumo
