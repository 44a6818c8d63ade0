#!/usr/bin/env python3
"""A tool's manual page against its --help: man renders the page without a
warning, and every option and command the help prints (the tool's own and,
for a tool whose help lists "Commands:", each command's) appears in it, as
does each row of a "Faults" section of the help (its name, then what it does:
the emulator's fault table).

Usage: check_manpage.py PAGE TOOL
"""

import os
import re
import subprocess
import sys


def helped(tool, *args):
    return subprocess.run([tool, *args, '--help'], capture_output=True, text=True).stdout


def main(page, tool):
    # Wide, so that no option is broken across lines; plain ASCII hyphens.
    env = dict(os.environ, MANWIDTH='1000', LC_ALL='C.UTF-8')
    rendered = subprocess.run(['man', '--warnings', '-l', page], capture_output=True,
                              text=True, env=env)
    if rendered.returncode or rendered.stderr:  # a warning, or worse
        sys.exit(f'man -l {page}: exit {rendered.returncode}\n{rendered.stderr}')
    text = re.sub('[\u2010\u2212]', '-', rendered.stdout)

    usage = helped(tool)
    # "Commands: a, b, c." (each has its own --help) or a "... commands ...:"
    # section of indented lines, one command each.
    listed = re.search(r'^Commands: (.*)\.$', usage, re.M)
    commands = listed.group(1).split(', ') if listed else []
    helps = [usage] + [helped(tool, c) for c in commands]
    section = re.search(r'^\w.*commands.*:\n((?:  .*\n?)+)', usage, re.M | re.I)
    commands += re.findall(r'^  (\w+)', section.group(1) if section else '', re.M)

    options = set(re.findall(r'(?<![\w-])(--?[a-z][\w-]*)', '\n'.join(helps)))
    missing = sorted(o for o in options if not re.search(rf'(?<![\w-]){o}(?![\w-])', text))
    missing += [c for c in commands if not re.search(rf'^ {{3}}{c}$', text, re.M)]
    faults = re.search(r'^Faults.*:\n((?:  .*\n?)+)', usage, re.M)
    for name, what in re.findall(r'^  (\S+) +(.*)$', faults.group(1) if faults else '', re.M):
        # A short name shares its line with the text; a long one stands above it.
        if not re.search(rf'^ +{re.escape(name)}(?:\n +| +){re.escape(what)}$', text, re.M):
            missing.append(f'the fault row "{name}: {what}"')
    if missing:
        sys.exit(f'{page} lacks: {", ".join(missing)}')
    print(f'{page}: {len(options)} options, {len(commands)} commands')


if __name__ == '__main__':
    main(*sys.argv[1:]) if len(sys.argv) == 3 else sys.exit(__doc__)
