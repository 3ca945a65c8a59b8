#!/usr/bin/python3
"""Walks the companion's accessibility tree on the AT-SPI bus, from its application object, with the
panel open, and checks what a screen reader finds: the panel as a named window that announces itself
when it opens, every drawn control named and in its role, each check's state in words, each revoke
button naming its phone.

    accessibility_walk.py ICON_WINDOW

Clicks the tray icon (xdotool) once it listens for the window's activation. Exits 0 when everything
is found, 1 with the differences otherwise.
"""
import subprocess
import sys

import pyatspi
from gi.repository import Atspi, GLib

APPLICATION = "nuvexa-companion"
PANEL = "nuvexa Companion"
# Generous: only a broken setup takes this long.
PATIENCE_SECONDS = 60

icon_window = sys.argv[1]
problems = []
activated = []


def expect(condition, message):
    if not condition:
        problems.append(message)


def find_application():
    desktop = pyatspi.Registry.getDesktop(0)
    for index in range(desktop.childCount):
        application = desktop.getChildAtIndex(index)
        if application is not None and application.name == APPLICATION:
            return application
    return None


def descendants(node):
    for index in range(node.childCount):
        child = node.getChildAtIndex(index)
        if child is None:
            continue
        yield child
        yield from descendants(child)


def on_activate(event):
    if event.source is not None and event.source.name == PANEL:
        activated.append(event.source)
        pyatspi.Registry.stop()


def click_icon():
    subprocess.run(["xdotool", "mousemove", "--window", icon_window, "10", "10", "click", "1"], check=True)
    return False


def give_up():
    pyatspi.Registry.stop()
    return False


pyatspi.Registry.registerEventListener(on_activate, "window:activate")
GLib.idle_add(click_icon)
GLib.timeout_add_seconds(PATIENCE_SECONDS, give_up)
pyatspi.Registry.start()
expect(activated, "opening the panel was not announced (no window:activate named %r)" % PANEL)

application = find_application()
if application is None:
    print("accessibility: no application named %r on the bus" % APPLICATION)
    sys.exit(1)
# Names are read as they are now, not as a cache kept them.
application.set_cache_mask(Atspi.Cache.NONE)
windows = [application.getChildAtIndex(i) for i in range(application.childCount)]
panels = [w for w in windows if w is not None and w.name == PANEL]
expect(len(panels) == 1, "the application lists %d windows named %r among %r" %
       (len(panels), PANEL, [w.name for w in windows if w is not None]))
if not panels:
    print("\n".join("accessibility: " + p for p in problems))
    sys.exit(1)
panel = panels[0]
expect(panel.getRoleName() == "frame", "the panel's role is %r, not a window" % panel.getRoleName())
states = panel.getState()
expect(states.contains(pyatspi.STATE_SHOWING), "the panel is not showing")
expect(states.contains(pyatspi.STATE_ACTIVE), "the panel is not the active window")

everything = list(descendants(panel))
for node in everything:
    print("accessibility: %s %r %r" % (node.getRoleName(), node.name, node.description))


def named(role, name):
    return [n for n in everything if n.getRoleName() == role and n.name == name]


# Every control and drawn widget has a name.
for node in everything:
    if node.getRoleName() in ("push button", "check box", "image", "animation", "toggle button"):
        if node.getState().contains(pyatspi.STATE_SHOWING):
            expect(node.name, "a %s has no name" % node.getRoleName())
    expect(node.getRoleName() != "filler" or not node.getState().contains(pyatspi.STATE_SHOWING) or
           node.childCount > 0, "an unnamed filler draws something")

expect(not [n for n in everything if n.getRoleName() == "frame"], "an unnamed frame inside the panel")
expect(len([n for n in everything if n.getRoleName() == "separator"]) >= 3, "the dividers are not separators")

rows = [n for n in everything if n.getRoleName() == "panel" and
        (n.name.endswith(": listo") or n.name.endswith(": pendiente"))]
expect(len(rows) >= 4, "the check rows do not say their state: %r" % [r.name for r in rows])
expect(named("panel", "Inicio de sesión remoto (SSH): pendiente") or named("panel", "Servidor SSH: pendiente") or
       any(r.name.startswith("Servidor SSH") or "SSH" in r.name for r in rows),
       "no row names the SSH server with its state")
expect(any(n.getRoleName() == "image" and n.name in ("Listo", "Pendiente") for n in everything),
       "the status symbols are not named images")
expect(named("push button", "Revocar «iPhone de Ana»…"), "no revoke button names «iPhone de Ana»")
expect(named("push button", "Revocar «iPad»…"), "no revoke button names «iPad»")
switches = [n for n in everything if n.getRoleName() in ("check box", "toggle button")]
expect(len(switches) == 3 and all(s.name for s in switches),
       "the three switches are not named check boxes: %r" % [(s.getRoleName(), s.name) for s in switches])
start = named("push button", "Emparejar con el iPhone")
expect(start and not start[0].getState().contains(pyatspi.STATE_ENABLED) and
       "inicio de sesión remoto" in start[0].description,
       "the disabled pairing button does not say why: %r" % [(s.description) for s in start])

if problems:
    print("\n".join("accessibility: " + p for p in problems))
    sys.exit(1)
print("accessibility: passed")
