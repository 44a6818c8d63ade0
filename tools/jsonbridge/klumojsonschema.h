#pragma once

#include <cstdint>

/**
 * The interface definition as plain tables, generated at build time from the
 * Thrift compiler's JSON description (lumo_jsonschema.cpp). Immutable; read from
 * any thread.
 */
namespace ofx::lumo::jsonschema {

enum class Kind : uint8_t {
    Void,
    Bool,
    Byte,
    I16,
    I32,
    I64,
    Double,
    String,
    Binary,
    List,
    Set,
    Map,
    Struct
};

struct Type
{
    Kind kind;
    int16_t a; // element (list/set), key (map) or record index (struct)
    int16_t b; // value (map)
};

struct Field
{
    int16_t id;
    bool optional; // written only when set; every other field is always written
    int16_t type;
    const char *name;
    const char *defaultJson; // declared default as JSON text, or null
};

struct Record
{
    const char *name;
    int16_t firstField;
    int16_t fieldCount;
};

// A service method: its arguments are a record-like run of the field table.
struct Method
{
    const char *name;
    int16_t service;
    bool oneway;
    int16_t firstArg;
    int16_t argCount;
    int16_t result; // a type index; Kind::Void for methods without a value
};

struct Service
{
    const char *name;
    int16_t firstMethod;
    int16_t methodCount;
};

// types[i] is the struct type of records[i]; further types follow.
extern const Type types[];
extern const Field fields[];
extern const Record records[];
extern const Method methods[];
extern const Service services[];
extern const int typeCount;
extern const int fieldCount;
extern const int recordCount;
extern const int methodCount;
extern const int serviceCount;

} // namespace ofx::lumo::jsonschema
