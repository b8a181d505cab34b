"""Just enough of C++ to see what a header of the seam declares, what a backend defines, and which types and inline
functions a file defines.

It knows comments, strings, the preprocessor's lines, namespaces, classes and function bodies. A function is known by
its name (with its class) and the number of its parameters, so that names of parameters and spellings of types are free.
"""

import re

_TOKEN = re.compile(
    r'R"(?P<delimiter>[^()\\\s]{0,16})\(.*?\)(?P=delimiter)"'
    r"|//[^\n]*|/\*.*?\*/"
    r'|"(?:\\.|[^"\\\n])*"'
    r"|(?:(?<![0-9A-Fa-f])|(?<=\bu8))'(?:\\.|[^'\\\n])+'", re.S)

_INCLUDE = re.compile(r'^[ \t]*#[ \t]*(?:include|include_next|import)[ \t]*"[^"\n]*"', re.M)


def blank_comments_and_strings(text):
    """The text with comments and the insides of strings as spaces: every position and line stays where it was."""
    kept = {match.end() - 1 for match in _INCLUDE.finditer(text)}

    def blank(match):
        if match.end() - 1 in kept:
            return match.group(0)
        return re.sub(r"[^\n]", " ", match.group(0))

    return _TOKEN.sub(blank, text)


def _blank_preprocessor(code):
    return re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", lambda match: re.sub(r"[^\n]", " ", match.group(0)), code,
                  flags=re.M)


def _end_of_block(code, start):
    """The position after the brace that closes the one at `start`."""
    depth = 0
    for position in range(start, len(code)):
        if code[position] == "{":
            depth += 1
        elif code[position] == "}":
            depth -= 1
            if depth == 0:
                return position + 1
    return len(code)


def _statements(code, start, end):
    """The statements of one scope: (position, head, body), where body is the (start, end) of a block or nothing."""
    position = start
    parentheses = 0
    begin = start
    while position < end:
        letter = code[position]
        if letter in "([":
            parentheses += 1
        elif letter in ")]":
            parentheses -= 1
        elif letter == ";" and parentheses == 0:
            yield _lead(code, begin), code[begin:position], None
            begin = position + 1
        elif letter == "{" and parentheses == 0:
            after = _end_of_block(code, position)
            yield _lead(code, begin), code[begin:position], (position + 1, after - 1)
            position = begin = after
            continue
        elif letter == "{":
            # A lambda or a braced value among arguments.
            position = _end_of_block(code, position)
            continue
        position += 1


def _lead(code, begin):
    """Where the statement's first word stands."""
    return re.compile(r"\s*").match(code, begin).end()


_NAMESPACE = re.compile(r"^\s*(?:inline\s+)?namespace\s*([\w:]*)\s*$")
_CLASS = re.compile(r"^\s*(?:template\s*<.*>\s*)?(?:class|struct|union)\b[^()]*?(\w+)\s*(?:final\s*)?(?::[^:].*)?$", re.S)
_FUNCTION = re.compile(r"((?:\w+\s*::\s*)*(?:operator\s*(?:\(\)|[^\w\s(]+)|~?\w+))\s*\(")
_NOT_FUNCTIONS = {"if", "for", "while", "switch", "return", "static_assert", "alignas", "decltype", "__attribute__",
                  "defined", "noexcept", "sizeof"}


def _count_parameters(parameters):
    depth = 0
    count = 1
    for letter in parameters:
        if letter in "(<[{":
            depth += 1
        elif letter in ")>]}":
            depth -= 1
        elif letter == "," and depth == 0:
            count += 1
    return 0 if parameters.strip() in ("", "void") else count


def _signature(head):
    """(name, its parameters as they stand) of the function that a statement declares or defines, else nothing."""
    if re.match(r"\s*(?:using|typedef|friend|template|enum)\b", head):
        return None
    for match in _FUNCTION.finditer(head):
        name = re.sub(r"\s", "", match.group(1))
        before = head[:match.start()]
        if "=" in before:
            return None
        if name in _NOT_FUNCTIONS or before.count("<") > before.count(">"):
            continue
        depth = 0
        for position in range(match.end() - 1, len(head)):
            depth += {"(": 1, ")": -1}.get(head[position], 0)
            if depth == 0:
                return name, head[match.end():position]
    return None


def _function(head):
    """(name, number of parameters) of the function that a statement declares or defines, else nothing."""
    signature = _signature(head)
    return (signature[0], _count_parameters(signature[1])) if signature else None


def _without_access(head):
    return re.sub(r"^(?:\s*(?:public|protected|private)\s*:(?!:))+", "", head)


def _namespace_parts(code, inside, start=0, end=None):
    """The parts of the code that lie in namespace platform and in no other: (start, end). `inside` says whether the
    code at `start` does."""
    end = len(code) if end is None else end
    if inside:
        yield start, end
    for _, head, body in _statements(code, start, end):
        namespace = _NAMESPACE.match(head)
        if body and namespace and not inside and namespace.group(1) == "platform":
            yield from _namespace_parts(code, True, *body)
        elif body and re.match(r'^\s*extern\s*$', head):
            yield from _namespace_parts(code, inside, *body)


def _members(code, name, body):
    """The functions that a class leaves to be defined elsewhere; none for one that is abstract."""
    members = []
    for position, head, block in _statements(code, *body):
        head = _without_access(head)
        if re.search(r"\)[\s\w&]*=\s*0\s*$", head):
            return []
        if block or re.search(r"=\s*(?:delete|default)\s*$", head):
            continue
        function = _function(head)
        if function:
            members.append((position, (f"{name}::{function[0]}", function[1])))
    return members


def declared_functions(code):
    """What a seam header declares and does not define: [(position, (name, number of parameters))]."""
    code = _blank_preprocessor(code)
    found = []
    for start, end in _namespace_parts(code, False):
        for position, head, body in _statements(code, start, end):
            class_head = _CLASS.match(head)
            if class_head:
                if body:
                    found.extend(_members(code, class_head.group(1), body))
                continue
            function = None if body else _function(head)
            if function:
                found.append((position, function))
    return found


def defined_functions(code):
    """What a source defines in namespace platform: [(position, (name, number of parameters))]."""
    code = _blank_preprocessor(code)
    found = []
    for start, end in [*_namespace_parts(code, False), (0, len(code))]:
        for position, head, body in _statements(code, start, end):
            if re.match(r"\s*static\b", head) or _CLASS.match(head) or _NAMESPACE.match(head):
                continue
            function = _function(head)
            if not function or not (body or re.search(r"::.*=\s*default\s*$", head, re.S)):
                continue
            # Outside the namespace only a name that says platform:: is one of it.
            name = function[0]
            if start == 0 and end == len(code):
                if not name.startswith("platform::"):
                    continue
                name = name[len("platform::"):]
            found.append((position, (name, function[1])))
    return found


_TYPE = re.compile(
    r"^\s*(?:template\s*<.*>\s*)?(?:class|struct|union|enum(?:\s+(?:class|struct))?)\s+"
    r"(?:[A-Z][A-Z_0-9]+\s+|\[\[.*?\]\]\s*|__attribute__\s*\(\(.*?\)\)\s*|alignas\s*\([^)]*\)\s*)*"
    r"(?P<name>\w+(?:\s*::\s*\w+)*(?:\s*<[^{;]*?>(?:\s*::\s*\w+)*)?)\s*(?:final\s*)?(?::[^:].*)?$", re.S)
# What stands before an inline function or an inline variable.
_INLINE = re.compile(r"\s*(?:\[\[.*?\]\]\s*|__attribute__\s*\(\(.*?\)\)\s*)*(?:inline|constexpr|consteval|template)\b", re.S)
_INLINE_VARIABLE = re.compile(
    r"\s*(?:template\s*<[^;{]*?>\s+)?(?:(?:constexpr|constinit|static|extern|const)\s+)*inline\s[^={]*?"
    r"(?P<name>\w+(?:\s*::\s*\w+)*)\s*(?:\[[^\]]*\]\s*)*(?:=.*)?$", re.S)
_TEMPLATE = re.compile(r"^\s*template\s*<[^;{]*?>\s+(?=[\w:])")
_PARAMETER_NAME = re.compile(r"(?<=[\s*&>])(?!(?:int|long|short|char|double|unsigned|signed|const)\b)\w+$")


def _open_scopes(code, prefix="", start=0, end=None):
    """The scopes whose names mean the same in every file, without the anonymous: (prefix of their names, statements)"""
    statements = list(_statements(code, start, len(code) if end is None else end))
    yield prefix, statements
    for _, head, body in statements:
        namespace = _NAMESPACE.match(head)
        if body and namespace and namespace.group(1):
            yield from _open_scopes(code, f"{prefix}{namespace.group(1)}::", *body)
        elif body and re.match(r"^\s*extern\s*$", head):
            yield from _open_scopes(code, prefix, *body)


def _types_of(parameters):
    """The parameters without their names and defaults, as far as that makes two spellings of one function alike."""
    types = []
    for parameter in re.split(r",(?![^<(]*[>)])", parameters):
        text = " ".join(parameter.split("=")[0].split())
        types.append(re.sub(r"\s", "", _PARAMETER_NAME.sub("", text)))
    return ",".join(types)


def shared_definitions(code):
    """What a file defines that the linker takes for one thing wherever else it is defined: types, inline functions and
    inline variables that lie in no anonymous namespace. [(position, qualified name)]"""
    code = _blank_preprocessor(code)
    found = []
    for prefix, statements in _open_scopes(code):
        for position, head, body in statements:
            type_head = _TYPE.match(head) if body else None
            if type_head:
                found.append((position, prefix + re.sub(r"\s", "", type_head.group("name"))))
            elif _INLINE.match(head) and not _NAMESPACE.match(head):
                signature = _signature(_TEMPLATE.sub("", head))
                variable = None if signature else _INLINE_VARIABLE.match(head)
                if signature and body:
                    found.append((position, f"{prefix}{signature[0]}({_types_of(signature[1])})"))
                elif variable:
                    found.append((position, prefix + re.sub(r"\s", "", variable.group("name"))))
    return found
