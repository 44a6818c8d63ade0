#pragma once

#include "klumojsonschema.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ofx::lumo {

// Where the walker's bytes come from: a frame's body, read as it arrives.
class KLumoCompactSource
{
public:
    virtual ~KLumoCompactSource() = default;
    // Exactly @p size bytes into @p dst (skipped when null); false when the
    // body ends first or the bytes do not come (error() says which).
    virtual bool take(char *dst, size_t size) = 0;
    virtual uint64_t remaining() const = 0;
    virtual std::string error() const = 0;
};

/**
 * Checks that compact-protocol bytes have the shape the interface declares,
 * without building the values: strings and binaries are skipped as they
 * stream past, so a reply of any size costs a fixed amount of memory. Strict
 * where the generated decoder is lenient: a field id the record does not
 * declare, a field or element of another type, or a count larger than the
 * bytes left in the frame is a departure, reported with its path
 * ("success.itemInfo.fileId").
 *
 * One walk per object; any thread.
 */
class KLumoCompactWalker
{
public:
    explicit KLumoCompactWalker(KLumoCompactSource &source)
        : m_oSource(source)
    { }

    // The message header: name, message type (1 call ... 4 oneway), Thrift sequence id.
    bool message(std::string *name, int *type, int32_t *seqId);
    // The result record of @p method: its value under field 0 (nothing for void methods).
    bool result(const jsonschema::Method &method);
    // A method's argument record (notifications).
    bool arguments(const jsonschema::Method &method);
    // A Thrift application exception: 1: string message, 2: i32 type.
    bool exception();
    // The first departure, empty while the bytes conform.
    const std::string &error() const { return m_strError; }

private:
    struct Segment
    {
        const char *name;
        int64_t index; // -1: a field
    };

    // A record made of @p count fields from @p first; @p name for messages.
    bool record(const jsonschema::Field *first, int count, const char *name);
    // Reads a record's field headers up to its stop, calling @p field with
    // each one's wire type and id; @p field reads the value.
    bool eachField(const std::function<bool(int compact, int16_t id)> &field);
    // One value of @p type whose wire type @p compact was checked; a bool
    // field carries its value in its header, a bool element in a byte.
    bool value(int type, int compact, bool inField);
    bool skipBytes(uint64_t count, const char *what);
    bool readByte(uint8_t *out);
    bool varint(uint64_t *out, int maxBytes);
    bool size(uint32_t *out);
    bool depart(const std::string &what);
    std::string path() const;

    KLumoCompactSource &m_oSource;
    std::vector<Segment> m_lstPath;
    int m_nDepth = 0;
    std::string m_strError;
};

} // namespace ofx::lumo
