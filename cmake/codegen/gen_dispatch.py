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

from lumotables import generate, is_record, read_dispatch, spelled, unique

EXPANSIONS = {
    'RECORD_USINGS': lambda rows: [
        f'using ofx::lumo::{t};'
        for t in unique(t for r in rows for t in (r.arg, r.result) if is_record(t))],
    'DISPATCH_SLOTS': lambda rows: [
        f'void {r.slot}(const QString &requestId, const {spelled(r.arg)} &arg, '
        f'const QPointer<QObject> &receiver, const QString &slotMethod);'
        for r in rows],
    'RESULT_SLOTS': lambda rows: [
        f'void onResult_{t}(bool success, const QString &requestId, const {spelled(t)} &value) '
        f'{{ record(success, requestId, "{t}", value); }}'
        for t in unique(r.result for r in rows)],
}

if __name__ == '__main__':
    generate(__doc__, read_dispatch, EXPANSIONS)
