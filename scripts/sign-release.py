#!/usr/bin/env python3
"""Makes the key of releases, signs files with it, and writes the feed that offers them.

Needs the openssl program. docs/releasing.md says how it is used, and what the feed looks like.
"""

import argparse
import base64
import email.utils
import os
import pathlib
import re
import stat
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

# What the program reads at most (src/update/Appcast.h, ReleaseNotes.h, Download.h).
MAXIMUM_FEED = 1 << 20
MAXIMUM_NOTES = 64 << 10
MAXIMUM_FILE = 512 << 20
# The element and attribute names are known by their local part; this only keeps them apart from RSS.
NAME_SPACE = "urn:tamsell:releases"
# SubjectPublicKeyInfo of an Ed25519 key (RFC 8410 section 4), in front of the key's 32 bytes.
PUBLIC_KEY_PREFIX = bytes.fromhex("302a300506032b6570032100")


class Refused(Exception):
    """Nothing was written; the text says why."""


def openssl(*arguments):
    try:
        done = subprocess.run(["openssl", *arguments], capture_output=True, check=False)
    except OSError as error:
        raise Refused(f"openssl: {error.strerror}") from error
    if done.returncode != 0:
        raise Refused(f"openssl {arguments[0]}: {done.stderr.decode(errors='replace').strip()}")
    return done.stdout


def public_key(key):
    der = openssl("pkey", "-in", str(key), "-pubout", "-outform", "DER")
    if not der.startswith(PUBLIC_KEY_PREFIX) or len(der) != len(PUBLIC_KEY_PREFIX) + 32:
        raise Refused(f"{key}: is no Ed25519 key")
    return base64.b64encode(der[len(PUBLIC_KEY_PREFIX):]).decode()


def new_key(path):
    pem = openssl("genpkey", "-algorithm", "ed25519")
    # Never over another key: what that one has signed would be lost to those who trust it.
    descriptor = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600)
    with os.fdopen(descriptor, "wb") as file:
        file.write(pem)
        file.flush()
        os.fsync(file.fileno())


def signature(key, file):
    public_key(key)
    if stat.S_IMODE(key.stat().st_mode) & 0o077:
        raise Refused(f"{key}: others can read it (chmod 600)")
    bytes_ = openssl("pkeyutl", "-sign", "-rawin", "-inkey", str(key), "-in", str(file))
    return base64.b64encode(bytes_).decode()


def checked(name, text, maximum):
    """The text, if XML 1.0 has its characters and the program takes so many bytes of it."""
    if re.search("[^\t\n\r\x20-\ud7ff\ue000-\ufffd\U00010000-\U0010ffff]", text):
        raise Refused(f"{name}: has a character that XML has not")
    if len(text.encode()) > maximum:
        raise Refused(f"{name}: is longer than {maximum} bytes")
    return text


def qualified(name):
    return f"{{{NAME_SPACE}}}{name}"


def new_item(options):
    if not re.fullmatch(r"v?[0-9][0-9A-Za-z.+~_-]{0,62}", options.version):
        raise Refused("--version: a digit, then letters, digits and . + ~ _ - only, at most 63")
    size = options.file.stat().st_size
    if not 0 < size <= MAXIMUM_FILE:
        raise Refused(f"{options.file}: has {size} bytes, not 1 to {MAXIMUM_FILE}")
    # No program goes anywhere else; "a:b" would be a scheme, too.
    if not re.fullmatch(r"https://[^/@\s\\]+/\S+|[^:\s]+", options.url):
        raise Refused("--url: is neither https://HOST/… nor relative to the feed")
    display = checked("--display", options.display or options.version, 64)
    if len(display.splitlines()) != 1:
        raise Refused("--display: is more than one line")
    item = ET.Element("item")
    ET.SubElement(item, "title").text = display
    ET.SubElement(item, "pubDate").text = email.utils.formatdate(usegmt=True)
    ET.SubElement(item, qualified("version")).text = options.version
    ET.SubElement(item, qualified("shortVersionString")).text = display
    if options.notes:
        notes = options.notes.read_text(encoding="utf-8")
        ET.SubElement(item, "description").text = checked("--notes", notes, MAXIMUM_NOTES)
    attributes = {
        "url": checked("--url", options.url, 2048),
        "length": str(size),
        "type": "application/octet-stream",
        qualified("edSignature"): signature(options.key, options.file),
    }
    for name in ("os", "arch"):
        if getattr(options, name):
            attributes[qualified(name)] = checked(f"--{name}", getattr(options, name), 64)
    ET.SubElement(item, "enclosure", attributes)
    return item


def identity(item):
    enclosure = item.find("enclosure")
    attributes = {} if enclosure is None else enclosure.attrib
    return (item.findtext(qualified("version")), *(attributes.get(qualified(name)) for name in ("os", "arch")))


def feed_with(path, item):
    if path.exists():
        root = ET.parse(path).getroot()
        channel = root.find("channel")
        if root.tag != "rss" or channel is None:
            raise Refused(f"{path}: is no RSS feed")
    else:
        root = ET.Element("rss", version="2.0")
        channel = ET.SubElement(root, "channel")
        ET.SubElement(channel, "title").text = "Tamsell"
    if identity(item) in map(identity, channel.findall("item")):
        raise Refused(f"{path}: has this version for this system already")
    # The newest first, behind what describes the channel.
    children = list(channel)
    position = next((i for i, child in enumerate(children) if child.tag == "item"), len(children))
    channel.insert(position, item)
    return serialized(root, declaration=True)


def serialized(element, declaration=False):
    ET.register_namespace("release", NAME_SPACE)
    ET.indent(element)
    return ET.tostring(element, encoding="utf-8", xml_declaration=declaration) + b"\n"


def replace(path, content):
    """Whoever reads the feed meanwhile gets the old one or the new one."""
    if len(content) > MAXIMUM_FEED:
        raise Refused(f"{path}: would be larger than {MAXIMUM_FEED} bytes; remove old items")
    target = path.resolve()
    mode = stat.S_IMODE(target.stat().st_mode) if target.exists() else 0o644
    descriptor, name = tempfile.mkstemp(prefix=target.name, dir=target.parent)
    try:
        with os.fdopen(descriptor, "wb") as file:
            os.fchmod(descriptor, mode)
            file.write(content)
            file.flush()
            os.fsync(descriptor)
        os.replace(name, target)
    except BaseException:
        os.unlink(name)
        raise


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    commands = parser.add_subparsers(dest="command", required=True)
    new = commands.add_parser("new-key", help="make a key pair; prints the public key")
    shown = commands.add_parser("public-key", help="print the public key, for TAMSELL_UPDATE_KEY")
    for command in (new, shown):
        command.add_argument("key", type=pathlib.Path, help="the private key's file")
    item = commands.add_parser("item", help="sign a file; prints its item, or puts it into a feed")
    item.add_argument("file", type=pathlib.Path)
    item.add_argument("--key", type=pathlib.Path, required=True, help="the private key's file")
    item.add_argument("--version", required=True, help="what is compared, like 1.4.0")
    item.add_argument("--display", help="what people read, like 1.4; by default the version")
    item.add_argument("--url", required=True, help="of the file: absolute, or relative to the feed")
    item.add_argument("--notes", type=pathlib.Path, help="a file of plain text, UTF-8")
    item.add_argument("--os", help="by default every system; linux")
    item.add_argument("--arch", help="by default every processor; x86_64, arm64")
    item.add_argument("--feed", type=pathlib.Path, help="the feed that gets the item; made if missing")
    return parser.parse_args()


def main():
    options = arguments()
    try:
        if options.command == "new-key":
            new_key(options.key)
        if options.command in ("new-key", "public-key"):
            print(public_key(options.key))
        elif options.feed:
            replace(options.feed, feed_with(options.feed, new_item(options)))
        else:
            sys.stdout.buffer.write(serialized(new_item(options)))
    except (Refused, OSError, UnicodeError, ET.ParseError) as error:
        print(f"sign-release: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
