#!/usr/bin/env python3
"""Reads the shipped trvx.inf the way Windows setup does, without installing it, and
checks per architecture what install writes and that uninstall takes back exactly that.
Usage: inf_test.py trvx.inf"""
import re
import sys

DRIVER, DRIVER64, INF = "trvx.dll", "trvx64.dll", "trvx.inf"
DRIVERS32 = r"software\microsoft\windows nt\currentversion\drivers32"
DESCRIPTIONS = r"software\microsoft\windows nt\currentversion\drivers.desc"
UNINSTALL = r"software\microsoft\windows\currentversion\uninstall\trvx"
DESCRIPTION = "Korvantelix M-JPEG codec (TRVX)"
SYSTEM32, SYSWOW64, INF_FOLDER = "11", "16425", "17"
VIEW32 = 0x4000  # FLG_ADDREG_32BITKEY, FLG_DELREG_32BITKEY
# Architecture: each build it installs, as (folder, registry view, file in the package).
BOTH_WIDTHS = {(SYSWOW64, VIEW32, DRIVER), (SYSTEM32, 0, DRIVER64)}
ARCHITECTURES = {"x86": {(SYSTEM32, 0, DRIVER)}, "amd64": BOTH_WIDTHS, "arm64": BOTH_WIDTHS}
OUTSIDE_QUOTES = r'(?=(?:[^"]*"[^"]*")*[^"]*$)'  # followed by an even number of quotes


def fields(line):
    return [f.strip() for f in re.split("," + OUTSIDE_QUOTES, line)]


def read_inf(path):
    sections, current = {}, None
    with open(path, newline="") as f:
        text = f.read()
    assert "\r\n" in text and "\n" not in text.replace("\r\n", ""), "the .inf needs CRLF line ends"
    for raw in text.split("\r\n"):
        line = re.sub(";" + OUTSIDE_QUOTES + ".*", "", raw).strip()
        if line.startswith("["):
            current = sections.setdefault(line.strip("[]").lower(), [])
        elif line:
            current.append(line)
    strings = {}
    for line in sections.get("strings", []):
        key, value = (part.strip() for part in line.split("=", 1))
        strings[key.lower()] = value.strip('"')

    def expand(field):
        # Directory ids (%11%) stay for setup to fill in; string keys are replaced.
        return re.sub(r"%(\w+)%", lambda m: strings.get(m.group(1).lower(), m.group(0)), field.strip('"'))

    def entries(name):
        assert name.lower() in sections, f"section [{name}] is missing"
        return [[expand(f) for f in fields(line)] for line in sections[name.lower()]]

    return sections, entries


def directive(entries, section, key):
    """Section lists of one directive (CopyFiles = a, b) of an install section."""
    lists = []
    for entry in entries(section):
        name, _, value = entry[0].partition("=")
        if name.strip().lower() == key.lower():
            lists += [value.strip()] + entry[1:]
    return lists


def chosen_section(sections, base, architecture):
    # Setup takes the most specific decoration that exists.
    for name in (f"{base}.nt{architecture}", f"{base}.nt", base):
        if name.lower() in sections:
            return name
    raise AssertionError(f"no {base} section for {architecture}")


def files(entries, destinations, lists):
    """(folder, name installed, name in the package); a copy entry may rename."""
    return {(destinations[name.lower()], e[0].lower(), e[-1].lower()) for name in lists for e in entries(name)}


def values(entries, lists):
    """(view, key, value name) -> data; a missing value name stands for the whole key."""
    result = {}
    for name in lists:
        for e in entries(name):
            e += [""] * (5 - len(e))
            assert e[0].upper() == "HKLM", e
            flags = int(e[3] or "0", 0)
            result[(flags & VIEW32, e[1].lower(), e[2].lower() or None)] = e[4]
    return result


def main(path):
    sections, entries = read_inf(path)
    destinations = {e[0].split("=")[0].strip().lower(): e[0].split("=")[1].strip() for e in entries("DestinationDirs")}
    sources = {e[0].split("=")[0].strip().lower() for e in entries("SourceDisksFiles")}
    for architecture, builds in ARCHITECTURES.items():
        install = chosen_section(sections, "DefaultInstall", architecture)
        uninstall = chosen_section(sections, "DefaultUninstall", architecture)
        copied = files(entries, destinations, directive(entries, install, "CopyFiles"))
        expected = {(folder, DRIVER, source) for folder, _, source in builds} | {(INF_FOLDER, INF, INF)}
        assert copied == expected, (architecture, copied)
        assert {source for _, _, source in copied} <= sources, "a copied file has no source disk"
        deleted = files(entries, destinations, directive(entries, uninstall, "DelFiles"))
        assert {f[:2] for f in deleted} == {f[:2] for f in copied}, (architecture, deleted)

        added = values(entries, directive(entries, install, "AddReg"))
        for _, view, _ in builds:
            assert added[(view, DRIVERS32, "vidc.trvx")] == DRIVER, architecture
            assert added[(view, DESCRIPTIONS, DRIVER)] == DESCRIPTION, architecture
        assert {view for view, key, _ in added if key != UNINSTALL} == {view for _, view, _ in builds}, architecture
        assert added[(0, UNINSTALL, "displayname")] == DESCRIPTION
        assert re.fullmatch(r"\d+(\.\d+)+", added[(0, UNINSTALL, "displayversion")]), "version not filled in"
        command = added[(0, UNINSTALL, "uninstallstring")]
        assert command == r"%11%\rundll32.exe setupapi.dll,InstallHinfSection DefaultUninstall 132 %17%\trvx.inf"
        assert {key for _, key, _ in added} == {DRIVERS32, DESCRIPTIONS, UNINSTALL}, added.keys()

        removed = values(entries, directive(entries, uninstall, "DelReg"))
        covers = lambda r, a: r[:2] == a[:2] and r[2] in (None, a[2])
        assert all(any(covers(r, a) for r in removed) for a in added), (architecture, "left behind")
        assert all(any(covers(r, a) for a in added) for r in removed), (architecture, "removes more")
        # Only the codec's own key may go as a whole: the others hold other drivers too.
        assert {r[1] for r in removed if r[2] is None} <= {UNINSTALL}, removed.keys()
    print("inf checked for", ", ".join(ARCHITECTURES))


if __name__ == "__main__":
    main(sys.argv[1])
