#!/usr/bin/env python3
"""Fails on an include line that goes against the arrows between the folders of src/."""

import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent / "src"

everything_below_ui = {"crypto", "core", "platform", "http", "relay", "hooks", "daemon", "update"}
allowed = {
    "crypto": set(),
    "core": {"crypto"},
    "platform": {"core", "crypto"},
    "http": {"core", "platform"},
    "relay": {"core", "crypto", "platform"},
    "hooks": {"core", "platform"},
    "update": {"core", "crypto", "platform"},
    "daemon": {"core", "crypto", "platform", "http", "relay", "hooks"},
    "ui": everything_below_ui,
    "app": everything_below_ui | {"ui"},
    "hook": {"core", "platform"},
    "ctl": {"core", "crypto", "hooks", "platform"},
    "relayd": {"core", "crypto"},
}
# Which folders alone may include headers of a kind.
reserved = [
    (re.compile(r"openssl/"), {"crypto"}, "OpenSSL"),
    (re.compile(r"systemd/|dbus/|QDBus|xcb/|X11/|wayland|linux/|sys/epoll|sys/timerfd"),
     {"platform"}, "the operating system's own interfaces"),
    (re.compile(r"Q(Widget|Application|SystemTrayIcon|Dialog|Menu)\b|QtWidgets"), {"ui", "app"}, "Qt Widgets"),
]
qt_free = {"crypto", "core", "hook", "relayd"}
include = re.compile(r'^\s*#\s*include\s+(?:"([^"]+)"|<([^>]+)>)')

problems = []
for path in sorted(root.rglob("*")):
    if path.suffix not in {".h", ".cpp"}:
        continue
    folder = path.relative_to(root).parts[0]
    if folder not in allowed:
        problems.append(f"{path.relative_to(root.parent)}: folder {folder} has no arrows")
        continue
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        found = include.match(line)
        if not found:
            continue
        where = f"{path.relative_to(root.parent)}:{number}"
        own, system = found.groups()
        if own:
            target = own.split("/")[0]
            if "/" in own and target in allowed and target != folder and target not in allowed[folder]:
                problems.append(f"{where}: {folder} may not include {own}")
            if "/" not in own and not own.startswith(("moc_", "ext-")):
                problems.append(f"{where}: write {own} as \"folder/File.h\"")
        header = own or system
        for pattern, folders, what in reserved:
            if pattern.match(header) and folder not in folders:
                problems.append(f"{where}: {what} ({header}) belongs to {', '.join(sorted(folders))}")
        if system and folder in qt_free and re.match(r"Q[A-Z]|Qt", system):
            problems.append(f"{where}: {folder} is free of Qt")

print("\n".join(problems) if problems else "arrows: all includes are allowed")
sys.exit(1 if problems else 0)
