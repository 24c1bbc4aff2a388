"""What the launcher's end-to-end tests share: an Xvfb display, nginx serving a channel published by
orvpack, a launcher copied into a folder of its own with its launcher.json, a stand-in default
browser that records the links it is asked to open, X input with xdotool and screenshots."""
import json
import os
import select
import shutil
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
SERVERCTL = os.path.join(SOURCE, "tests", "fixtures", "serverctl.py")
MAKE_BUILD = os.path.join(SOURCE, "demo", "make_demo_build.py")


class Display:
    """An Xvfb server on a display number it picks itself (-displayfd), so parallel runs never clash."""

    def __init__(self, size="1280x800x24"):
        read_end, write_end = os.pipe()
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write_end), "-screen", "0", size, "-nolisten", "tcp"],
            pass_fds=(write_end,), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_end)
        text = b""
        deadline = time.time() + 20
        while not text.endswith(b"\n") and time.time() < deadline:
            ready, _, _ = select.select([read_end], [], [], 1)
            if ready:
                chunk = os.read(read_end, 16)
                if not chunk:
                    break
                text += chunk
        os.close(read_end)
        if not text.strip():
            self.process.kill()
            raise RuntimeError("Xvfb did not start")
        self.name = ":" + text.decode().strip()

    def close(self):
        self.process.terminate()
        self.process.wait(10)


class Server:
    """nginx on a free loopback port serving <state>/www, optionally slowed down."""

    def __init__(self, state, limit_rate=None):
        self.state = state
        args = [sys.executable, SERVERCTL, "start", "nginx", "--state", state]
        if limit_rate:
            args += ["--limit-rate", limit_rate]
        subprocess.run(args, check=True, stdout=subprocess.DEVNULL)
        with open(os.path.join(state, "nginx", "url")) as f:
            self.url = f.read().strip()
        self.www = os.path.join(state, "www")

    def close(self):
        subprocess.run([sys.executable, SERVERCTL, "stop", "nginx", "--state", self.state],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def make_build(version, folder):
    subprocess.run([sys.executable, MAKE_BUILD, str(version), folder], check=True, stdout=subprocess.DEVNULL)


def publish(orvpack, build, channel, version):
    subprocess.run([orvpack, "publicar", build, channel, "--versao", "%d.0.0" % version, "--servidor",
                    "1.%d" % (version - 1)], check=True, stdout=subprocess.DEVNULL)


def same_tree(expected, actual):
    """Differences between two folders, byte for byte, the launcher's cache left out (empty when none)."""
    done = subprocess.run(["diff", "-r", "--exclude=.orvlauncher", expected, actual],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.stdout if done.returncode else ""


class Launcher:
    """One launcher installation: the program and its launcher.json in app/, a home of its own (data
    folder, game folder), and a stand-in default browser that appends every link to opened.txt."""

    def __init__(self, work, program, display, channels, ui_folder=None):
        self.work = work
        self.app = os.path.join(work, "app")
        self.home = os.path.join(work, "home")
        os.makedirs(self.app, exist_ok=True)
        os.makedirs(self.home, exist_ok=True)
        self.program = os.path.join(self.app, "orvlauncher")
        shutil.copy2(program, self.program)
        with open(os.path.join(self.app, "launcher.json"), "w") as f:
            json.dump({"canais": channels, "discord": "https://discord.example/valdren",
                       "site": "https://valdren.example"}, f)
        if ui_folder:
            shutil.copytree(ui_folder, os.path.join(self.app, "ui"))
        self.data = os.path.join(self.home, "dados")
        self.opened_path = os.path.join(work, "opened.txt")
        self.game = os.path.join(self.home, "Games", "Valdren")
        self.env = dict(os.environ, HOME=self.home, XDG_DATA_HOME=self.data,
                        XDG_CONFIG_HOME=os.path.join(self.home, "config"), DISPLAY=display.name,
                        WEBKIT_DISABLE_DMABUF_RENDERER="1", NO_AT_BRIDGE="1", GDK_BACKEND="x11",
                        LSAN_OPTIONS="suppressions=%s:print_suppressions=0:fast_unwind_on_malloc=0" % os.path.join(HERE, "lsan.supp"))
        self.env.pop("WAYLAND_DISPLAY", None)
        self._install_browser()
        self.process = None

    def _install_browser(self):
        script = os.path.join(self.work, "navegador.sh")
        with open(script, "w") as f:
            f.write("#!/bin/sh\nprintf '%%s\\n' \"$1\" >> '%s'\n" % self.opened_path)
        os.chmod(script, 0o755)
        apps = os.path.join(self.data, "applications")
        os.makedirs(apps, exist_ok=True)
        with open(os.path.join(apps, "navegador-teste.desktop"), "w") as f:
            f.write("[Desktop Entry]\nType=Application\nName=Navegador de teste\nExec=%s %%u\n"
                    "MimeType=x-scheme-handler/http;x-scheme-handler/https;\n" % script)
        config = self.env["XDG_CONFIG_HOME"]
        os.makedirs(config, exist_ok=True)
        with open(os.path.join(config, "mimeapps.list"), "w") as f:
            f.write("[Default Applications]\nx-scheme-handler/http=navegador-teste.desktop\n"
                    "x-scheme-handler/https=navegador-teste.desktop\n")

    def start(self, *args):
        self.output = open(os.path.join(self.work, "saida.txt"), "ab")
        self.process = subprocess.Popen([self.program, *args], env=self.env, stdout=self.output,
                                        stderr=subprocess.STDOUT, cwd=self.work)
        return self.process

    def wait(self, timeout):
        try:
            return self.process.wait(timeout)
        finally:
            if self.process.poll() is None:
                self.process.kill()
                self.process.wait()
            self.output.close()

    def run(self, *args, timeout=120):
        self.start(*args)
        return self.wait(timeout)

    def opened(self):
        if not os.path.exists(self.opened_path):
            return []
        with open(self.opened_path) as f:
            return [line.strip() for line in f if line.strip()]

    def windows(self):
        """The launcher's visible X windows."""
        done = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid)], env=self.env,
                              stdout=subprocess.PIPE, text=True)
        return done.stdout.split()

    def main_window(self, timeout=60):
        deadline = time.time() + timeout
        while time.time() < deadline:
            for window in self.windows():
                if xdotool(self.env, "getwindowname", window).strip() == "Valdren":
                    return window
            if self.process.poll() is not None:
                break
            time.sleep(0.2)
        raise AssertionError("the launcher window did not appear")


def xdotool(env, *args):
    return subprocess.run(["xdotool", *args], env=env, check=True, stdout=subprocess.PIPE, text=True).stdout


def xprop(env, window, *names):
    return subprocess.run(["xprop", "-id", window, *names], env=env, stdout=subprocess.PIPE, text=True).stdout


def window_geometry(env, window):
    """(x, y, width, height) of a window."""
    values = {}
    for line in xdotool(env, "getwindowgeometry", "--shell", window).splitlines():
        key, _, value = line.partition("=")
        values[key] = int(value) if value.lstrip("-").isdigit() else value
    return values["X"], values["Y"], values["WIDTH"], values["HEIGHT"]


def screenshot(env, window, path):
    subprocess.run(["import", "-window", window, path], env=env, check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return path


def differing_pixels(first, second):
    done = subprocess.run(["compare", "-metric", "AE", first, second, "null:"], stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, text=True)
    return int(float(done.stderr.split()[0]))


def wait_for(predicate, timeout, step=0.1):
    deadline = time.time() + timeout
    while time.time() < deadline:
        value = predicate()
        if value:
            return value
        time.sleep(step)
    return predicate()


def write_gtest_xml(path, results):
    """The cases as a GoogleTest XML file, so the suite's summary counts each one."""
    from xml.sax.saxutils import quoteattr, escape
    failures = sum(1 for _, error in results if error)
    lines = ['<?xml version="1.0" encoding="UTF-8"?>',
             '<testsuites tests="%d" failures="%d">' % (len(results), failures),
             '<testsuite name="LauncherEndToEnd" tests="%d" failures="%d">' % (len(results), failures)]
    for name, error in results:
        if error:
            lines.append('<testcase name=%s status="run" result="completed"><failure message=%s>%s</failure>'
                         '</testcase>' % (quoteattr(name), quoteattr(error.splitlines()[-1]), escape(error)))
        else:
            lines.append('<testcase name=%s status="run" result="completed"/>' % quoteattr(name))
    lines += ["</testsuite>", "</testsuites>"]
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as f:
        f.write("\n".join(lines) + "\n")
