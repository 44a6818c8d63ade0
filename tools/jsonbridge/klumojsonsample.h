#pragma once

#include "klumojsonvalue.h"

namespace ofx::lumo {

/**
 * Well-formed example values of any schema type: every field, optional ones
 * included, set to something other than its default and derived from a seed
 * (i64 values lie above 2^53, where a trip through a double would show). Used
 * for `lumoctl describe --example` and by tests that compare replies field by
 * field.
 *
 * Stateless; any thread.
 */
class KLumoJsonSample
{
public:
    static KLumoJsonValue value(int type, int seed = 1);

private:
    static KLumoJsonValue make(int type, int seed, int depth, const std::string &name);
};

} // namespace ofx::lumo
