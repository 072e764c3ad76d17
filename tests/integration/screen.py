"""A person at the screen: finds controls by role and name, as assistive technology does, points, clicks and types
through the X server, and takes pictures. Needs a display with a window manager and a session bus."""

import re
import subprocess
import time
import warnings

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

warnings.simplefilter("ignore", DeprecationWarning)
# An application that has just come or gone makes the interface complain; what is seen is what counts.
GLib.log_set_handler("dbind", GLib.LogLevelFlags.LEVEL_WARNING, lambda *_: None, None)

PATIENCE = 15
WINDOWS = ("frame", "dialog", "alert")


class NotSeen(AssertionError):
    pass


def xdotool(*arguments):
    return subprocess.run(["xdotool", *map(str, arguments)], check=True, capture_output=True, text=True).stdout


def children(node):
    try:
        return [child for child in (node.get_child_at_index(i) for i in range(node.get_child_count())) if child]
    except GLib.Error:
        return []  # it has just gone


def walk(node):
    yield node
    for child in children(node):
        yield from walk(child)


def is_visible(node):
    return node.get_state_set().contains(Atspi.StateType.VISIBLE)


def close_window(x_window):
    """As the close button in the window's frame does it."""
    xdotool("windowactivate", "--sync", x_window)
    xdotool("key", "alt+F4")


def describe(node):
    return f"{node.get_role_name()} {node.get_name()!r}"


class Screen:
    """What one application shows."""

    def __init__(self, application):
        self.application = application

    def _application(self):
        for node in children(Atspi.get_desktop(0)):
            if node.get_name() == self.application:
                # Always the present state; without an event loop of ours a cache would never learn of it.
                node.set_cache_mask(Atspi.Cache.NONE)
                return node
        return None

    def windows(self):
        application = self._application()
        return [node for node in children(application) if is_visible(node)] if application else []

    def _try(self, role, name):
        for window in reversed(self.windows()):
            for node in walk(window):
                try:
                    if node.get_role_name() == role and (name is None or node.get_name() == name):
                        # A window's parts say nothing of their being shown; what has no room is not.
                        place = node.get_extents(Atspi.CoordType.WINDOW)
                        if role in WINDOWS or place.width > 0:
                            return node
                except GLib.Error:
                    pass
        return None

    def wait_for(self, look, what, seconds=PATIENCE):
        deadline = time.monotonic() + seconds
        while True:
            seen = look()
            if seen:
                return seen
            if time.monotonic() > deadline:
                raise NotSeen(f"waited in vain for {what}; there is:\n" + "\n".join(self.tree()))
            time.sleep(0.05)

    def find(self, role, name=None, seconds=PATIENCE):
        return self.wait_for(lambda: self._try(role, name), f"{role} {name!r}", seconds)

    def gone(self, role, name):
        self.wait_for(lambda: not self._try(role, name), f"the end of {role} {name!r}")

    @staticmethod
    def nodes(window):
        return list(walk(window))

    def move(self, title, x, y):
        xdotool("windowmove", "--sync", self.x_window(title), x, y)

    def close(self, title):
        self.find("frame", title)
        close_window(self.x_window(title))

    def tree(self):
        return [describe(node) for window in self.windows() for node in walk(window)]

    @staticmethod
    def window_of(node):
        while node.get_role_name() not in WINDOWS:
            node = node.get_parent()
        return node

    @staticmethod
    def x_window(title):
        found = xdotool("search", "--onlyvisible", "--name", f"^{re.escape(title)}$").split()
        return found[-1]

    def click(self, role, name):
        node = self.find(role, name)
        time.sleep(0.15)  # until it is where it stays
        place = node.get_extents(Atspi.CoordType.WINDOW)
        left, top = self.corner(self.x_window_of(node))
        xdotool("mousemove", left + place.x + place.width // 2, top + place.y + place.height // 2)
        time.sleep(0.05)
        xdotool("click", 1)

    @staticmethod
    def corner(x_window):
        """Of the content; what xdotool says counts the frame twice."""
        said = subprocess.run(["xwininfo", "-id", x_window], check=True, capture_output=True, text=True).stdout
        return tuple(int(re.search(rf"Absolute upper-left {axis}: +(-?\d+)", said)[1]) for axis in "XY")

    def x_window_of(self, node):
        window = self.window_of(node)
        # An alert's accessible name is its message; its title is the application's.
        return self.x_window(window.get_name()) if window.get_role_name() == "frame" else xdotool(
            "getactivewindow").strip()

    def press(self, *keys):
        for key in keys:
            xdotool("key", key)
            time.sleep(0.1)

    def picture(self, node, file):
        """The window that the node is in, with its frame."""
        time.sleep(0.3)  # until it is drawn
        subprocess.run(["import", "-frame", "-window", self.x_window_of(node), str(file)], check=True,
                       capture_output=True)
