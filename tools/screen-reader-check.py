#!/usr/bin/python3
"""What a screen reader gets from the running window, through the accessibility bus.

Run by tools/screen-reader-check.sh, which starts the bus, a display and the window.
It prints the window's accessible tree, walks every Tab stop, then goes the keyboard
path a person would (Ctrl+F, type a name, Down, Space, Delete, read the confirmation,
Escape; then Delete and Alt+M) and reports the notifications the bus carried. It exits
1 when a stop has no name or the path does not do what it should.
"""
import sys
import time

import pyatspi
from gi.repository import GLib

APP = "Stashwell"
problems = []
notices = []


def pump(seconds):
    """Waits while the bus's events arrive."""
    end = time.monotonic() + seconds
    context = GLib.MainContext.default()
    while time.monotonic() < end:
        while context.pending():
            context.iteration(False)
        time.sleep(0.05)


def application():
    for _ in range(150):
        desktop = pyatspi.Registry.getDesktop(0)
        for i in range(desktop.childCount):
            app = desktop.getChildAtIndex(i)
            if app is not None and app.name == APP:
                return app
        pump(0.2)
    sys.exit(f"{APP} never appeared on the accessibility bus")


def showing(node, depth=0):
    """Every object on screen, parents first, with its depth."""
    if depth and not node.getState().contains(pyatspi.STATE_SHOWING):
        return
    yield depth, node
    for i in range(node.childCount):
        child = node.getChildAtIndex(i)
        if child is not None:
            yield from showing(child, depth + 1)


def describe(node):
    states = node.getState()
    marks = [name for state, name in ((pyatspi.STATE_CHECKED, "checked"), (pyatspi.STATE_SELECTED, "selected"),
                                      (pyatspi.STATE_FOCUSED, "focused")) if states.contains(state)]
    if node.getRole() == pyatspi.ROLE_CHECK_BOX and not states.contains(pyatspi.STATE_CHECKED):
        marks.insert(0, "not checked")
    text = f"{node.getRoleName()} {node.name!r}"
    if node.description:
        text += f" ({node.description!r})"
    return text + "".join(f", {mark}" for mark in marks)


def focused(app):
    """The innermost object that has the keyboard."""
    found = None
    for _, node in showing(app):
        if node.getState().contains(pyatspi.STATE_FOCUSED):
            found = node
    return found


def dialog_of(node):
    while node is not None and node.getRole() not in (pyatspi.ROLE_DIALOG, pyatspi.ROLE_ALERT):
        node = node.parent
    return node


# Key symbols; a modifier is held by its key code on the X server's usual keyboard.
KEYS = {"Tab": 0xff09, "Return": 0xff0d, "Escape": 0xff1b, "Down": 0xff54, "Delete": 0xffff,
        "space": 0x20, "comma": 0x2c, "f": 0x66, "m": 0x6d}
MODIFIER_CODES = {"Control": 37, "Alt": 64}


def press(*names, settle=0.5):
    """Presses a key, with modifiers held: press("Control", "f")."""
    *modifiers, key = names
    for modifier in modifiers:
        pyatspi.Registry.generateKeyboardEvent(MODIFIER_CODES[modifier], None, pyatspi.KEY_PRESS)
    pyatspi.Registry.generateKeyboardEvent(KEYS[key], None, pyatspi.KEY_SYM)
    for modifier in reversed(modifiers):
        pyatspi.Registry.generateKeyboardEvent(MODIFIER_CODES[modifier], None, pyatspi.KEY_RELEASE)
    pump(settle)


def say(step, app):
    node = focused(app)
    dialog = dialog_of(node) if node else None
    where = f" in dialog {dialog.name!r}" if dialog else ""
    print(f"{step:28} -> {describe(node) if node else 'nothing has the keyboard'}{where}")
    return node


def expect(condition, what):
    if not condition:
        problems.append(what)
        print(f"  PROBLEM: {what}")


def on_showing(event):
    try:
        if event.detail1 and event.source.getRole() == pyatspi.ROLE_NOTIFICATION:
            notices.append(event.source.name)
            print(f"  notification announced: {event.source.name!r}")
    except GLib.Error:
        pass  # a row scrolled away before its event was read


def main():
    pyatspi.Registry.registerEventListener(on_showing, "object:state-changed:showing")
    app = application()
    pump(2)

    print("== The tree a screen reader sees")
    for depth, node in showing(app):
        print("  " * depth + describe(node))

    print("== Every Tab stop, from the one that has the keyboard")
    first = focused(app)
    seen = []
    for _ in range(40):
        node = focused(app)
        if node is None:
            expect(False, "a Tab left nothing with the keyboard")
            break
        if seen and node == first:
            break
        seen.append(node)
        print("  stop: " + describe(node))
        expect(node.name.strip() != "", f"a {node.getRoleName()} stop without a name")
        press("Tab", settle=0.3)

    print("== Find a model, select it, ask to move it, read, cancel")
    say("Ctrl+F", app)
    press("Control", "f")
    field = say("after Ctrl+F", app)
    expect(field is not None and field.getRole() in (pyatspi.ROLE_TEXT, pyatspi.ROLE_ENTRY),
           "Ctrl+F reaches the search field")
    pyatspi.Registry.generateKeyboardEvent(0, "qwen", pyatspi.KEY_STRING)
    pump(0.8)
    press("Down")
    row = say("type 'qwen', Down", app)
    expect(row is not None and row.getRole() == pyatspi.ROLE_CHECK_BOX and "qwen" in row.name.lower(),
           "Down from the search field reaches a row that was found")
    press("space")
    row = say("Space", app)
    expect(row is not None and row.getState().contains(pyatspi.STATE_CHECKED), "Space selects the row")
    press("Delete", settle=1.0)
    button = say("Delete", app)
    dialog = dialog_of(button) if button else None
    expect(dialog is not None, "Delete opens the confirmation")
    expect(button is not None and button.name == "Cancel", "the confirmation starts on Cancel")
    if dialog is not None:
        print("  the confirmation reads:")
        for depth, node in showing(dialog):
            if node.name and node.getRole() != pyatspi.ROLE_DIALOG:
                print("    " + "  " * depth + describe(node))
    press("Escape", settle=1.0)
    row = say("Escape", app)
    expect(row is not None and dialog_of(row) is None and row.getState().contains(pyatspi.STATE_CHECKED),
           "Escape closes the confirmation and goes back to the selected row")

    print("== Move it to the Trash with Alt+M: the notice is announced")
    press("Delete", settle=1.0)
    say("Delete", app)
    press("Alt", "m", settle=4.0)
    say("Alt+M", app)
    expect(any("moved to Trash" in notice for notice in notices), "the notice after the move reached the bus")

    print("== The preferences (Ctrl+,), and their Tab stops")
    press("Control", "comma", settle=1.5)
    window = next((node for _, node in showing(app) if node.name == "Stashwell Preferences"), None)
    expect(window is not None, "Ctrl+, opens the preferences")
    if window is not None:
        for depth, node in showing(window):
            print("  " * depth + describe(node))
        press("Tab")
        first, stops = focused(app), 0
        while stops < 20:
            node = focused(app)
            print("  stop: " + describe(node))
            expect(node.name.strip() != "", f"a {node.getRoleName()} stop without a name")
            press("Tab", settle=0.3)
            stops += 1
            if focused(app) == first:
                break

    print("== " + ("no problems" if not problems else f"{len(problems)} problems"))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
