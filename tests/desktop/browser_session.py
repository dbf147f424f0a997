"""A file browser on a display, a message bus and a home of its own, driven through its accessibility tree.

The plug-ins are laid over /usr as "cmake --install" would put them there, in a mount namespace of the test's
own, so that nothing of the machine changes."""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
PATIENCE = 30  # seconds that anything may take


class Missing(Exception):
    """Something that was waited for did not come."""


def eventually(what, condition, patience=PATIENCE):
    """The first true value of the condition."""
    end = time.monotonic() + patience
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise Missing(what)
        time.sleep(0.05)


def enter_namespace(build):
    """Begins the program again with the plug-ins of the build in place. Only root may, or who may be root."""
    if "ZELTO_PLUGINS" in os.environ:
        return
    plugins = tempfile.mkdtemp(prefix="zelto-plugins-")
    installed = subprocess.run(["cmake", "--install", str(build), "--prefix", "/usr"], capture_output=True, text=True,
                               env={**os.environ, "DESTDIR": plugins}, check=False)
    if installed.returncode != 0:
        sys.exit(f"The plug-ins are not built there (-DZELTO_DESKTOP=ON): {installed.stderr.strip()[-300:]}")
    # A mount of somebody else that hangs would make the browsers wait.
    mount = f'umount -l -a -t fuse.zelto; mount -t overlay overlay -o "lowerdir={plugins}/usr:/usr" /usr && exec "$0" "$@"'
    arguments = ["unshare", "--mount", "bash", "-c", mount, sys.executable, *sys.argv]
    if os.geteuid() != 0:
        arguments.insert(1, "--map-root-user")
    code = subprocess.run(arguments, env={**os.environ, "ZELTO_PLUGINS": plugins}, check=False).returncode
    shutil.rmtree(plugins)
    sys.exit(code)


class Session:
    """A display with a window manager, and a message bus with accessibility."""

    def __init__(self, width=900, height=620):
        self.root = Path(tempfile.mkdtemp(prefix="zelto-desktop-"))
        self.size = (width, height)
        self.processes = []
        self.endings = []  # what is to be done while the bus is still there
        home, run = self.root / "home", self.root / "run"
        home.mkdir()
        run.mkdir(mode=0o700)
        # Their places follow from HOME; the desktop's own settings and buses are to be left alone.
        for name in ("XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "WAYLAND_DISPLAY", "LANGUAGE", "LC_ALL"):
            os.environ.pop(name, None)
        os.environ.update(HOME=str(home), XDG_RUNTIME_DIR=str(run), LANG="C.UTF-8", XDG_SESSION_TYPE="x11",
                          GDK_BACKEND="x11", GSK_RENDERER="cairo", LIBGL_ALWAYS_SOFTWARE="1",
                          GSETTINGS_BACKEND="memory", QT_QPA_PLATFORM="xcb", GTK_MODULES="gail:atk-bridge",
                          QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        try:
            self.start_display()
        except BaseException:
            self.end()
            raise

    def start(self, *arguments, **options):
        log = open(self.root / (Path(arguments[0]).name + ".log"), "ab")
        process = subprocess.Popen(arguments, stdin=subprocess.DEVNULL, **{"stdout": log, "stderr": log, **options})
        self.processes.append(process)
        return process

    def start_display(self):
        width, height = self.size
        display = self.start("Xvfb", "-displayfd", "1", "-screen", "0", f"{width}x{height}x24", "-nolisten", "tcp",
                             stdout=subprocess.PIPE)
        os.environ["DISPLAY"] = ":" + display.stdout.readline().decode().strip()
        bus = self.start("dbus-daemon", "--session", "--nofork", "--print-address=1", stdout=subprocess.PIPE)
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().decode().strip()
        self.start("openbox", "--sm-disable")
        # Without a compositor, menus have a black frame.
        if shutil.which("picom"):
            self.start("picom", "--backend", "xrender")
        # Only now: it connects to the display and the bus that are named when it is loaded.
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi
        self.atspi = Atspi
        Atspi.init()

    def end(self):
        for ending in self.endings:
            ending()
        for process in reversed(self.processes):
            process.terminate()
        for process in self.processes:
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        for line in open("/proc/self/mounts", encoding="utf-8"):
            place = line.split()[1]
            if place.startswith(str(self.root)):
                subprocess.run(["umount", "-l", place], check=False)
        shutil.rmtree(self.root, ignore_errors=True)

    def report(self, name):
        """What the programs have said, and how the screen looks, for a case that has failed."""
        for log in sorted(self.root.glob("*.log")):
            lines = log.read_text(encoding="utf-8", errors="replace").splitlines()[-15:]
            print(f"  {log.name}:", *lines, sep="\n    ", file=sys.stderr)
        self.picture(f"{name}.png")
        print(f"  the screen: {name}.png", file=sys.stderr)

    def screen(self):
        """What is to be seen, to be compared."""
        subprocess.run(["import", "-window", "root", "-silent", f"png:{self.root}/screen.png"], check=True)
        return subprocess.run(["convert", f"{self.root}/screen.png", "rgb:-"], capture_output=True, check=True).stdout

    def pixels_of(self, colour):
        """How many pixels of the screen have nearly this colour (three numbers)."""
        screen = self.screen()
        near = [bytes(range(max(0, part - 6), min(255, part + 6) + 1)) for part in colour]
        return sum(screen[at] in near[0] and screen[at + 1] in near[1] and screen[at + 2] in near[2]
                   for at in range(0, len(screen), 3))

    def settled_screen(self):
        previous = None
        for _ in range(50):
            current = self.screen()
            if current == previous:
                break
            previous = current
            time.sleep(0.2)
        return current

    def picture(self, path):
        """The screen, once two pictures of it agree."""
        self.settled_screen()
        subprocess.run(["convert", f"{self.root}/screen.png", "-strip", "-colors", "128", f"PNG8:{path}"], check=True)


class Browser:
    """One window of a file browser on a folder."""

    MENU_KEY = "shift+F10"
    SECOND_ITEM = ("Home", "Right")  # the keys that select it when none is selected
    COMMANDS = {"nautilus": ["nautilus", "--new-window"], "nemo": ["nemo", "--no-desktop"],
                "caja": ["caja", "--no-desktop"], "thunar": ["thunar"], "dolphin": ["dolphin"]}

    DETAILS_KEYS = {"nautilus": "ctrl+1", "nemo": "ctrl+2", "caja": "ctrl+2", "dolphin": "ctrl+3",
                    "thunar": "ctrl+2"}

    def __init__(self, session, name, folder):
        self.session, self.name, self.folder = session, name, Path(folder)
        self.items, self.menus_read = (), 0
        self.process = session.start(*self.COMMANDS[name], str(folder))
        width, height = session.size
        self.window = eventually("the window", self.find_window)
        self.xdotool("windowmove", self.window, "0", "0", "windowsize", self.window, str(width), str(height),
                     "windowactivate", "--sync", self.window, "mousemove", str(width - 5), str(height // 2))

    def find_window(self):
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", f"^{self.folder.name}"],
                               capture_output=True, text=True, check=False)
        return (found.stdout.split() or [None])[-1]

    @staticmethod
    def xdotool(*arguments):
        subprocess.run(["xdotool", *arguments], check=True)

    def key(self, *keys):
        self.xdotool("key", *keys)

    def nodes(self):
        """All of the browser's accessible tree, as it is now."""
        desktop = self.session.atspi.get_desktop(0)
        desktop.clear_cache()
        for index in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(index)
            if application and self.name in (application.get_name() or "").lower():
                yield from self.walk(application)

    def walk(self, node, depth=0):
        yield node
        if depth > 40:
            return
        for index in range(min(node.get_child_count(), 300)):
            child = node.get_child_at_index(index)
            if child:
                yield from self.walk(child, depth + 1)

    def find(self, condition):
        """The first node that it holds for."""
        return self.read(lambda: next((node for node in self.nodes() if condition(node)), None))

    @staticmethod
    def read(function):
        """What the function makes of the tree; None when the tree has changed meanwhile."""
        from gi.repository import GLib
        try:
            return function()
        except GLib.Error:
            return None

    def open_menu(self, *selecting):
        """The menu of what these keys select, or of the folder. Items are few, so that there is room below them."""
        width, height = self.session.size
        self.xdotool("mousemove", str(int(width * 0.85)), str(int(height * 0.85)), "click", "1")
        self.key(*selecting, self.MENU_KEY)
        self.wait_for_menu()

    def wait_for_menu(self):
        eventually("the menu", lambda: self.find(self.is_properties_entry))

    def is_properties_entry(self, node):
        # A menu that GTK 4 shows does not say so; it is not there before.
        return (node.get_role_name() == "menu item" and node.get_name().rstrip(".") == "Properties"
                and (self.name == "nautilus" or self.is_showing(node)))

    def activate(self, node):
        self.session.atspi.Action.do_action(node, 0)

    def is_showing(self, node):
        return node.get_state_set().contains(self.session.atspi.StateType.SHOWING)

    def open_submenu(self):
        self.activate(eventually("our entry", lambda: self.find(
            lambda node: node.get_role_name() in ("menu", "menu item") and node.get_name() == "Zelto"
            and (self.name == "nautilus" or self.is_showing(node)))))

    def close_menu(self):
        self.key("Escape")

    def menu(self):
        """What holds our entries; nothing where there are none."""
        if self.name != "nautilus":
            return self.find(lambda node: node.get_role_name() == "menu" and node.get_name() == "Zelto"
                             and self.is_showing(node))
        # The entry that leads to the submenu comes first, then the submenu's own title.
        found = [node for node in self.nodes() if node.get_role_name() == "menu item" and node.get_name() == "Zelto"]
        return found[1].get_parent() if len(found) > 1 else None

    def entry_nodes(self):
        visible = self.session.atspi.StateType.VISIBLE
        menu = self.menu()
        return [node for node in (self.walk(menu) if menu else []) if node.get_role_name() == "menu item"
                and node.get_name() not in ("", "Zelto") and node.get_state_set().contains(visible)]

    def entries(self):
        """The titles of our entries, in their order; None where there are none."""
        self.menus_read += 1
        return self.read(lambda: [node.get_name() for node in self.entry_nodes()]) or None

    def choose(self, title):
        (entry,) = [node for node in self.entry_nodes() if node.get_name() == title]
        self.activate(entry)

    def details(self):
        """Shows sizes and dates."""
        self.key(self.DETAILS_KEYS[self.name])

    def wait_until_gone(self, name):
        # Not known where the tree changes just then.
        eventually(f"no item {name}", lambda: self.read(
            lambda: all(node.get_name() != name for node in self.nodes())))

    def wait_for_item(self, name):
        return eventually(f"the item {name}", lambda: self.find(lambda node: node.get_name() == name))

    def close(self):
        if self.name != "dolphin":
            subprocess.run([self.name, "-q"], check=False, timeout=PATIENCE, stderr=subprocess.DEVNULL)
        self.process.terminate()
        self.process.wait(PATIENCE)


class Dolphin(Browser):
    """Its menus are in no tree; the entries say their names when the keyboard comes to them. Those of a second
    menu do not, since Qt gives them the numbers of the first one's, which are known to be gone."""

    MENU_KEY = "Menu"

    def __init__(self, session, name, folder):
        super().__init__(session, name, folder)
        self.focused, self.current = [], None
        self.listener = session.atspi.EventListener.new(self.notice)
        self.listener.register("object:state-changed:focused")

    def notice(self, event):
        # The browser that it comes from may be closed meanwhile.
        name = self.read(lambda: event.source.get_role_name() == "menu item" and event.source.get_name())
        if event.detail1 and name:
            self.focused.append(name)

    def press(self, key):
        """The entry that the key leads to; nothing when it does not tell."""
        from gi.repository import GLib

        def named():
            while GLib.MainContext.default().iteration(False):
                pass
            return self.focused
        self.focused.clear()
        self.key(key)
        try:
            self.current = eventually("an entry of the menu", named, 3)[-1]
        except Missing:
            return None
        return self.current

    def windows(self):
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "dolphin"], capture_output=True,
                               text=True, check=False)
        return len(found.stdout.split())

    def wait_for_menu(self):
        eventually("the menu", lambda: self.windows() > 1)

    def close_menu(self):
        while self.windows() > 1:
            self.key("Escape")
            time.sleep(0.1)

    def around(self, key):
        """All entries once, from the one that the key leads to."""
        entries = [self.press(key)]
        while (entry := self.press(key)) != entries[0]:
            entries.append(entry)
        return entries

    def to(self, entry):
        eventually(f"the entry {entry}", lambda: self.press("Up") == entry)

    def open_submenu(self):
        self.to("Zelto")
        self.press("Right")

    def entries(self):
        self.menus_read += 1
        if "Zelto" not in self.around("Up"):
            return None
        self.to("Zelto")
        # The first entry has the focus then, which the last key leads back to.
        first = self.press("Right")
        # With a single entry the key leads nowhere.
        if self.press("Down") in (first, None):
            return [first]
        entries = self.around("Down")
        start = entries.index(first)
        return entries[start:] + entries[:start]

    def choose(self, title):
        if self.current != title:
            self.to(title)
        self.key("Return")


class Thunar(Browser):
    """Its icons are in no tree, but the rows of its list are. It warns whoever is root, which takes room."""

    SECOND_ITEM = ("Down", "Down")
    SETTINGS = """<channel name="thunar" version="1.0">
      <property name="default-view" type="string" value="ThunarDetailsView"/>
      <property name="last-location-bar" type="string" value="ThunarLocationButtons"/>
      <property name="last-details-view-zoom-level" type="string" value="THUNAR_ZOOM_LEVEL_75_PERCENT"/>
    </channel>"""
    STYLE = """infobar, infobar * { font-size: 0; min-height: 0; padding: 0; border-width: 0; margin: 0; }
      infobar box { margin: -9px 0; }"""

    def __init__(self, session, name, folder):
        for place, text in (("xfce4/xfconf/xfce-perchannel-xml/thunar.xml", self.SETTINGS),
                            ("gtk-3.0/gtk.css", self.STYLE)):
            path = session.root / "home/.config" / place
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        super().__init__(session, name, folder)


def open_browser(session, name, folder):
    return {"dolphin": Dolphin, "thunar": Thunar}.get(name, Browser)(session, name, folder)


class RealManager:
    """Extension and host as "zelto up" starts them, serving a folder of shares with one share, "Shown"."""

    def __init__(self, session, build):
        self.server, self.shown = session.root / "Server", session.root / "home/Zelto"
        (self.server / "Shown").mkdir(parents=True)
        self.zelto = str(Path(build) / "bin/zelto")
        session.endings.append(lambda: subprocess.run([self.zelto, "down"], stdout=subprocess.DEVNULL, check=False))

    def up(self, *options):
        """Starts it with what the server has then."""
        subprocess.run([self.zelto, "up", str(self.server), "--mount", str(self.shown), *options], check=True,
                       stdout=subprocess.DEVNULL)

    @staticmethod
    def call(role, interface, method, arguments=None):
        """A call to the extension ("FileProvider") or the host ("Host"); its answer, if there is one."""
        from gi.repository import Gio
        name = "it.pellam.Zelto." + role
        answer = Gio.bus_get_sync(Gio.BusType.SESSION).call_sync(
            name + ".default", "/" + name.replace(".", "/") + "/default", interface, method, arguments, None,
            Gio.DBusCallFlags.NONE, -1).unpack()
        return json.loads(answer[0]) if answer else None

    def status(self):
        return self.call("FileProvider", "it.pellam.Zelto.FileProvider1", "Status")

    def perform(self, action, *paths):
        from gi.repository import GLib
        paths = [str(path).encode() for path in paths]
        self.call("FileProvider", "it.pellam.Zelto.FileProvider1", "Perform",
                  GLib.Variant("(saay)", ("it.pellam.Zelto.Provider." + action, paths)))

    def badges(self, path):
        from gi.repository import GLib
        (state,) = self.call("FileProvider", "it.pellam.Zelto.FileProvider1", "ItemStates",
                             GLib.Variant("(aay)", ([str(path).encode()],)))
        return state["decorations"]

    def host_status(self):
        return self.call("Host", "it.pellam.Zelto.Host1", "Status")

    def host_calls(self, operation):
        """How often the host was asked for that."""
        return self.host_status()["calls"].get(operation, 0)

    def end_host(self):
        self.call("Host", "it.pellam.Zelto.Host1", "Shutdown")


class FakeManager:
    """fake_manager, serving an empty folder."""

    def __init__(self, session):
        self.shown = session.root / "Served"
        self.shown.mkdir()
        self.log = session.root / "calls"
        self.log.touch()
        self.session = session
        self.begin()

    def begin(self):
        before = len(self.calls("Ready"))
        self.process = self.session.start(str(HERE / "fake_manager"), str(self.shown), str(self.log))
        eventually("the manager", lambda: len(self.calls("Ready")) > before)

    def end(self):
        self.process.terminate()
        self.process.wait(PATIENCE)

    def calls(self, method):
        """What it was called with so far."""
        lines = [json.loads(line) for line in self.log.read_text(encoding="utf-8").splitlines()]
        return [line[1:] for line in lines if line[0] == method]
