#include "klumoservicefield.h"

#include "klumoservicedecoder.h"

#include <thrift/TBase.h>
#include <thrift/protocol/TProtocol.h>
#include <thrift/protocol/TProtocolException.h>

#include <map>
#include <string>
#include <vector>

namespace ofx::lumo {

using namespace apache::thrift::protocol;

namespace {

using TextList = std::vector<std::string>;
using TextMap = std::map<std::string, std::string>;

TType wireType(const KLumoServiceField &f)
{
    switch (f.kind) {
    case KLumoServiceField::Written:
        return TType(f.writtenType);
    case KLumoServiceField::Record:
        return T_STRUCT;
    case KLumoServiceField::String:
        return T_STRING;
    case KLumoServiceField::StringList:
        return T_LIST;
    case KLumoServiceField::StringMap:
        return T_MAP;
    case KLumoServiceField::Bool:
        break;
    }
    return T_BOOL;
}

template<class Protocol> void readValue(Protocol &in, const KLumoServiceField &f)
{
    switch (f.kind) {
    case KLumoServiceField::Record:
        f.record->read(&in);
        return;
    case KLumoServiceField::String:
        in.readString(*static_cast<std::string *>(f.value));
        return;
    case KLumoServiceField::Bool:
        in.readBool(*static_cast<bool *>(f.value));
        return;
    case KLumoServiceField::Written:
        return; // never read: read() skips it
    case KLumoServiceField::StringList: {
        auto &list = *static_cast<TextList *>(f.value);
        TType type;
        uint32_t size = 0;
        in.readListBegin(type, size);
        if (size > 0 && type != T_STRING)
            throw TProtocolException(TProtocolException::INVALID_DATA,
                                     "a list of strings expected");
        list.clear();
        for (uint32_t i = 0; i < size; ++i) {
            list.emplace_back();
            in.readString(list.back());
        }
        in.readListEnd();
        return;
    }
    case KLumoServiceField::StringMap: {
        auto &map = *static_cast<TextMap *>(f.value);
        TType keyType, valueType;
        uint32_t size = 0;
        in.readMapBegin(keyType, valueType, size);
        if (size > 0 && (keyType != T_STRING || valueType != T_STRING))
            throw TProtocolException(TProtocolException::INVALID_DATA, "a string map expected");
        map.clear();
        for (uint32_t i = 0; i < size; ++i) {
            std::string key;
            in.readString(key);
            in.readString(map[key]);
        }
        in.readMapEnd();
        return;
    }
    }
}

void beginRecord(TProtocol &in)
{
    std::string name;
    in.readStructBegin(name);
}
void beginRecord(KLumoServiceDecoder &in)
{
    in.beginRecord();
}
void endRecord(TProtocol &in)
{
    in.readStructEnd();
}
void endRecord(KLumoServiceDecoder &in)
{
    in.endRecord();
}

template<class Protocol> void readFields(Protocol &in, KLumoServiceField *fields, int count)
{
    beginRecord(in);
    std::string name; // a field's, which the readers neither need nor fill
    for (;;) {
        TType type;
        int16_t id = 0;
        in.readFieldBegin(name, type, id);
        if (type == T_STOP)
            break;
        const KLumoServiceField *f = fields;
        while (f != fields + count && f->id != id)
            ++f;
        if (f != fields + count && wireType(*f) == type)
            readValue(in, *f);
        else
            in.skip(type);
        in.readFieldEnd();
    }
    endRecord(in);
}

} // namespace

void KLumoServiceField::read(TProtocol &in, KLumoServiceField *fields, int count)
{
    readFields(in, fields, count);
}

void KLumoServiceField::read(KLumoServiceDecoder &in, KLumoServiceField *fields, int count)
{
    readFields(in, fields, count);
}

void KLumoServiceField::write(TProtocol &out, const KLumoServiceField *fields, int count)
{
    out.writeStructBegin("args");
    for (const KLumoServiceField *f = fields; f != fields + count; ++f) {
        out.writeFieldBegin("", wireType(*f), f->id);
        switch (f->kind) {
        case Record:
            f->record->write(&out);
            break;
        case String:
            out.writeString(*static_cast<const std::string *>(f->value));
            break;
        case Bool:
            out.writeBool(*static_cast<const bool *>(f->value));
            break;
        case Written:
            f->written(out, f->value);
            break;
        case StringList: {
            const auto &list = *static_cast<const TextList *>(f->value);
            out.writeListBegin(T_STRING, uint32_t(list.size()));
            for (const std::string &s : list)
                out.writeString(s);
            out.writeListEnd();
            break;
        }
        case StringMap: {
            const auto &map = *static_cast<const TextMap *>(f->value);
            out.writeMapBegin(T_STRING, T_STRING, uint32_t(map.size()));
            for (const auto &[key, value] : map) {
                out.writeString(key);
                out.writeString(value);
            }
            out.writeMapEnd();
            break;
        }
        }
        out.writeFieldEnd();
    }
    out.writeFieldStop();
    out.writeStructEnd();
}

} // namespace ofx::lumo
