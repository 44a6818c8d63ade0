#pragma once

#include "klumojsonvalue.h"

#include <map>
#include <string>

namespace ofx::lumo {

/**
 * How the service emulator answers: per method a reply value, a delay, no reply
 * or a failure; per generic call name (asynCall) the same; and the login
 * profile that getLoginInfo returns. Loaded from a JSON scenario file:
 *
 *   { "login":   { "userId": "10001", ... },
 *     "methods": { "createFolder": { "reply": {...}, "delayMs": 50 },
 *                  "remove": { "fail": "disk full" },
 *                  "getUserId": { "noReply": true } },
 *     "generic": { "getSkinInfo": { "reply": { "skin": "dark" } } } }
 *
 * Owned by the emulator's thread; not shared.
 */
class KLumoEmulatorScenario
{
public:
    struct Behaviour
    {
        bool hasReply = false;
        KLumoJsonValue reply;
        int delayMs = 0;
        bool noReply = false;
        bool fail = false;
        std::string failMessage;
    };

    KLumoEmulatorScenario();

    // Replaces the whole scenario; on error leaves it unchanged and returns false.
    bool load(const KLumoJsonValue &doc, std::string *error);
    bool loadFile(const std::string &path, std::string *error);

    // Validates @p behaviour against the method's result type before taking it.
    bool setBehaviour(const std::string &method, const KLumoJsonValue &behaviour,
                      std::string *error);
    bool setGenericBehaviour(const std::string &name, const KLumoJsonValue &behaviour,
                             std::string *error);
    // Valid until the scenario changes; a default Behaviour when none is set.
    const Behaviour &behaviour(const std::string &method) const;
    const Behaviour &genericBehaviour(const std::string &name) const;

    // A map<string,string> profile as getLoginInfo reports it.
    const KLumoJsonValue &profile() const { return m_oProfile; }
    bool setProfile(const KLumoJsonValue &profile, std::string *error);
    static KLumoJsonValue defaultProfile();

private:
    static bool parseBehaviour(const KLumoJsonValue &json, int resultType, const std::string &where,
                               Behaviour *out, std::string *error);

    std::map<std::string, Behaviour> m_mapMethods;
    std::map<std::string, Behaviour> m_mapGeneric;
    KLumoJsonValue m_oProfile;
};

} // namespace ofx::lumo
