#!/usr/bin/env python3
"""Checks that the private and protected data members of the classes under the
given folders are named as CONTRIBUTING.md says: "m_", a prefix naming the kind
of type, then a capital letter (m_bFastConnectMode, m_pSocket, m_strName).
Where a declaration's type is one it recognises (bool, integers, pointers,
Qt and standard containers, strings), the prefix must match it; for other
types (classes, enumerations, aliases) any prefix of the list passes. The d-pointer "d"
and static members are exempt. Reads the sources as text: no build needed.

usage: check_members.py <folder>...   (exit 1 and a line per offence)"""
import os
import re
import sys

PREFIXES = ("str", "lst", "map", "set", "ba", "fn", "b", "n", "e", "f", "p", "o")
NAME = re.compile(r"^m_(%s)[A-Z0-9]" % "|".join(PREFIXES))

INTEGERS = r"(?:(?:unsigned|signed)\s+)?(?:int|long(?:\s+long)?|short|char|size_t|ssize_t|qsizetype|" \
           r"uint|ulong|ushort|q(?:u)?int(?:8|16|32|64|ptrdiff)|u?int(?:8|16|32|64)_t|uid_t|pid_t|off_t|" \
           r"time_t|WId)"
RULES = [  # (prefix, regex over the type as written, outermost first)
    ("p", r"(?:QPointer|QScopedPointer|QSharedPointer|QWeakPointer|std::(?:unique_ptr|shared_ptr|weak_ptr))\s*<.*"),
    ("p", r".*\*\s*(?:const)?"),
    ("fn", r"std::function\s*<.*"),
    ("b", r"(?:bool|std::atomic\s*<\s*bool\s*>|std::atomic_bool|QAtomicInteger\s*<\s*bool\s*>)"),
    ("n", r"(?:%s|std::atomic\s*<\s*%s\s*>|QAtomicInt|QAtomicInteger\s*<.*>)" % (INTEGERS, INTEGERS)),
    ("f", r"(?:float|double|qreal|long\s+double)"),
    ("str", r"(?:QString|std::string|std::wstring|QLatin1String|QStringView|std::string_view)"),
    ("ba", r"QByteArray"),
    ("lst", r"(?:QList|QVector|QQueue|QVarLengthArray|QStack|std::(?:vector|deque|array|list))\s*<.*|"
            r"QStringList|QByteArrayList"),
    ("map", r"(?:QMap|QHash|QMultiMap|QMultiHash|std::(?:map|unordered_map|multimap))\s*<.*"),
    ("set", r"(?:QSet|std::(?:set|unordered_set|bitset))\s*<.*"),
]
SKIP_WORDS = ("using", "typedef", "friend", "return", "static", "enum", "class", "struct",
              "namespace", "template", "goto", "case", "delete", "Q_", "#", "throw", "co_")
DECL = re.compile(r"^(?P<type>[A-Za-z_][\w:<>,\s\*&\[\]]*?[\s\*&>])\s*(?:const\s+)?"
                  r"(?P<name>[A-Za-z_]\w*)\s*(?P<array>\[[^\]]*\])?\s*(?:=[^;]*|\{[^;]*\})?;$")


def expected(decl_type, array):
    t = re.sub(r"\b(?:const|mutable|volatile|inline)\b", " ", decl_type).strip()
    t = re.sub(r"\s*&$", "", t).strip()
    if array:
        return ("lst",)
    for prefix, rule in RULES:
        if re.fullmatch(rule, t, re.S):
            return (prefix,)
    return None  # an alias, a template parameter, a class or an enumeration: any prefix


def statements(text):
    """Yields (line, depth-stack top kind, access, statement) for each statement
    that ends in ';' at a class body's own depth."""
    text = re.sub(r"//[^\n]*", "", text)
    text = re.sub(r"/\*.*?\*/", lambda m: "\n" * m.group(0).count("\n"), text, flags=re.S)
    stack = []  # entries: [kind, access] with kind 'class' or 'other'
    current = ""
    line = 1
    start_line = 1
    paren = 0
    for ch in text:
        if ch == "\n":
            line += 1
        if not current.strip():
            start_line = line
        if ch == "(":
            paren += 1
        elif ch == ")":
            paren -= 1
        if ch == "{" and paren == 0:
            head = current.strip()
            m = re.search(r"\b(class|struct|union)\s+(?:\w+\s+)*?(\w+)?\s*(?:final\s*)?(?::[^{]*)?$", head)
            if m and "(" not in head:
                stack.append(["class", "private" if m.group(1) == "class" else "public"])
            elif head.startswith("enum") or re.search(r"\benum\b", head):
                stack.append(["other", None])
            elif stack and stack[-1][0] == "class" and DECL.match(head + ";") is None and "(" not in head \
                    and "=" not in head:
                stack.append(["other", None])
            else:
                stack.append(["other", None])
            current = ""
            continue
        if ch == "}" and paren == 0:
            if stack:
                stack.pop()
            current = ""
            continue
        if ch == ";" and paren == 0:
            stmt = " ".join(current.split())
            if stack and stack[-1][0] == "class":
                yield start_line, stack[-1][1], stmt + ";"
            current = ""
            continue
        if ch == ":" and stack and stack[-1][0] == "class":
            # an access specifier, after whatever macro line (Q_OBJECT) came before it
            m = re.search(r"(?:^|\s)(public|private|protected|Q_SIGNALS|signals)(?:\s+(?:Q_SLOTS|slots))?\s*$",
                          current)
            if m and not current.endswith(":"):
                word = m.group(1)
                stack[-1][1] = word if word in ("public", "private", "protected") else "public"
                current = ""
                continue
        current += ch


def check(path):
    errors = []
    text = open(path, encoding="utf-8", errors="replace").read()
    for line, access, stmt in statements(text):
        if access not in ("private", "protected"):
            continue
        if stmt.startswith(SKIP_WORDS) or "(" in stmt.split("=")[0] and "std::function" not in stmt:
            continue
        m = DECL.match(stmt)
        if not m:
            continue
        name = m.group("name")
        if name == "d" or m.group("type").strip() in ("return", "else"):
            continue
        ok = NAME.match(name)
        want = expected(m.group("type"), m.group("array"))
        if not ok:
            errors.append(f"{path}:{line}: {name}: a private member is named m_ + "
                          f"{'/'.join(want) if want else 'a type prefix'} + a capital")
        elif want and ok.group(1) not in want:
            errors.append(f"{path}:{line}: {name}: its type ({m.group('type').strip()}) takes the prefix "
                          f"{'/'.join(want)}")
    return errors


def main():
    errors = []
    for root in sys.argv[1:]:
        for folder, _, files in os.walk(root):
            for f in sorted(files):
                if re.search(r"\.(h|cpp|h\.in)$", f):
                    errors += check(os.path.join(folder, f))
    for e in errors:
        print(e)
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
