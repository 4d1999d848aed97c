"""Single faults in C++ source text: finds the places where one can be planted and words what it changes."""
import collections
import re

# A fault: whole lines `first` to `last` of a file (from 1), their code without comments, and what stands there instead.
Fault = collections.namedtuple("Fault", "file first last before after")

TOKEN = re.compile(
    r"(?P<comment>//[^\n]*|/\*.*?\*/)"
    r"|(?P<text>\"(?:\\.|[^\"\\\n])*\")"
    r"|(?P<char>'(?:\\.|[^'\\\n])+')"
    r"|(?P<number>(?:0[xX][0-9a-fA-F']+|0[bB][01']+|\d[\d']*(?:\.\d+)?(?:[eE][+-]?\d+)?)[uUlLfF]*)"
    r"|(?P<word>[A-Za-z_]\w*)"
    r"|(?P<space>\s+)"
    r"|(?P<mark><<=|>>=|<=>|\.\.\.|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|::|.)", re.DOTALL)

# What a mark between blanks becomes. Without blanks a mark is a template's, a pointer's or a reference's.
SWAPPED = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["+"], "/": ["*"], "%": ["/"], "&": ["|"], "|": ["&"],
    "^": ["|"], "<<": [">>"], ">>": ["<<"], "+=": ["-="], "-=": ["+="], "|=": ["&="], "&=": ["|="], "<<=": [">>="],
    ">>=": ["<<="], "*=": ["+="], "/=": ["*="],
}
SWAPPED_WORDS = {"true": "false", "false": "true", "break": "continue", "continue": "break", "min": "max", "max": "min"}
NO_STATEMENT = set("""return using const constexpr auto static if for while do switch case default break continue goto
    throw template typedef struct class enum union namespace else extern public private protected friend explicit
    virtual inline unsigned signed int char bool long short double float void operator requires""".split())
# Text that only says what goes on, and what fails at compile time: no place for a fault.
PASSED_OVER = re.compile(r"static_assert|QLIP_LOG_\w+|noexcept|alignas|template|using|decltype")

Token = collections.namedtuple("Token", "kind text start end")


def tokens_of(source):
    # Preprocessor lines become blanks of the same length.
    source = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", lambda match: re.sub(r"[^\n]", " ", match.group()), source,
                    flags=re.MULTILINE)
    return [Token(match.lastgroup, match.group(), match.start(), match.end()) for match in TOKEN.finditer(source)
            if match.lastgroup not in ("space", "comment")]


def closing(tokens, opening):
    """The index of the bracket that closes the one at `opening`, or None."""
    depth = 0
    for i in range(opening, len(tokens)):
        depth += (tokens[i].text in "([{") - (tokens[i].text in ")]}") if tokens[i].kind == "mark" else 0
        if depth == 0:
            return i
    return None


def passed_over(tokens):
    """Indices of tokens in which no fault is planted."""
    out = set()
    for i, token in enumerate(tokens[:-1]):
        if token.kind != "word" or not PASSED_OVER.fullmatch(token.text):
            continue
        end = closing(tokens, i + 1) if tokens[i + 1].text == "(" else i
        if token.text == "template" and tokens[i + 1].text == "<":
            depth = 0
            for end in range(i + 1, len(tokens)):
                depth += (tokens[end].text == "<") - (tokens[end].text == ">")
                if depth == 0:
                    break
        if token.text == "using":
            end = next(k for k in range(i, len(tokens)) if tokens[k].text == ";")
        out.update(range(i, (end or i) + 1))
    return out


def other_numbers(text):
    """An integer literal's neighbours, written as it is."""
    digits = text.rstrip("uUlL")
    prefix = digits[:2].lower()
    style = {"0x": "0x{:X}", "0b": "0b{:b}"}.get(prefix, "{}")
    if style == "{}" and not digits.replace("'", "").isdigit():
        return []
    value = int(digits.replace("'", ""), {"0x": 16, "0b": 2}.get(prefix, 10))
    return [style.format(other) + text[len(digits):] for other in (value + 1, value - 1) if other >= 0]


def other_byte_order(word):
    match = re.fullmatch(r"(load|store)_([bl])e(\d+)", word)
    return match and f"{match[1]}_{'l' if match[2] == 'b' else 'b'}e{match[3]}"


def token_faults(source, tokens, i):
    """Replacements of the token at `i`."""
    token = tokens[i]
    before, after = tokens[i - 1] if i else None, tokens[i + 1] if i + 1 < len(tokens) else None
    spaced = source[token.start - 1:token.start].isspace() and source[token.end:token.end + 1].isspace()
    if token.kind == "mark":
        if token.text in ("++", "--"):
            return ["--" if token.text == "++" else "++"]
        if token.text == "!":
            return [""]
        beside_text = "text" in (before and before.kind, after and after.kind)
        return SWAPPED.get(token.text, []) if spaced and not beside_text else []
    if token.kind == "number":
        return other_numbers(token.text)
    if token.kind == "text" and len(token.text) == 6 and "\\" not in token.text and "%" not in token.text:
        return [token.text[:4] + ("_" if token.text[4] != "_" else "x") + '"']
    if token.kind == "word":
        if token.text in ("min", "max"):
            return [SWAPPED_WORDS[token.text]] if before and before.text == "::" and after.text in "(<" else []
        if token.text in SWAPPED_WORDS:
            return [SWAPPED_WORDS[token.text]]
        swapped = other_byte_order(token.text)
        return [swapped] if swapped else []
    return []


def condition_faults(source, tokens, i):
    """For the `if` or `while` at `i`: (from token, to token, text) that turn its condition or leave it out."""
    if tokens[i].text not in ("if", "while") or tokens[i + 1].text != "(":
        return []
    end = closing(tokens, i + 1)
    inside = tokens[i + 2:end]
    if any(token.text in (";", "=") for token in inside):
        return []
    condition = source[inside[0].start:inside[-1].end]
    never = [(i + 2, end - 1, f"false && ({condition})")]
    return never + ([(i + 2, end - 1, f"!({condition})")] if tokens[i].text == "if" else [])


def statement_ends(tokens, i, scopes):
    """The index of the `;` of a statement that begins at `i` and may be dropped, or None."""
    token, before = tokens[i], tokens[i - 1]
    begins = before.text in (";", "{", "}", "else", ":") or before.text == ")" and before.start in scopes["conditions"]
    if not begins or i not in scopes["code"]:
        return None
    if token.kind == "word" and token.text in NO_STATEMENT or token.kind not in ("word", "mark"):
        return None
    if token.kind == "mark" and token.text not in ("++", "--", "*", "("):
        return None
    at = i
    if token.kind == "word":  # a name, maybe qualified, must be called, assigned or reached into: else it declares
        while tokens[at + 1].text == "::":
            at += 2
        if tokens[at + 1].text not in ("(", "=", ".", "->", "[", "++", "--") and not tokens[at + 1].text.endswith("="):
            return None
    depth = 0
    for k in range(i, len(tokens)):
        text = tokens[k].text
        depth += (text in ("(", "[")) - (text in (")", "]"))
        if text in ("{", "}") or depth < 0:
            return None
        if text == ";" and depth == 0:
            return k
    return None


def scopes_of(tokens):
    """Which tokens stand in code rather than among declarations, and where conditions of statements close."""
    code, conditions, stack = set(), set(), []
    begin = 0
    for i, token in enumerate(tokens):
        if stack and stack[-1] == "code":
            code.add(i)
        if token.text in ("if", "for", "while") and i + 1 < len(tokens) and tokens[i + 1].text == "(":
            end = closing(tokens, i + 1)
            conditions.add(tokens[end].start)
        if token.text == "{":
            head = [t.text for t in tokens[begin:i]]
            declares = {"class", "struct", "union", "enum", "namespace", "extern"} & set(head) and "(" not in head
            stack.append("declarations" if declares else "code")
        if token.text == "}" and stack:
            stack.pop()
        if token.text in (";", "{", "}"):
            begin = i + 1
    return {"code": code, "conditions": conditions}


def plain(tokens):
    """Code on one line, its tokens apart by at most a blank: the same for any layout."""
    out = ""
    for before, token in zip([None, *tokens], tokens):
        out += (" " if before and before.end < token.start else "") + token.text
    return out


def line_number(source, offset):
    return source.count("\n", 0, offset) + 1


class SourceFile:
    def __init__(self, name, source):
        self.name, self.source = name, source
        self.tokens = tokens_of(source)
        self.lines = source.split("\n")
        self.line_of = []
        line, at = 1, 0
        for token in self.tokens:
            line += source.count("\n", at, token.start)
            at = token.start
            self.line_of.append(line)

    def fault(self, first, last, text):
        """The fault of putting `text` in place of the tokens `first` to `last`."""
        from_line, to_line = self.line_of[first], self.line_of[last]
        around = [i for i in range(max(0, first - 400), min(len(self.tokens), last + 400))
                  if from_line <= self.line_of[i] <= to_line]
        span = [self.tokens[i] for i in around]
        start, end = self.tokens[first].start, self.tokens[last].end
        ahead = [t for t in span if t.end <= start]
        behind = [t for t in span if t.start >= end]
        gap = lambda left, right: " " if left < right else ""
        after = plain(ahead) + (gap(ahead[-1].end, start) if ahead else "") + text
        after += (gap(end, behind[0].start) if behind else "") + plain(behind)
        return Fault(self.name, from_line, to_line, plain(span), after.strip())

    def faults(self):
        """All faults, by the line that they begin in."""
        out = collections.defaultdict(list)
        skipped = passed_over(self.tokens)
        scopes = scopes_of(self.tokens)
        for i in range(len(self.tokens)):
            if i in skipped:
                continue
            found = [(i, i, text) for text in token_faults(self.source, self.tokens, i)]
            found += condition_faults(self.source, self.tokens, i)
            if i and (end := statement_ends(self.tokens, i, scopes)) is not None:
                found.append((i, end, ";"))
            for first, last, text in found:
                out[self.line_of[i]].append(self.fault(first, last, text))
        return out

    def locate(self, fault):
        """The fault where its code stands now, nearest to where it stood, or None when it is gone."""
        by_line = collections.defaultdict(list)
        for token, line in zip(self.tokens, self.line_of):
            by_line[line].append(token)
        height = fault.last - fault.first
        places = [line for line in by_line
                  if plain([t for k in range(line, line + height + 1) for t in by_line.get(k, [])]) == fault.before]
        if not places:
            return None
        first = min(places, key=lambda line: abs(line - fault.first))
        return fault._replace(first=first, last=first + height)

    def with_fault(self, fault):
        """The file's text with the fault planted; no line moves."""
        lines = list(self.lines)
        lines[fault.first - 1:fault.last] = [fault.after] + [""] * (fault.last - fault.first)
        return "\n".join(lines)


def read_list(path):
    """Faults from a list: a line `file:first-last`, a line `- code` and a line `+ code` each; other lines explain."""
    out = []
    file = before = None
    for line in path.read_text().splitlines():
        if place := re.fullmatch(r"(\S+):(\d+)-(\d+)", line):
            file = place
        elif line.startswith("- "):
            before = line[2:]
        elif line == "+" or line.startswith("+ "):
            out.append(Fault(file[1], int(file[2]), int(file[3]), before, line[2:]))
    return out


def worded(fault):
    return f"{fault.file}:{fault.first}-{fault.last}\n- {fault.before}\n+ {fault.after}\n"
