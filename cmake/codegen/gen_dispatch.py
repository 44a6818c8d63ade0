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

import re
import sys

ROW = re.compile(r'^LUMO_DISPATCH\(\s*(\w+)\s*,\s*(\w+)\s*,\s*(\w+)\s*,\s*(\w+)\s*,\s*"([^"]*)"\s*\)\s*$')

# Mirror of registeredName<> in src/dispatch/klumodispatchtypes.h.
SPELLED = {
    'LumoString': 'std::string',
    'LumoStringList': 'std::vector<std::string>',
    'LumoStringMap': 'std::map<std::string, std::string>',
}
NOT_RECORDS = set(SPELLED) | {'KLumoVoidResult'}


def read_table(path):
    rows = []
    with open(path, encoding='utf-8') as f:
        for number, line in enumerate(f, 1):
            line = line.strip()
            if not line or line.startswith('//'):
                continue
            m = ROW.match(line)
            if not m:
                sys.exit(f'{path}:{number}: not a LUMO_DISPATCH row: {line}')
            rows.append(m.groups())
    slots = [r[0] for r in rows]
    if len(set(slots)) != len(slots):
        sys.exit(f'{path}: a slot name appears twice')
    return rows


def unique(items):
    return list(dict.fromkeys(items))


def spelled(token):
    return SPELLED.get(token, token)


def expand(rows, key):
    if key == 'RECORD_USINGS':
        types = unique(t for r in rows for t in (r[2], r[3]) if t not in NOT_RECORDS)
        return [f'using ofx::lumo::{t};' for t in types]
    if key == 'DISPATCH_SLOTS':
        return [f'void {slot}(const QString &requestId, const {spelled(arg)} &arg, '
                f'const QPointer<QObject> &receiver, const QString &slotMethod);'
                for slot, _method, arg, _result, _text in rows]
    if key == 'RESULT_SLOTS':
        return [f'void onResult_{t}(bool success, const QString &requestId, const {spelled(t)} &value) '
                f'{{ record(success, requestId, "{t}", value); }}'
                for t in unique(r[3] for r in rows)]
    sys.exit(f'unknown placeholder @{key}@')


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    table, template, output = sys.argv[1:]
    rows = read_table(table)
    out = []
    with open(template, encoding='utf-8') as f:
        for line in f:
            m = re.match(r'^(\s*)@(\w+)@\s*$', line)
            if m:
                out.extend(m.group(1) + text + '\n' for text in expand(rows, m.group(2)))
            else:
                out.append(line)
    text = ''.join(out)
    # Leave an unchanged file alone so that moc and the compiler do not rerun.
    try:
        with open(output, encoding='utf-8') as f:
            if f.read() == text:
                return
    except FileNotFoundError:
        pass
    with open(output, 'w', encoding='utf-8') as f:
        f.write(text)


if __name__ == '__main__':
    main()
