#pragma once

#include <thrift/protocol/TProtocol.h>

#include <typeinfo>

namespace ofx::lumo::jsonschema {

/**
 * What the bridge needs of one generated record type, erased behind plain
 * function pointers: the generated table (lumo_jsonrecords.cpp) holds one entry
 * per record, at the same index as the record in `records[]`.
 */
struct RecordOps
{
    int record;
    const std::type_info *type;
    void *(*create)();
    void (*destroy)(void *);
    void (*read)(void *, apache::thrift::protocol::TProtocol *);
    void (*write)(const void *, apache::thrift::protocol::TProtocol *);

    template<class T> static RecordOps of(int record)
    {
        return RecordOps {
            record,
            &typeid(T),
            []() -> void * { return new T; },
            [](void *p) { delete static_cast<T *>(p); },
            [](void *p, apache::thrift::protocol::TProtocol *in) { static_cast<T *>(p)->read(in); },
            [](const void *p, apache::thrift::protocol::TProtocol *out) {
                static_cast<const T *>(p)->write(out);
            }};
    }
};

extern const RecordOps recordOps[];

} // namespace ofx::lumo::jsonschema
