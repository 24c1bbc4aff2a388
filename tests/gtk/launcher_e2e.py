#!/usr/bin/env python3
"""End-to-end tests of the Linux launcher (orvlauncher) under Xvfb, against nginx and channels
published by orvpack.

    launcher_e2e.py --orvlauncher P --orvpack P --work DIR [--xml FILE] [Class[.test] ...]

Every test keeps its files (logs, screenshots) in DIR/<test>/ for a look afterwards.
"""
import argparse
import os
import shutil
import subprocess
import sys
import time
import traceback
import unittest

from e2e_support import (HERE, Display, Launcher, Server, differing_pixels, make_build, publish, same_tree,
                         screenshot, wait_for, window_geometry, write_gtest_xml, xdotool)

ARGS = None


class LauncherTest(unittest.TestCase):
    """Each test gets a display, a work folder and (through channel()) a server."""

    def setUp(self):
        self.work = os.path.join(ARGS.work, self.id().split(".", 1)[1])
        shutil.rmtree(self.work, ignore_errors=True)
        os.makedirs(self.work)
        self.display = Display()
        self.addCleanup(self.display.close)

    def serve(self, limit_rate=None):
        server = Server(os.path.join(self.work, "servidor"), limit_rate)
        self.addCleanup(server.close)
        return server

    def launcher(self, channels, ui_folder=None):
        launcher = Launcher(self.work, ARGS.orvlauncher, self.display, channels, ui_folder)

        def stop():
            if launcher.process and launcher.process.poll() is None:
                launcher.process.kill()
                launcher.process.wait()
        self.addCleanup(stop)
        return launcher

    def builds(self, *versions):
        folders = {}
        for version in versions:
            folders[version] = os.path.join(ARGS.work, "builds", "v%d" % version)
            if not os.path.isdir(folders[version]):
                make_build(version, folders[version])
        return folders


class AutoMode(LauncherTest):
    def test_updates_version_1_to_2_and_closes_by_itself(self):
        builds = self.builds(1, 2)
        server = self.serve()
        channel = os.path.join(server.www, "oficial")
        launcher = self.launcher([{"id": "oficial", "nome": "Oficial",
                                   "manifesto": server.url + "/oficial/manifest.json"}])

        publish(ARGS.orvpack, builds[1], channel, 1)
        self.assertEqual(launcher.run("--auto", timeout=120), 0)
        self.assertEqual(same_tree(builds[1], launcher.game), "")

        publish(ARGS.orvpack, builds[2], channel, 2)
        with open(server.access_log) as f:
            requests_before = len(f.readlines())
        self.assertEqual(launcher.run("--auto", timeout=120), 0)
        self.assertEqual(same_tree(builds[2], launcher.game), "")

        lines = launcher.log_lines()
        self.assertTrue(lines[-1].endswith("] --auto: fim"), lines[-3:])
        self.assertEqual(sum(1 for line in lines if line.endswith("iniciado (--auto)")), 2)
        # The second run fetched what changed, the pack file by its blocks, not the whole build again.
        with open(server.access_log) as f:
            second_run = f.readlines()[requests_before:]
        self.assertTrue(any("\tbytes=" in line and "mundo.pak" in line for line in second_run), second_run)
        self.assertFalse(any("/Conteudo/Paks/mundo.pak\t" in line for line in second_run), second_run)


class PageBridge(LauncherTest):
    """A test page served from a ui folder beside the program drives the bridge and reports through
    "abrir", whose links the stand-in browser records."""

    def test_strings_only_https_links_no_windows_no_menus_no_zoom(self):
        launcher = self.launcher([{"id": "oficial", "nome": "Oficial",
                                   "manifesto": "http://127.0.0.1:9/oficial/manifest.json"}],
                                 ui_folder=os.path.join(HERE, "pagina_ponte"))
        launcher.start()
        window = launcher.main_window()
        done = wait_for(lambda: "https://resultado.invalid/fim" in launcher.opened(), 30)
        self.assertTrue(done, launcher.opened())
        time.sleep(0.5)  # links handed to the browser just before the last one
        self.assertEqual(sorted(launcher.opened()), sorted([
            # "inicio" arrived as a parsed object, with the one channel of launcher.json
            "https://resultado.invalid/inicio?tipo=object&canais=1",
            # window.open and a target=_blank link gave no window; the page stayed where it was
            "https://resultado.invalid/janelas?open=null,null&local=orvlauncher://app/index.html",
            "https://resultado.invalid/fim",
        ]))
        self.assertEqual(launcher.windows(), [window])

        # Right button, Ctrl+wheel and the developer-tools keys leave the window exactly as it was.
        before = screenshot(launcher.env, window, os.path.join(self.work, "antes.png"))
        xdotool(launcher.env, "mousemove", "--window", window, "550", "400", "click", "3")
        xdotool(launcher.env, "keydown", "ctrl", "click", "4", "click", "4", "click", "4", "keyup", "ctrl")
        xdotool(launcher.env, "key", "ctrl+shift+i", "F12", "ctrl+plus", "ctrl+equal")
        time.sleep(1.0)
        after = screenshot(launcher.env, window, os.path.join(self.work, "depois.png"))
        self.assertEqual(differing_pixels(before, after), 0)
        self.assertEqual(launcher.windows(), [window])

        # The page's own button sends "fechar": the launcher closes normally.
        xdotool(launcher.env, "mousemove", "--window", window, "100", "50", "click", "1")
        self.assertEqual(launcher.wait(20), 0)
        self.assertEqual(len(launcher.opened()), 3)


class Window(LauncherTest):
    def test_borderless_centred_titled_window_of_1100_by_640(self):
        launcher = self.launcher([{"id": "oficial", "nome": "Oficial",
                                   "manifesto": "http://127.0.0.1:9/oficial/manifest.json"}])
        launcher.start()
        window = launcher.main_window()
        x, y, width, height = window_geometry(launcher.env, window)
        self.assertEqual((width, height), (1100, 640))
        self.assertEqual((x, y), ((1280 - 1100) // 2, (800 - 640) // 2))
        self.assertEqual(launcher.windows(), [window])
        props = subprocess.run(["xprop", "-id", window, "_MOTIF_WM_HINTS", "_NET_WM_ICON", "WM_NORMAL_HINTS"],
                               env=launcher.env, stdout=subprocess.PIPE, text=True).stdout
        self.assertIn("_MOTIF_WM_HINTS(_MOTIF_WM_HINTS) = 0x2, 0x0, 0x0", props)  # no decorations
        self.assertIn("_NET_WM_ICON(CARDINAL) = ", props)
        self.assertIn("program specified minimum size: 1100 by 640", props)
        self.assertIn("program specified maximum size: 1100 by 640", props)  # not resizable


def main():
    global ARGS
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--orvlauncher", required=True)
    parser.add_argument("--orvpack", required=True)
    parser.add_argument("--work", required=True)
    parser.add_argument("--xml")
    parser.add_argument("names", nargs="*")
    ARGS = parser.parse_args()
    ARGS.work = os.path.abspath(ARGS.work)
    os.makedirs(ARGS.work, exist_ok=True)

    loader = unittest.TestLoader()
    module = sys.modules[__name__]
    suite = loader.loadTestsFromNames(ARGS.names, module) if ARGS.names else loader.loadTestsFromModule(module)
    names = [test.id() for test in _flatten(suite)]  # the runner empties the suite as it goes
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    if ARGS.xml:
        failed = {test.id(): text for test, text in result.failures + result.errors}
        write_gtest_xml(ARGS.xml, [(name.split(".", 1)[1], failed.get(name, "")) for name in names])
    return 0 if result.wasSuccessful() else 1


def _flatten(suite):
    for item in suite:
        if isinstance(item, unittest.TestSuite):
            yield from _flatten(item)
        else:
            yield item


if __name__ == "__main__":
    sys.exit(main())
