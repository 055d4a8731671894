"""A manual page in Markdown; it has the few macros that the program writes (scripts/make-manual)."""
import re


def plain(text):
    return text.replace("\\-", "-").replace("\\&", "").replace("\\e", "\\")


def markdown_of(page, link):
    """The text of a page. `link(text, name)` gives the link to the page of that name, or the text if there is no such page."""
    def inline(text):
        text = re.sub(r"([*_`<>\[\]|])", r"\\\1", text.replace("\\e", "\\\\").replace("\\-", "-").replace("\\&", ""))
        text = re.sub(r"\\fB(.+?)\\fR", r"**\1**", text.replace("\\fB\\fR", ""))
        text = re.sub(r"\\fI(.+?)\\fR", r"*\1*", text)
        return re.sub(r"\*\*([a-z0-9-]+)\*\*\([13]\)", lambda found: link(found[0], found[1]), text)

    def term(text):
        return re.sub(r"^\*\*([a-z0-9-]+)\*\*$", lambda found: link(found[0], f"{name}-{found[1]}"), inline(text))

    out, lines, name = [], iter(page.splitlines()), ""
    for line in lines:
        macro, _, rest = line.partition(" ")
        match macro:
            case ".TH":
                name, section = plain(rest).lower().split()[:2]
                out.append(f"# {name}({section})")
            case ".SH":
                out.append(f"\n## {rest.capitalize()}\n")
            case ".TP":
                out.append(f"\n{term(next(lines))}\n: {inline(next(lines))}")
            case ".nf":
                code = iter(lambda: next(lines), ".fi")
                out += ["\n```sh", *(plain(line) for line in code if line not in (".RS", ".RE")), "```\n"]
            case ".PP":
                out.append("")
            case _:
                out.append(inline(line))
    return "\n".join(out) + "\n"
