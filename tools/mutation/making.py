"""Makes one-line mutants of C++ source text: what a line could say instead."""

import dataclasses
import random
import re

# Blanked before anything is looked for: comments whole, texts and characters inside their quotes.
HIDDEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/|R"(\w*)\((?s:.*?)\)\1"|"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])*'""",
    re.DOTALL,
)
# Statements in which nothing is changed: promises to the compiler, names, and what is only printed.
LEFT_ALONE = re.compile(r"\s*(static_assert|using|namespace|template|friend|extern|(std::)?(f?printf|fputs|perror)\b)")

SWAPS = [
    ("boundary", " < ", [" <= "]), ("boundary", " <= ", [" < "]), ("boundary", " > ", [" >= "]),
    ("boundary", " >= ", [" > "]), ("comparison", " < ", [" >= "]), ("comparison", " <= ", [" > "]),
    ("comparison", " > ", [" <= "]), ("comparison", " >= ", [" < "]), ("comparison", " == ", [" != "]),
    ("comparison", " != ", [" == "]), ("boolean", " && ", [" || "]), ("boolean", " || ", [" && "]),
    ("arithmetic", " + ", [" - "]), ("arithmetic", " - ", [" + "]), ("arithmetic", " * ", [" / "]),
    ("arithmetic", " / ", [" * "]), ("arithmetic", " % ", [" * "]), ("arithmetic", " << ", [" >> "]),
    ("arithmetic", " >> ", [" << "]), ("arithmetic", " & ", [" | "]), ("arithmetic", " | ", [" & "]),
    ("arithmetic", " ^ ", [" & "]), ("arithmetic", " += ", [" -= ", " = "]), ("arithmetic", " -= ", [" += "]),
    ("arithmetic", " |= ", [" &= ", " = "]), ("arithmetic", " &= ", [" |= "]), ("arithmetic", "++", ["--"]),
    ("arithmetic", "--", ["++"]),
]  # fmt: skip
WORDS = [("boolean", r"\btrue\b", "false"), ("boolean", r"\bfalse\b", "true"), ("boolean", r"!(?=[\w(*])", "")]
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9a-fA-F]+|\d+)(\.\d*)?(?=[uUlLfF]*(?![\w.']))")
ARRAY = re.compile(r"^(\s*(?:static |const |constexpr )*[\w:<>]+ \w+)(\[[^\]]*\])+")
CALL = re.compile(r"(\(void\))?[\w:.>\-\[\]*]+(<[\w:, ]*>)?\(")
ASSIGNMENT = re.compile(r"[\w:.>\-\[\]*()]+ ([-+*/|&^]|<<|>>)?= |(\+\+|--)|[\w:.>\-\[\]]+(\+\+|--);|(break|continue|return);")
NO_CALL = re.compile(r"(if|while|for|switch|return|else|do|case|default|delete|throw|catch|sizeof|assert)\b")
YES_OR_NO = re.compile(r" (==|!=|<|<=|>|>=|&&|\|\|) |^!")


@dataclasses.dataclass(frozen=True)
class Mutant:
    """The line `number` of `file` said `old` and now says `new` (both without their indentation)."""

    file: str
    number: int
    kind: str
    old: str
    new: str


def blank(text):
    """The text with all that is no code replaced by spaces, at the same places."""

    def spaces(match):
        found = match.group()
        if found[0] in "\"'":
            return found[0] + " " * (len(found) - 2) + found[-1]
        return re.sub(r"[^\n]", " ", found)

    return HIDDEN.sub(spaces, text)


def code_lines(text):
    """Yields (index, blanked line, in a function, begins a statement) of each line that may be changed."""
    scopes, statement, left_alone, directive = [], "", False, False
    for index, line in enumerate(blank(text).split("\n")):
        if directive or line.lstrip().startswith("#"):
            directive = line.endswith("\\")
            continue
        begins = statement.strip() == "" or bool(re.search(r"(\)|\belse)\s*$", statement))
        if statement.strip() == "":
            left_alone = bool(LEFT_ALONE.match(line))
        function = bool(scopes) and scopes[-1] == "code"
        if line.strip() and not left_alone and (function or is_value(statement + line)):
            yield index, line, function, begins
        for sign in line:
            if sign == "{":
                scopes.append(scope(statement, scopes))
            elif sign == "}" and scopes:
                scopes.pop()
            statement = "" if sign in "{};" else statement + sign
        if re.search(r"^\s*(case .*|default|public|private|protected):\s*$", statement):
            statement = ""
        statement += " "


def scope(opening, scopes):
    """What a brace opens, judged by the text before it."""
    if re.search(r"\bnamespace\b|^\s*extern\b", opening):
        return "names"
    if re.search(r"\b(class|struct|union|enum)\b", opening) and "(" not in opening and "=" not in opening:
        return "type"
    return "code" if "(" in opening or "=" in opening or "code" in scopes else "names"


def is_value(statement):
    """Whether a line outside of functions gives something a value, and is no declaration of a function."""
    before, sign, after = statement.partition(" = ")
    return bool(sign) and "(" not in before and not re.match(r"\s*(0|default|delete);", after)


def replaced(line, shown, start, end, by):
    return line[:start] + by + line[end:] if shown[start:end].strip() or by.strip() else line


def swaps(line, shown):
    for kind, sign, others in SWAPS:
        start = shown.find(sign)
        while start >= 0:
            for other in others:
                yield kind, line[:start] + other + line[start + len(sign) :]
            start = shown.find(sign, start + 1)
    for kind, word, other in WORDS:
        for found in re.finditer(word, shown):
            yield kind, replaced(line, shown, *found.span(), other)


def constants(line, shown):
    array = ARRAY.match(shown)
    for found in NUMBER.finditer(shown):
        if array and found.start() < array.end():
            continue
        whole, fraction = found.group(1), found.group(2) or ""
        more = hex(int(whole, 16) + 1) if whole.startswith("0x") else str(int(whole) + 1)
        yield "constant", line[: found.start()] + more + fraction + line[found.end() :]


def returns(line, shown):
    found = re.search(r"\breturn (.+);\s*$", shown)
    if not found or found.group(1) in ("true", "false", "{}", "0", "nullptr"):
        return
    value = line[found.start(1) : found.end(1)]
    other = f"!({value})" if YES_OR_NO.search(found.group(1)) else "{}"
    yield "return value", line[: found.start(1)] + other + line[found.end(1) :]


def conditions(line, shown):
    for found in re.finditer(r"\b(if|while) \(", shown):
        depth, end = 1, found.end()
        while depth and end < len(shown):
            depth += {"(": 1, ")": -1}.get(shown[end], 0)
            end += 1
        inside = shown[found.end() : end - 1]
        # Turned around by another change already: a single comparison, or a single "not".
        if depth or ";" in inside or re.fullmatch(r"!\w[\w.:>()-]*|((?!&&|\|\|).)+ [=!]= ((?!&&|\|\|).)+|true|false", inside):
            continue
        yield "negated condition", f"{line[:found.end()]}!({line[found.end():end - 1]}){line[end - 1:]}"


def dropped(line, shown):
    text = shown.strip()
    if (CALL.match(text) and not NO_CALL.match(text)) or ASSIGNMENT.match(text):
        start = len(line) - len(line.lstrip())
        # Leaves a statement, and an `else` with the `if` that it belongs to.
        yield "dropped statement", f"{line[:start]}while (false) {line[start:]}"


def mutants_of(file, text):
    """Every mutant of a file, by line: {line number: [Mutant]}."""
    lines, result = text.split("\n"), {}
    for index, shown, function, begins in code_lines(text):
        line = lines[index]
        found = [*swaps(line, shown), *constants(line, shown)]
        if function:
            found += [*returns(line, shown), *conditions(line, shown)]
            if begins:
                found += dropped(line, shown)
        made = {new: Mutant(file, index + 1, kind, line.strip(), new.strip()) for kind, new in found if new != line}
        if made:
            result[index + 1] = list(made.values())
    return result


def draw(by_line, seed):
    """All mutants in the seed's order: one of every line first, then a second one, and so on.

    by_line: {(file, line number): [Mutant]}. A larger count only adds mutants to those of a smaller one.
    """
    chance = random.Random(seed)
    lines = sorted(by_line)
    chance.shuffle(lines)
    piles = [chance.sample(by_line[line], len(by_line[line])) for line in lines]
    return [pile[turn] for turn in range(max(map(len, piles), default=0)) for pile in piles if turn < len(pile)]


def applied(text, mutant):
    """The file's text with the mutant in it."""
    lines = text.split("\n")
    line = lines[mutant.number - 1]
    if line.strip() != mutant.old:
        raise ValueError(f"{mutant.file}:{mutant.number} does not say '{mutant.old}'")
    lines[mutant.number - 1] = line[: len(line) - len(line.lstrip())] + mutant.new
    return "\n".join(lines)


def read_listed(text):
    """The listed mutants that nobody can notice: {(file, old, new): reason}.

    An entry is a paragraph: the file, "- " and the line, "+ " and the mutant's line, the reason in the rest.
    """
    listed = {}
    for paragraph in re.split(r"\n\s*\n", re.sub(r"(?m)^#.*\n?", "", text)):
        lines = paragraph.strip().splitlines()
        if not lines:
            continue
        if len(lines) < 4 or not lines[1].startswith("- ") or not lines[2].startswith("+ "):
            raise ValueError(f"not a file, '- line', '+ line' and a reason: {' / '.join(lines)}")
        listed[lines[0].strip(), lines[1][2:].strip(), lines[2][2:].strip()] = " ".join(map(str.strip, lines[3:]))
    return listed
