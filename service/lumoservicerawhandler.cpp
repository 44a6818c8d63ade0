#include "lumoservicerawhandler.h"

namespace LumoService {

RawHandler::~RawHandler() = default;

} // namespace LumoService
