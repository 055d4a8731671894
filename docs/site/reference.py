"""The reference as pages in Markdown, one a header in its order, made of what Doxygen read (docs/Doxyfile)."""
import pathlib
import re
import sys
import textwrap
import xml.etree.ElementTree as tree

COLUMNS = 90
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def escaped(text):
    return re.sub(r"([\\`*_\[\]<>|$])", r"\\\1", text)


def inline(node):
    """The text of a paragraph."""
    parts = [escaped(node.text or "")]
    for child in node:
        if child.tag == "computeroutput":
            code = "".join(child.itertext())
            parts.append(f"`{code}`")
        elif child.tag in ("bold", "emphasis"):
            mark = "**" if child.tag == "bold" else "*"
            parts.append(mark + inline(child).strip() + mark)
        elif child.tag not in BLOCKS:
            parts.append(inline(child))
        parts.append(escaped(child.tail or ""))
    return "".join(parts)


def cells(row):
    return "| " + " | ".join(" ".join(inline(paragraph).strip() for paragraph in entry).replace("\n", " ")
                             for entry in row) + " |"


def table(node):
    rows = [cells(row) for row in node.iter("row")]
    rule = "|" + " --- |" * len(node.find("row"))
    return "\n".join([rows[0], rule, *rows[1:]])


def items(node):
    mark = "1." if node.tag == "orderedlist" else "-"
    return "\n".join(f"{mark} " + textwrap.indent(blocks(item), "  ").strip() for item in node)


BLOCKS = {"table": table, "itemizedlist": items, "orderedlist": items,
          "verbatim": lambda node: "```\n" + node.text.strip("\n") + "\n```"}


def blocks(node):
    """The paragraphs, lists and tables of a comment."""
    out = []
    for paragraph in node.findall("para"):
        # What stands between blocks is a paragraph of its own.
        text, pieces = tree.Element("para"), []
        text.text = paragraph.text
        for child in paragraph:
            if child.tag in BLOCKS:
                pieces += [text, child]
                text = tree.Element("para")
                text.text = child.tail
            else:
                text.append(child)
        for piece in pieces + [text]:
            if piece.tag in BLOCKS:
                out.append(BLOCKS[piece.tag](piece))
            elif line := " ".join(inline(piece).split()):
                out.append(re.sub(r"^([-+#%=]|\d+(?=[.)]))", r"\\\1", line))
    return "\n\n".join(out)


def comment(node):
    return "\n\n".join(filter(None, (blocks(node.find(kind)) for kind in ("briefdescription", "detaileddescription"))))


def code(node):
    """A type or an argument list as the headers write it."""
    text = node if isinstance(node, str) else "".join(node.itertext())
    text = re.sub(r" ([&*]+)(?=\w)", r"\1 ", re.sub(r" +([&*]+)", r" \1", text))
    text = re.sub(r"\s*([&*]+)$", r"\1", text)
    return re.sub(r"<\s+", "<", re.sub(r"\s+>", ">", text))


def template(node):
    parameters = node.find("templateparamlist")
    if parameters is None:
        return ""
    named = [" ".join(filter(None, (code(one.find("type")), one.findtext("declname")))) for one in parameters]
    return f"template <{', '.join(named)}>\n"


def signature(member):
    kind, name = member.get("kind"), member.findtext("name")
    kinds = [word for word, attribute, value in (("static", "static", "yes"), ("explicit", "explicit", "yes"))
             if member.get(attribute) == value]
    if member.get("virt") in ("virtual", "pure-virtual"):
        kinds.append("virtual")
    type_of = code(member.find("type"))
    if kind == "typedef":
        return f"using {name} = {type_of.removeprefix('using ')};"
    if kind == "variable":
        start = code(member.find("initializer")) if member.find("initializer") is not None else ""
        return " ".join(filter(None, [*kinds, type_of, name])) + member.findtext("argsstring", "") + \
            (f" {start}" if start.startswith("=") else start) + ";"
    head = template(member) + " ".join(filter(None, [*kinds, type_of, name]))
    arguments = code(re.sub(r"=(?=\w|\{)", " = ", member.findtext("argsstring")).replace("= default", "").rstrip())
    if arguments.endswith(("=0", "= 0")):
        arguments = arguments.removesuffix("=0").removesuffix("= 0").rstrip() + " = 0"
    if len(head.split("\n")[-1] + arguments) > COLUMNS:
        depth = 0
        broken = ""
        for letter in arguments:
            depth += (letter in "(<{") - (letter in ")>}")
            broken += letter
            if letter == "," and depth == 1:
                broken += "\n   "
        arguments = broken.replace("(", "(\n    ", 1)
    return head + arguments + ";"


def place(node):
    location = node.find("location")
    return location.get("file"), int(location.get("line", 0))


def declaration(member, owner=""):
    anchor = (owner + "." if owner else "") + re.sub(r"[^A-Za-z0-9_]", lambda m: f"{ord(m[0]):x}", member.findtext("name"))
    return f'<div class="declaration" id="{anchor}">\n\n```cpp\n{signature(member)}\n```\n\n{comment(member)}\n\n</div>\n', anchor


def one_line(member):
    return " ".join(comment(member).split())


def fields(members):
    rows = [f"| `{signature(member).rstrip(';')}` | {one_line(member)} |" for member in members]
    return "\n".join(["| member | what it is |", "| --- | --- |", *rows]).replace("||`", "\\|\\|`") + "\n"


def sentences():
    """What the library's tables say of enumerators (ReasonText): a name and a sentence for each."""
    row = re.compile(r'\{\s*(\w+)::(\w+),\s*"([a-z0-9-]+)",\s*((?:"(?:[^"\\]|\\.)*"\s*)+)\}')
    found = {}
    for path in sorted((ROOT / "src").rglob("*.cpp")):
        text = path.read_text()
        aliases = dict(re.findall(r"^using (\w+) = (\w+);", text, re.MULTILINE))
        for kind, value, name, sentence in row.findall(text):
            found[aliases.get(kind, kind), value] = name, "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', sentence)).replace('\\"', '"')
    return found


SENTENCES = sentences()


def meaning(enumeration, value):
    """The comment of an enumerator, and the name and sentence that the program shows for it."""
    name, sentence = SENTENCES.get((enumeration.findtext("name"), value.findtext("name")), ("", ""))
    return " ".join(filter(None, (one_line(value), sentence and f"`{name}`: {escaped(sentence)}")))


def values(enumeration):
    rows = [(f"`{one.findtext('name')}{(' ' + one.findtext('initializer')) if one.findtext('initializer') else ''}`",
             meaning(enumeration, one)) for one in enumeration.findall("enumvalue")]
    return "\n".join(["| value | what it is |", "| --- | --- |", *(f"| {name} | {text} |" for name, text in rows)]) + "\n"


def compound(node):
    """The pages' part for a class or struct, and the anchors of its members."""
    name = node.findtext("compoundname")
    anchors = {name: name.replace("::", ".")}
    out = [f'<span id="{anchors[name]}"></span>\n\n## {node.get("kind")} `{name}`\n', comment(node) + "\n"]
    if bases := [base.text for base in node.findall("basecompoundref")]:
        out.append("Derives from " + ", ".join(f"`{base}`" for base in bases) + ".\n")
    members = sorted((member for member in node.iter("memberdef") if member.get("prot") != "private"),
                     key=lambda member: place(member)[1])
    run = []
    for member in members + [None]:
        if member is not None and member.get("kind") == "variable":
            anchors[f"{name}::{member.findtext('name')}"] = anchors[name]
            run.append(member)
            continue
        if run:
            out.append(fields(run))
            run = []
        if member is None:
            break
        if member.get("kind") == "enum":
            title = "" if member.findtext("name").startswith("@") else f"`enum {member.findtext('name')}`\n\n"
            out.append(title + comment(member) + "\n\n" + values(member))
            anchors |= {f"{name}::{one.findtext('name')}": anchors[name] for one in member.findall("enumvalue")}
        elif comment(member):
            text, anchor = declaration(member, anchors[name])
            anchors.setdefault(f"{name}::{member.findtext('name')}", anchor)
            out.append(text)
    return "\n".join(out), anchors


def bare_enumerators(folder):
    """The enumerators that neither a comment nor a table explains."""
    for path in sorted(pathlib.Path(folder).glob("*.xml")):
        for member in tree.parse(path).getroot().iter("memberdef"):
            if member.get("kind") == "enum" and member.get("prot") != "private":
                for value in member.findall("enumvalue"):
                    if not meaning(member, value):
                        file, line = place(member)
                        yield f"include/{file}:{line}: error: Enumerator {value.findtext('name')} is not documented."


def numbered(page):
    """Numbers the anchors of further overloads."""
    seen = {}

    def once(found):
        seen[found[1]] = seen.get(found[1], 0) + 1
        return f' id="{found[1]}"' if seen[found[1]] == 1 else f' id="{found[1]}-{seen[found[1]]}"'

    return re.sub(r' id="([^"]*)"', once, page)


def pages(folder):
    """For each header its page, and the anchors of the names that it declares."""
    parts, openings = {}, {}
    for path in sorted(pathlib.Path(folder).glob("*.xml")):
        node = tree.parse(path).getroot().find("compounddef")
        if node is None or node.get("prot") == "private":
            continue
        if node.get("kind") in ("class", "struct", "union"):
            header, line = place(node)
            parts.setdefault(header, []).append((line, *compound(node)))
        elif node.get("kind") in ("file", "namespace"):
            if node.get("kind") == "file":
                openings[place(node)[0]] = comment(node)
            scope = node.findtext("compoundname") + "::" if node.get("kind") == "namespace" else ""
            for member in node.iter("memberdef"):
                header, line = place(member)
                name = member.findtext("name")
                if (line, scope + name) in [(part[0], part[3]) for part in parts.get(header, []) if len(part) > 3]:
                    continue
                names = [scope + name]
                if member.get("kind") == "enum":
                    anchor = (scope + name).replace("::", ".")
                    names += [f"{scope}{name}::{one.findtext('name')}" for one in member.findall("enumvalue")]
                    text = f'<span id="{anchor}"></span>\n\n{comment(member)}\n\n{values(member)}'
                else:
                    text, anchor = declaration(member, scope.removesuffix("::"))
                parts.setdefault(header, []).append((line, text, dict.fromkeys(names, anchor), scope + name))
    for header, opening in sorted(openings.items()):
        out, anchors, last = [f"# `{header}`\n", opening + "\n"], {}, None
        for line, text, names, *name in sorted(parts.get(header, []), key=lambda part: part[0]):
            if name and name[0] != last:
                out.append(f"## {'enum ' * ('<span' in text[:5])}`{name[0]}`\n")
            last = name[0] if name else None
            out.append(text)
            for one, anchor in names.items():
                anchors.setdefault(one, anchor)
        yield header, numbered("\n".join(out)), anchors


if __name__ == "__main__":
    missing = sorted(set(bare_enumerators(sys.argv[1])))
    print(*missing, sep="\n", end="\n" * bool(missing))
    sys.exit(1 if missing else 0)
