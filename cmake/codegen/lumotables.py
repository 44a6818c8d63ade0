"""The tables the build-time generators read, parsed in one place.

  read_dispatch(path)   the dispatcher's table, src/dispatch/klumodispatchtable.def
  read_notify(path)     the notification table, src/notify/klumonotifications.def
  ALIASES, spelled()    the dispatch table's single-token names for standard types
  generate()            a header template with @KEY@ lines, written only when changed

A malformed row stops the build with the file and line, so that a table and the
code built from it never disagree quietly.
"""

import re
import sys
from collections import namedtuple

# The dispatch table's single-token names for the standard types, spelled as
# they are registered with the meta-type system (registeredName<> in
# src/dispatch/klumodispatchtypes.h).
ALIASES = {
    'LumoString': 'std::string',
    'LumoStringList': 'std::vector<std::string>',
    'LumoStringMap': 'std::map<std::string,std::string>',
}
# The result token of a method that returns nothing.
VOID_RESULT = 'KLumoVoidResult'


def spelled(token):
    return ALIASES.get(token, token)


def is_record(token):
    return token not in ALIASES and token != VOID_RESULT


def fail(where, message):
    sys.exit(f'{where}: {message}')


def table_lines(path):
    """(line number, text) of every row: blank lines, comments and preprocessor
    lines are passed over."""
    with open(path, encoding='utf-8') as f:
        for number, line in enumerate(f, 1):
            line = line.strip()
            if line and not line.startswith(('//', '#')):
                yield number, line


def unique(items):
    return list(dict.fromkeys(items))


# --- The dispatch table ------------------------------------------------------

DispatchRow = namedtuple('DispatchRow', 'slot method arg result text')
DISPATCH_ROW = re.compile(
    r'^LUMO_DISPATCH\(\s*(\w+)\s*,\s*(\w+)\s*,\s*(\w+)\s*,\s*(\w+)\s*,\s*"([^"]*)"\s*\)$')


def read_dispatch(path):
    rows = []
    for number, line in table_lines(path):
        m = DISPATCH_ROW.match(line)
        if not m:
            fail(f'{path}:{number}', f'not a LUMO_DISPATCH row: {line}')
        rows.append(DispatchRow(*m.groups()))
    slots = [r.slot for r in rows]
    if len(set(slots)) != len(slots):
        fail(path, 'a slot name appears twice')
    return rows


# --- The notification table --------------------------------------------------

Param = namedtuple('Param', 'type name')
Notification = namedtuple('Notification', 'kind method arg receiver member type_name qt_type')
Slot = namedtuple('Slot', 'name emits params')
Signal = namedtuple('Signal', 'source name host host_order via params')

NOTIFY_ROW = re.compile(
    r'^LUMO_NOTIFY\(\s*(Forward|Convert|Silent|Own)\s*,\s*(\w+)\s*,\s*([\w:<>]+)\s*,'
    r'\s*(Target|Push)\s*,\s*(nullptr|"\w+")\s*,\s*(nullptr|"[^"]+")\s*,\s*([\w:<>]+)\s*\)$')
SLOT_ROW = re.compile(r'^LUMO_SLOT\(\s*(\w+)\s*,\s*(\w+)\s*,\s*\((.*)\)\s*\)$')
SIGNAL_ROW = re.compile(
    r'^LUMO_SIGNAL\(\s*(Proxy|Push|Local|Notify)\s*,\s*(\w+)\s*,\s*(\w+|=|-)\s*,\s*(\d+|-)\s*,'
    r'\s*(\w+|-)\s*,\s*\((.*)\)\s*\)$')


def split_params(text):
    """'const QMap<QString, QString> &m, bool b' -> [Param], commas inside <> kept."""
    parts, depth, current = [], 0, ''
    for ch in text:
        if ch in '<(':
            depth += 1
        elif ch in '>)':
            depth -= 1
        if ch == ',' and depth == 0:
            parts.append(current)
            current = ''
        else:
            current += ch
    parts.append(current)
    params = []
    for part in (p.strip() for p in parts):
        if not part:
            continue
        m = re.match(r'^(.*?[\s&*])(\w+)$', part)
        if not m:
            return None
        params.append(Param(m.group(1).strip(), m.group(2)))
    return params


def normalized(type_name):
    """A parameter type as moc compares it: no const, no reference, no spaces."""
    t = re.sub(r'^const\s+', '', type_name.strip())
    return re.sub(r'\s+', '', t.rstrip('&').strip())


def declaration(name, params):
    text = ', '.join(p.type + ('' if p.type.endswith(('&', '*')) else ' ') + p.name
                     for p in params)
    return f'{name}({text})'


class NotifyTable:
    """The three sections of klumonotifications.def and what they imply."""

    def __init__(self, notifications, slots, signals):
        self.notifications = notifications
        self.slots = slots
        self.signals = signals

    def signal(self, name):
        return next((s for s in self.signals if s.name == name), None)

    def slot(self, name):
        return next((s for s in self.slots if s.name == name), None)

    def proxy_signals(self):
        """The proxy's signals, in its declaration order."""
        return [s for s in self.signals if s.source != 'Local']

    def push_signals(self):
        """The push message dispatcher's signals, in its declaration order."""
        return [s for s in self.signals if s.source in ('Push', 'Local')]

    def host_signals(self):
        """The singleton's signals, in its declaration order."""
        return sorted((s for s in self.signals if s.host != '-'), key=lambda s: s.host_order)

    def host_name(self, signal):
        return signal.name if signal.host == '=' else signal.host

    def handler_members(self):
        """What the notification handler may invoke on the proxy, (name, params):
        the proxy's slots of the table and the signals it invokes directly."""
        emitted = {s.emits for s in self.slots}
        members = [(s.name, s.params) for s in self.slots]
        members += [(s.name, s.params) for s in self.signals
                    if s.source == 'Notify' and s.name not in emitted]
        return members

    def push_members(self):
        """The push message dispatcher's slots the handler invokes, (name, params)."""
        return unique((n.member, (Param(re.sub(r'\s*&$', ' &', n.type_name), 'value'),))
                      for n in self.notifications if n.receiver == 'Push')

    def check(self, path):
        names = [s.name for s in self.signals] + [s.name for s in self.slots]
        if len(set(names)) != len(names):
            fail(path, 'a proxy signal or slot is listed twice')
        hosts = self.host_signals()
        if [s.host_order for s in hosts] != list(range(len(hosts))):
            fail(path, 'the singleton positions are not 0 to %d, each once' % (len(hosts) - 1))
        host_names = [self.host_name(s) for s in hosts]
        if len(set(host_names)) != len(host_names):
            fail(path, 'two proxy signals come out as the same singleton signal')
        for s in self.signals:
            if s.source == 'Local' and s.host != '-':
                fail(path, f'{s.name}: the singleton cannot carry what the proxy does not')
            if (s.host == '-') != (s.via == '-') or (s.host == '-') != (s.host_order == -1):
                fail(path, f'{s.name}: a signal the singleton leaves out has neither name, '
                           'position nor route there')
        for s in self.slots:
            target = self.signal(s.emits)
            if s.emits != 'Own' and (not target or target.source != 'Notify'):
                fail(path, f'{s.name} re-emits {s.emits}, which is no Notify signal')
            if target and len(target.params) != len(s.params):
                fail(path, f'{s.name} and {s.emits} differ in their number of arguments')
        members = dict(self.handler_members())
        for n in self.notifications:
            if n.receiver != 'Target' or n.member is None:
                continue
            params = members.get(n.member)
            if params is None:
                fail(path, f'{n.method} invokes {n.member}, which the proxy does not have')
            if [normalized(p.type) for p in params] != [normalized(n.type_name)]:
                fail(path, f'{n.method} passes {n.type_name} to {declaration(n.member, params)}')


def read_notify(path):
    notifications, slots, signals = [], [], []
    for number, line in table_lines(path):
        where = f'{path}:{number}'
        if m := NOTIFY_ROW.match(line):
            kind, method, arg, receiver, member, type_name, qt_type = m.groups()
            unquote = lambda s: None if s == 'nullptr' else s.strip('"')
            notifications.append(Notification(kind, method, arg, receiver, unquote(member),
                                              unquote(type_name), qt_type))
        elif m := SLOT_ROW.match(line):
            params = split_params(m.group(3))
            if params is None:
                fail(where, f'parameters without names: {line}')
            slots.append(Slot(m.group(1), m.group(2), params))
        elif m := SIGNAL_ROW.match(line):
            source, name, host, order, via, text = m.groups()
            params = split_params(text)
            if params is None:
                fail(where, f'parameters without names: {line}')
            signals.append(Signal(source, name, host, -1 if order == '-' else int(order), via,
                                  params))
        else:
            fail(where, f'not a LUMO_NOTIFY, LUMO_SLOT or LUMO_SIGNAL row: {line}')
    table = NotifyTable(notifications, slots, signals)
    table.check(path)
    return table


# --- Output ------------------------------------------------------------------

def write_if_changed(path, text):
    """Leaves an unchanged file alone, so that moc and the compiler do not rerun."""
    try:
        with open(path, encoding='utf-8') as f:
            if f.read() == text:
                return
    except FileNotFoundError:
        pass
    with open(path, 'w', encoding='utf-8') as f:
        f.write(text)


def expand_template(template, output, expand):
    """Copies @p template to @p output, replacing every line that holds only
    @KEY@ by the lines expand(KEY) returns, each indented as the placeholder was
    (a returned item may span several lines)."""
    out = []
    with open(template, encoding='utf-8') as f:
        for line in f:
            m = re.match(r'^(\s*)@(\w+)@\s*$', line)
            if not m:
                out.append(line)
                continue
            for item in expand(m.group(2)):
                out.extend((m.group(1) + text).rstrip() + '\n' for text in item.split('\n'))
    write_if_changed(output, ''.join(out))


def generate(usage, read, expansions):
    """The command line of a template generator, TABLE TEMPLATE OUTPUT: reads
    TABLE with @p read and fills each @KEY@ of TEMPLATE with expansions[KEY](table)."""
    if len(sys.argv) != 4:
        sys.exit(usage)
    table_path, template, output = sys.argv[1:]
    table = read(table_path)

    def expand(key):
        if key not in expansions:
            sys.exit(f'{template}: unknown placeholder @{key}@')
        return expansions[key](table)
    expand_template(template, output, expand)
