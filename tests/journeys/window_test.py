"""Drives the window as a person does, with keys alone, on a virtual screen: convert, interrupt, convert, quit.

Usage: window_test.py PATH-OF-CORVIX-CLI PATH-OF-CORVIX
"""
import os
import shutil
import signal
import subprocess
import sys
import time
import unittest

sys.path.append(os.path.join(os.path.dirname(__file__), '..', 'support'))
from office_case import OfficeCase, read_file, run, small_files, write_file  # noqa: E402

WINDOW = os.path.abspath(sys.argv.pop(1))
RECORDS = 10000
TITLE = 'Corvix - Version 7.1.14'
HALTED = 'Conversion Temporarily Halted'
PROMPT = 'Replace The Comparable Data.'


def hear_signals():
    for number in signal.SIGINT, signal.SIGHUP:  # who started the test may ignore them
        signal.signal(number, signal.SIG_DFL)


READING_TIME = 0.4  # seconds; keys that come before are not meant for the window


class Screen:
    """A virtual screen without a window manager, and a keyboard on it."""

    def __init__(self):
        read_end, write_end = os.pipe()
        # Without resets: a program that starts while the server gets ready again would be refused.
        self.server = subprocess.Popen(['Xvfb', '-displayfd', str(write_end), '-screen', '0', '1280x1024x24',
                                        '-noreset'], pass_fds=[write_end], stderr=subprocess.DEVNULL)
        os.close(write_end)
        with os.fdopen(read_end) as number:
            # What the desktop's libraries still hold at the end is not the program's.
            self.environment = dict(os.environ, DISPLAY=':' + number.readline().strip(), QT_QPA_PLATFORM='xcb',
                                    ASAN_OPTIONS='detect_leaks=0')

    def close(self):
        self.server.terminate()
        self.server.wait()

    def _xdotool(self, *arguments):
        return subprocess.run(['xdotool', *arguments], env=self.environment, capture_output=True, text=True).stdout

    def windows(self, title):
        return set(self._xdotool('search', '--onlyvisible', '--name', '^' + title + '$').split())

    def wait_for(self, title, besides=frozenset(), seconds=60):
        """The window of that title that is none of `besides`, once it takes answers."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            found = self.windows(title) - set(besides)
            if found:
                time.sleep(READING_TIME)
                return found.pop()
            time.sleep(0.05)
        raise AssertionError('no window ' + title)

    def press(self, window, *keys, seconds=0):
        self._xdotool('windowfocus', '--sync', window)
        for key in keys:
            self._xdotool('keydown', key, 'sleep', str(seconds), 'keyup', key)


@unittest.skipUnless(shutil.which('Xvfb') and shutil.which('xdotool'), 'needs Xvfb and xdotool')
class WindowJourney(OfficeCase):
    def setUp(self):
        super().setUp()
        self.screen = Screen()
        self.addCleanup(self.screen.close)
        self.office(RECORDS)
        self.screen.environment['XDG_CONFIG_HOME'] = self.path('settings')
        os.makedirs(self.path('settings/corvix'))
        for name, directory in ('MARVEK.INI', self.source), ('ZELTA.INI', self.target):
            setting = '[DIRECTORIES]\nDATADIR=' + directory.replace('/', '\\') + '\n'
            write_file(self.path('settings/corvix/' + name), setting.encode())
        self.own_settings = self.path('settings/corvix/CORVIX.INI')

    def start(self):
        program = subprocess.Popen([WINDOW], env=self.screen.environment, preexec_fn=hear_signals)
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        return program, self.screen.wait_for(TITLE)

    def test_convert_interrupt_convert_quit(self):
        rows_before = len(self.dump())
        program, main = self.start()
        self.screen.press(main, *['Tab'] * 5, 'Up', 'Up')  # the option that uses the source

        self.screen.press(main, 'alt+c')
        question = self.screen.wait_for('Corvix')
        self.screen.press(question, 'Return')
        self.screen.press(main, 'Escape')
        self.screen.press(self.screen.wait_for(HALTED), 'alt+s')
        self.screen.press(self.screen.wait_for('Corvix', besides=[question]), 'Return')
        self.screen.press(main, 'alt+c')
        question = self.screen.wait_for('Corvix')
        self.screen.press(question, 'Return')
        self.screen.press(self.screen.wait_for('Corvix', besides=[question]), 'Return')

        self.assertFalse(os.path.exists(self.own_settings))
        self.screen.press(main, 'alt+q')
        self.screen.press(self.screen.wait_for(TITLE, besides=[main]), 'y')
        self.assertEqual(program.wait(timeout=30), 0)
        saved = read_file(self.own_settings).decode().split()
        for line in 'DATAFILE=COMPS.DBF', 'DUPLICATE0=1', 'DUPLICATE1=0', 'DUPLICATE2=0', 'CONVERTPHOTOS=1':
            self.assertIn(line, saved)

        self.assertLess(rows_before, RECORDS)
        self.assertEqual(len(self.dump()), RECORDS)
        self.assert_sound()

    def test_a_key_held_down_answers_one_prompt(self):
        def rows():  # but for photos, which are carried whatever the answer
            return [{name: value for name, value in row.items() if name not in ('PHOTOS', 'FRONT')}
                    for row in self.dump()]
        before = rows()
        program, main = self.start()
        self.screen.press(main, 'alt+c')
        question = self.screen.wait_for('Corvix')
        self.screen.press(question, 'Return')
        self.screen.press(self.screen.wait_for(PROMPT), 'Return', seconds=3)
        self.screen.press(self.screen.wait_for(PROMPT), 'alt+s')
        self.screen.press(self.screen.wait_for('Corvix', besides=[question]), 'Return')
        after = rows()
        self.assertEqual(sum(row not in after for row in before), 1)
        program.terminate()
        self.assertEqual(program.wait(timeout=30), 0)

    def test_ends_from_outside_at_any_time(self):
        def idle(main):
            return 0

        def running(main):
            self.screen.press(main, *['Tab'] * 5, 'Up', 'Up', 'alt+c')
            self.screen.press(self.screen.wait_for('Corvix'), 'Return')
            time.sleep(0.1)
            return 3

        def asking(main):
            self.screen.press(main, 'alt+c')
            question = self.screen.wait_for('Corvix')
            self.screen.press(question, 'Return')
            self.screen.press(self.screen.wait_for(PROMPT), 'Tab', 'Tab', 'Tab', 'space')
            self.screen.wait_for('Corvix', besides=[question])  # a box over the prompt
            return 3

        for number, prepare in (signal.SIGTERM, idle), (signal.SIGINT, asking), (signal.SIGHUP, running):
            with self.subTest(number=number):
                program, main = self.start()
                code = prepare(main)
                program.send_signal(number)
                self.assertEqual(program.wait(timeout=30), code)
                self.assertTrue(os.path.exists(self.own_settings))
                os.remove(self.own_settings)  # the next start asks at each duplicate again
                self.assertEqual(os.listdir(self.target), ['FOLVANE.MDB'])
                self.assert_sound()

    def test_a_recovery_is_told_before_the_start(self):
        limit = small_files(os.path.getsize(self.database) + 100000)
        run('convert', *self.directories, '--yes', text_in='a\na\n', **limit)
        program = subprocess.Popen([WINDOW], env=self.screen.environment)
        self.screen.press(self.screen.wait_for('Corvix'), 'Return')
        self.screen.wait_for(TITLE)
        program.terminate()
        self.assertEqual(program.wait(timeout=30), 0)
        self.assert_sound()

    def test_texts_need_no_screen(self):
        environment = dict(self.screen.environment, DISPLAY='')
        for option, text in ('--version', 'corvix 7.1.14'), ('--help', '--source <DIR>'):
            program = subprocess.run([WINDOW, option], env=environment, capture_output=True, text=True)
            self.assertIn(text, program.stdout)
            self.assertEqual(program.returncode, 0)

    def test_a_missing_source_ends_the_start_with_a_message(self):
        os.remove(os.path.join(self.source, 'PHOTO.DBF'))
        program = subprocess.Popen([WINDOW], env=self.screen.environment)
        self.screen.press(self.screen.wait_for('Corvix'), 'Return')
        self.assertEqual(program.wait(timeout=30), 1)
        self.assertFalse(os.path.exists(self.own_settings))


if __name__ == '__main__':
    unittest.main()
