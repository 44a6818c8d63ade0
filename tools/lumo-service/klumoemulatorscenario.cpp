#include "klumoemulatorscenario.h"

#include "klumojsoncodec.h"

#include <fstream>
#include <sstream>

namespace ofx::lumo {

namespace {

const char ServiceName[] = "KLumoServices";

// Checks that @p value can be written as @p type; the error names the place.
bool fits(int type, const KLumoJsonValue &value, const std::string &where, std::string *error)
{
    try {
        KLumoJsonCodec::check(type, value, where);
        return true;
    } catch (const KLumoJsonError &e) {
        *error = e.what();
        return false;
    }
}

int genericResultType()
{
    return KLumoJsonSchemaIndex::method(ServiceName, "asynCall")->result;
}

} // namespace

KLumoEmulatorScenario::KLumoEmulatorScenario()
    : m_oProfile(defaultProfile())
{ }

KLumoJsonValue KLumoEmulatorScenario::defaultProfile()
{
    KLumoJsonValue p = KLumoJsonValue::object();
    p.insert("isLogined", "1");
    p.insert("userId", "10001");
    p.insert("userName", "demo");
    p.insert("nickName", "Demo User");
    p.insert("account", "demo@example.org");
    p.insert("loginMode", "password");
    p.insert("isVip", "0");
    p.insert("isCompanyAccount", "0");
    p.insert("roamingSwitch", "1");
    p.insert("currentCompanyId", "");
    return p;
}

bool KLumoEmulatorScenario::parseBehaviour(const KLumoJsonValue &json, int resultType,
                                           const std::string &where, Behaviour *out,
                                           std::string *error)
{
    if (!json.isObject()) {
        *error = where + ": expected an object";
        return false;
    }
    Behaviour b;
    for (const auto &m : json.members()) {
        const std::string key = where + "." + m.first;
        if (m.first == "reply") {
            if (resultType >= 0 && !fits(resultType, m.second, key, error))
                return false;
            b.hasReply = true;
            b.reply = m.second;
        } else if (m.first == "delayMs") {
            if (!m.second.isInteger() || m.second.toInteger() < 0
                || m.second.toInteger() > 3600000) {
                *error = key + ": expected milliseconds (0..3600000)";
                return false;
            }
            b.delayMs = int(m.second.toInteger());
        } else if (m.first == "noReply") {
            if (!m.second.isBool()) {
                *error = key + ": expected true or false";
                return false;
            }
            b.noReply = m.second.toBool();
        } else if (m.first == "fail") {
            if (!m.second.isString()) {
                *error = key + ": expected the failure message";
                return false;
            }
            b.fail = true;
            b.failMessage = m.second.toString();
        } else {
            *error = key + ": unknown setting (reply, delayMs, noReply, fail)";
            return false;
        }
    }
    *out = std::move(b);
    return true;
}

bool KLumoEmulatorScenario::setBehaviour(const std::string &method, const KLumoJsonValue &json,
                                         std::string *error)
{
    const jsonschema::Method *m = KLumoJsonSchemaIndex::method(ServiceName, method);
    if (!m) {
        *error = "methods." + method + ": not a method of " + ServiceName;
        return false;
    }
    if (m->oneway) {
        *error = "methods." + method + ": a oneway method gets no reply";
        return false;
    }
    Behaviour b;
    if (!parseBehaviour(
            json, jsonschema::types[m->result].kind == jsonschema::Kind::Void ? -1 : m->result,
            "methods." + method, &b, error))
        return false;
    m_mapMethods[method] = std::move(b);
    return true;
}

bool KLumoEmulatorScenario::setGenericBehaviour(const std::string &name, const KLumoJsonValue &json,
                                                std::string *error)
{
    Behaviour b;
    if (!parseBehaviour(json, genericResultType(), "generic." + name, &b, error))
        return false;
    m_mapGeneric[name] = std::move(b);
    return true;
}

namespace {
const KLumoEmulatorScenario::Behaviour &noBehaviour()
{
    static const KLumoEmulatorScenario::Behaviour none;
    return none;
}
} // namespace

const KLumoEmulatorScenario::Behaviour &
KLumoEmulatorScenario::behaviour(const std::string &method) const
{
    auto it = m_mapMethods.find(method);
    return it == m_mapMethods.end() ? noBehaviour() : it->second;
}

const KLumoEmulatorScenario::Behaviour &
KLumoEmulatorScenario::genericBehaviour(const std::string &name) const
{
    auto it = m_mapGeneric.find(name);
    return it == m_mapGeneric.end() ? noBehaviour() : it->second;
}

bool KLumoEmulatorScenario::setProfile(const KLumoJsonValue &profile, std::string *error)
{
    if (!fits(genericResultType(), profile, "login", error))
        return false;
    m_oProfile = profile;
    return true;
}

bool KLumoEmulatorScenario::load(const KLumoJsonValue &doc, std::string *error)
{
    if (!doc.isObject()) {
        *error = "a scenario is a JSON object";
        return false;
    }
    KLumoEmulatorScenario next;
    for (const auto &m : doc.members()) {
        if (m.first == "login") {
            if (!next.setProfile(m.second, error))
                return false;
        } else if (m.first == "methods" || m.first == "generic") {
            if (!m.second.isObject()) {
                *error = m.first + ": expected an object keyed by method name";
                return false;
            }
            for (const auto &b : m.second.members()) {
                const bool ok = m.first == "methods"
                    ? next.setBehaviour(b.first, b.second, error)
                    : next.setGenericBehaviour(b.first, b.second, error);
                if (!ok)
                    return false;
            }
        } else {
            *error = m.first + ": unknown scenario section (login, methods, generic)";
            return false;
        }
    }
    *this = std::move(next);
    return true;
}

bool KLumoEmulatorScenario::loadFile(const std::string &path, std::string *error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = path + ": cannot be read";
        return false;
    }
    std::stringstream text;
    text << in.rdbuf();
    std::string parseError;
    const KLumoJsonValue doc = KLumoJsonValue::parse(text.str(), &parseError);
    if (!parseError.empty()) {
        *error = path + ": " + parseError;
        return false;
    }
    if (!load(doc, error)) {
        *error = path + ": " + *error;
        return false;
    }
    return true;
}

} // namespace ofx::lumo
