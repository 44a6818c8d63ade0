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
  @STATUS_RESULT_SLOTS@  the same for the typed calls' receiver,
                    onResult_<token>(const LumoIpc::Status &, const T &), whose body
                    calls the template's record(status, "<token>", value)
  @TYPED_CALLS@     one typed call per row and for lumoIpcCall, named as the slot:
                    a function template taking the argument record, a context
                    and a callable, that starts the call through the named route
"""

from lumotables import (DispatchRow, VOID_RESULT, generate, is_record, read_dispatch, spelled,
                        unique)

# Dispatched like a row of the table, but not in it: its slot is written by hand.
LUMO_IPC_CALL = DispatchRow('lumoIpcCall', 'lumoIpcCall', 'LumoIpcArg', 'LumoIpcResult',
                            'Exception on lumoIpcCall')


def host_type(token):
    """A table token as a host spells the type."""
    if not is_record(token):
        return 'KLumoVoidResult' if token == VOID_RESULT else spelled(token).replace(',', ', ')
    return f'ofx::lumo::{token}'


def typed_call(r):
    wire = '' if r.slot == r.method else f' ("{r.method}" on the wire)'
    return (f'/** Calls {r.slot}{wire} with @p arg; @p callable receives its {host_type(r.result)}. */\n'
            f'template<class Context, class Callable>\n'
            f'PendingCall {r.slot}(const {host_type(r.arg)} &arg, Context *context, '
            f'Callable &&callable)\n'
            f'{{\n'
            f'    return LumoIpcPrivate::call<{host_type(r.result)}>(\n'
            f'        {{"{r.slot}", "{spelled(r.arg)}", "onResult_{r.result}"}}, &arg, context,\n'
            f'        std::forward<Callable>(callable));\n'
            f'}}')

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
    'STATUS_RESULT_SLOTS': lambda rows: [
        f'void onResult_{t}(const LumoIpc::Status &status, const {spelled(t)} &value) '
        f'{{ record(status, "{t}", value); }}'
        for t in unique(r.result for r in rows)],
    'TYPED_CALLS': lambda rows: [typed_call(r) for r in rows + [LUMO_IPC_CALL]],
}

if __name__ == '__main__':
    generate(__doc__, read_dispatch, EXPANSIONS)
