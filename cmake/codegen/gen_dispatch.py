#!/usr/bin/env python3
"""Expands a header template from the dispatch table (klumodispatchtable.def).

moc cannot see through macros, so the declarations it has to read (one slot per
dispatched method, receivers with one slot per result type) are written out here
at build time from the same rows that the C++ side expands with LUMO_DISPATCH.

Usage: gen_dispatch.py TABLE TEMPLATE OUTPUT

Placeholders in TEMPLATE, each on a line of its own (the line's indentation is
kept):
  @RECORD_USINGS@   using-declarations for every record type the table names
  @DISPATCH_SLOTS@  one dispatcher slot per row, in table order
  @RESULT_SLOTS@    one receiver slot per distinct result type,
                    onResult_<token>(bool, const QString &, const T &), whose body
                    calls the template's record(success, requestId, "<token>", value)
"""

import sys

from lumotables import expand_template, is_record, read_dispatch, spelled, unique


def expand(rows, key):
    if key == 'RECORD_USINGS':
        types = unique(t for r in rows for t in (r.arg, r.result) if is_record(t))
        return [f'using ofx::lumo::{t};' for t in types]
    if key == 'DISPATCH_SLOTS':
        return [f'void {r.slot}(const QString &requestId, const {spelled(r.arg)} &arg, '
                f'const QPointer<QObject> &receiver, const QString &slotMethod);'
                for r in rows]
    if key == 'RESULT_SLOTS':
        return [f'void onResult_{t}(bool success, const QString &requestId, const {spelled(t)} &value) '
                f'{{ record(success, requestId, "{t}", value); }}'
                for t in unique(r.result for r in rows)]
    sys.exit(f'unknown placeholder @{key}@')


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    table, template, output = sys.argv[1:]
    rows = read_dispatch(table)
    expand_template(template, output, lambda key: expand(rows, key))


if __name__ == '__main__':
    main()
