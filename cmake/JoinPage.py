#!/usr/bin/env python3
"""Joins the sources of the page into one file that needs nothing from anywhere.

usage: JoinPage.py OUTPUT TEMPLATE ENTRY STYLE...

The modules that ENTRY imports, and theirs, become one module script in the order in which they need
one another, each in a function of its own that gives what it exports. That is done by text alone,
so that each import stands on a line of its own as `import { a, b } from "./name.js";`, only
declarations are exported, and no two modules export the same name; anything else fails. In TEMPLATE,
@style@ and @script@ become the texts, and @policy@ the policy that lets these texts run and nothing
else.
"""

import base64
import hashlib
import pathlib
import re
import sys

import_line = re.compile(r'^import \{ ([\w, ]+) \} from "\./([\w-]+\.js)";$')
exported = re.compile(r"^export ((?:async )?(?:const|function\*?|class) (\w+)\b(?!\$))", re.MULTILINE)


def fail(message):
    sys.exit(f"JoinPage: {message}")


def join(path, joined, declared, open_modules=()):
    """Appends a module to `joined` after those that it imports; gives the names that it exports."""
    if path in open_modules:
        fail(f"{path.name} imports itself, by way of {open_modules[-1].name}")
    if path in joined:
        return joined[path][0]
    text = path.read_text(encoding="utf-8")
    body = []
    for number, line in enumerate(text.splitlines(), 1):
        if not line.startswith("import "):
            body.append(line)
            continue
        found = import_line.match(line)
        if not found:
            fail(f"{path.name}:{number}: an import of another form")
        other = path.parent / found[2]
        missing = set(found[1].split(", ")).difference(join(other, joined, declared, (*open_modules, path)))
        if missing:
            fail(f"{path.name}:{number}: {found[2]} does not export {', '.join(sorted(missing))}")
    text = "\n".join(body).strip()
    names = [match[2] for match in exported.finditer(text)]
    for name in names:
        if name in declared:
            fail(f"{path.name} and {declared[name]} both export {name}")
        declared[name] = path.name
    text = exported.sub(r"\1", text)
    if re.search(r"^(?:export|import)\b", text, re.MULTILINE):
        fail(f"{path.name}: only functions, classes and constants with plain names can be exported")
    listed = f"{{ {', '.join(names)} }}"
    joined[path] = (names, f"// {path.name}\nconst {listed} = (() => {{\n{text}\nreturn {listed};\n}})();")
    return names


def hash_of(text):
    """As a source of a Content Security Policy (CSP Level 3, section 2.3.1)."""
    return f"'sha256-{base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()}'"


def main(output, template, entry, *styles):
    joined = {}
    join(pathlib.Path(entry), joined, {})
    script = "\n" + "\n\n".join(text for _, text in joined.values()) + "\n"
    style = "\n" + "\n".join(pathlib.Path(path).read_text(encoding="utf-8") for path in styles)
    if re.search(r"</script|<!--", script, re.IGNORECASE) or re.search(r"</style", style, re.IGNORECASE):
        fail("what would end its element early")
    policy = (
        f"default-src 'none'; script-src {hash_of(script)}; style-src {hash_of(style)}; "
        "connect-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; "
        "require-trusted-types-for 'script'; trusted-types 'none'"
    )
    values = {"policy": policy, "style": style, "script": script}
    page = pathlib.Path(template).read_text(encoding="utf-8")
    for name in values:
        if page.count(f"@{name}@") != 1:
            fail(f"the template has no place, or more than one, for the {name}")
    page = re.sub(r"@(policy|style|script)@", lambda found: values[found[1]], page)
    target = pathlib.Path(output)
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_text(page, encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
