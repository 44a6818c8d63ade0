#!/usr/bin/env python3
"""Expands a header template from the notification table (klumonotifications.def).

moc cannot see through macros, so the signals and slots that carry the
notifications (the connection proxy's, the library singleton's, the push message
dispatcher's and the tests' stand-in for the proxy) are written out here at build time from the table's rows.

Usage: gen_notify.py TABLE TEMPLATE OUTPUT

Placeholders in TEMPLATE, each on a line of its own (the line's indentation is
kept):
  @PROXY_SIGNALS@     the proxy's signals, in table order
  @PUSH_SIGNALS@      the push message dispatcher's signals, in table order
  @PROXY_SLOTS@       the proxy's slots of the table: a forwarding slot logs
                      "KLumoIpcProxy::<slot>" through the template's logSlot() and
                      re-emits; an Own slot is only declared
  @PUSH_CONNECTIONS@  connections from the push dispatcher `push` to the proxy
  @HOST_SIGNALS@      the singleton's signals, in its declaration order, each
                      after a reference comment
  @HOST_CONNECTIONS@  connections from the proxy `proxy` to the singleton `q`
  @TARGET_MEMBERS@    every member the notification handler invokes, as signals
"""

from lumotables import declaration, generate, read_notify


def forwarding_slot(slot):
    if slot.emits == 'Own':
        return f'void {declaration(slot.name, slot.params)};'
    args = ', '.join(p.name for p in slot.params)
    return (f'void {declaration(slot.name, slot.params)}\n'
            f'{{\n'
            f'    logSlot("{slot.name}");\n'
            f'    Q_EMIT {slot.emits}({args});\n'
            f'}}')


# What the singleton's own signals mean; the rest carry a notification.
PROXY_SIGNAL_DOCS = {
    'notifyLoginStatusChange': 'The service reported a login or a logout; the login and company '
                               'records (LumoIpcLoginCache(), LumoIpcCompanyCache()) are already '
                               'updated.',
    'notifySocketConnected': 'The library connected to the service.',
    'notifySocketDisConnected': 'The connection to the service was lost; the library keeps '
                                'reconnecting.',
}


def host_signal_doc(table, signal):
    """One reference line per signal of the singleton, from its row."""
    if signal.source == 'Proxy':
        text = PROXY_SIGNAL_DOCS[signal.name]
    elif signal.source == 'Push':
        text = ('A local push message of the service (notifyBroadcastLocalMsg, '
                '"act=" form) for this action.')
    else:
        emitters = {s.name for s in table.slots if s.emits == signal.name} | {signal.name}
        wire = [n.method for n in table.notifications if n.member in emitters]
        own = [n.method for n in table.notifications if n.kind == 'Own']
        text = (f'The service sent the notification "{wire[0]}".' if wire
                else f'The service sent one of {", ".join(own)}, which the library decodes '
                     'into this signal.')
    return f'/** {text} */'


def host_connection(table, signal):
    receiver = table.host_name(signal) if signal.via == 'Signal' else signal.via
    return (f'QObject::connect(proxy, &KLumoIpcProxy::{signal.name}, q, '
            f'&KLumoIpc::{receiver});')


EXPANSIONS = {
    'PROXY_SIGNALS': lambda table: [
        f'void {declaration(s.name, s.params)};' for s in table.proxy_signals()],
    'PUSH_SIGNALS': lambda table: [
        f'void {declaration(s.name, s.params)};' for s in table.push_signals()],
    'PROXY_SLOTS': lambda table: [forwarding_slot(s) for s in table.slots],
    'PUSH_CONNECTIONS': lambda table: [
        f'connect(push, &KLocalPushMsgDispatch::{s.name}, this, &KLumoIpcProxy::{s.name});'
        for s in table.signals if s.source == 'Push'],
    'HOST_SIGNALS': lambda table: [
        f'{host_signal_doc(table, s)}\nvoid {declaration(table.host_name(s), s.params)};'
        for s in table.host_signals()],
    'HOST_CONNECTIONS': lambda table: [
        host_connection(table, s) for s in table.signals if s.via != '-'],
    'TARGET_MEMBERS': lambda table: [
        f'void {declaration(name, params)};'
        for name, params in table.handler_members() + table.push_members()],
}

if __name__ == '__main__':
    generate(__doc__, read_notify, EXPANSIONS)
