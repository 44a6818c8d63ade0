// What lumoctl reads from its user: byte 0 picks a method of the request
// service, the rest is the JSON text of its argument. Parsing must fail with a
// message or give a value that prints and parses back to itself; encoding the
// call must fail with the bridge's own error or give bytes that decode to
// arguments encoding to the same bytes; and what encodes must also convert into
// the generated record, as lumoctl does before the call.
#include "klumojsoncodec.h"
#include "klumojsonmessage.h"

#include <cstdint>
#include <cstdlib>

using namespace ofx::lumo;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const jsonschema::Service *service = KLumoJsonSchemaIndex::service("KLumoServices");
    if (size < 1)
        return 0;
    const jsonschema::Method &method =
        jsonschema::methods[service->firstMethod + data[0] % service->methodCount];
    std::string error;
    const KLumoJsonValue json =
        KLumoJsonValue::parse(std::string(reinterpret_cast<const char *>(data + 1), size - 1), &error);
    if (!error.empty())
        return 0;
    const std::string text = json.serialize();
    if (KLumoJsonValue::parse(text, &error).serialize() != text || !error.empty())
        std::abort();
    if (method.argCount != 1)
        return 0;
    const jsonschema::Field &field = jsonschema::fields[method.firstArg];
    KLumoJsonValue args = KLumoJsonValue::object();
    args.insert(field.name, json);
    std::string bytes;
    try {
        bytes = KLumoJsonMessage::encodeCall(method, args, 7);
    } catch (const KLumoJsonError &) {
        return 0;
    }
    const KLumoJsonMessage::Call call = KLumoJsonMessage::decodeCall(service->name, bytes);
    if (call.method != &method || call.seqId != 7
        || KLumoJsonMessage::encodeCall(method, call.args, 7) != bytes)
        std::abort();
    const int record = KLumoJsonSchemaIndex::recordOfType(field.type);
    if (record >= 0) {
        const jsonschema::RecordOps *ops = KLumoJsonSchemaIndex::recordOps(record);
        void *typed = ops->create();
        KLumoJsonCodec::fromJson(*ops, typed, json, field.name); // a throw here is a finding
        ops->destroy(typed);
    }
    return 0;
}
