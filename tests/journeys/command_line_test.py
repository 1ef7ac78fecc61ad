"""Drives corvix-cli as a person does: makes an office, converts it, asks, interrupts, and gives it bad input.

Usage: command_line_test.py PATH-OF-CORVIX-CLI
"""
import fcntl
import json
import os
import pty
import resource
import signal
import struct
import subprocess
import sys
import termios
import time
import unittest

sys.path.append(os.path.join(os.path.dirname(__file__), '..', 'support'))
from office_case import CLI, OfficeCase, read_file, run, write_file  # noqa: E402


class Journey(OfficeCase):
    def convert(self, *options, text_in=''):
        done = run('convert', *self.directories, '--json', *options, text_in=text_in)
        return done, json.loads(done.stdout) if done.stdout else None

    def test_a_first_conversion_and_a_second(self):
        self.office(2000, 0)
        central = self.dump(self.source, 'CENTRAL')
        self.assertEqual(len(central), 2000)
        done, result = self.convert('--yes')
        self.assertEqual((done.returncode, result['added'], result['kept']), (0, 2000, 0))
        self.assertEqual(result['messages'], ['Conversion complete. (2000 records)'])
        self.assertEqual(result['status'], 'Conversion complete. (2000 records)')
        rows = self.dump(table='comps')
        self.assertEqual({row['CENTRALKEY'].rstrip() for row in rows}, {row['CENTRALKEY'] for row in central})
        done, result = self.convert('--yes', '--duplicates', 'target')
        self.assertEqual((result['added'], result['overwritten'], result['kept']), (0, 0, 2000))
        self.assertEqual(self.dump(table='comps'), rows)
        self.assert_sound()

    def test_ten_thousand_records_stay_within_100_mib(self):
        if 'asan' in CLI:
            self.skipTest('the sanitizer takes memory of its own')
        self.office(10000, 50)
        done, result = self.convert('--yes')
        self.assertEqual((done.returncode, result['records']), (0, 10000))
        self.assertLess(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, 100 * 1024)

    def test_the_backup_question(self):
        self.office(5, 0)
        done, result = self.convert(text_in='n\n')
        self.assertEqual((done.returncode, result['records']), (3, 0))
        self.assertIn('You should have a good backup', done.stderr)
        self.assertNotIn('--yes', done.stderr)
        done, result = self.convert(text_in='maybe\n')
        self.assertEqual((done.returncode, result['records']), (3, 0))
        self.assertIn("'maybe' is none of the answers", done.stderr)
        self.assertIn('Add --yes where there is a good backup', done.stderr)
        done, result = self.convert(text_in='y\n')
        self.assertEqual((done.returncode, result['added']), (0, 5))

    def test_ask_answers_and_the_end_of_input_stops(self):
        self.office(200, 100)
        done, result = self.convert('--yes', '--duplicates', 'ask', text_in='y\nn\nx\ny\na\nn\ny\n')
        self.assertEqual((done.returncode, result['overwritten']), (3, 3), done.stderr)
        self.assertEqual(result['messages'], ['Conversion Stopped'])
        self.assertIn("' was found.  Overwrite?", done.stderr)
        done, result = self.convert('--yes', '--duplicates', 'ask', text_in='a\ny\n')
        self.assertEqual((done.returncode, result['kept']), (0, 200 - result['overwritten']))
        self.assertGreater(result['overwritten'], 100)
        self.assert_sound()

    def test_an_interrupt_at_the_prompt_goes_on_with_it(self):
        self.office(20, 100)
        process = subprocess.Popen([CLI, 'convert', *self.directories, '--yes', '--json', '--duplicates', 'ask'],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        seen = b''
        for text, act in ((b'Overwrite?', lambda: process.send_signal(signal.SIGINT)), (b'Halted.', lambda: None)):
            while text not in seen:
                seen += os.read(process.stderr.fileno(), 4096)
            act()
        out, err = process.communicate(b'c\nno\nsure\nYES\nall\ny\n', timeout=60)
        result = json.loads(out)
        self.assertEqual((process.returncode, result['kept'] + result['overwritten']), (0, 20))
        self.assertGreater(result['overwritten'], 1)
        self.assertIn(b"'sure' is none of the answers", err)
        process = subprocess.Popen([CLI, 'convert', *self.directories, '--yes', '--duplicates', 'ask'],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        for text in b'Overwrite?', b'Halted.':
            seen = b''
            while text not in seen:
                seen += os.read(process.stderr.fileno(), 4096)
            process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=60), 3)  # though the input is still open
        process.communicate()

    def test_a_progress_line_follows_the_width_of_the_terminal(self):
        self.office(40000, 0)
        ours, theirs = pty.openpty()
        size = lambda columns: fcntl.ioctl(ours, termios.TIOCSWINSZ, struct.pack('HHHH', 24, columns, 0, 0))
        size(80)
        process = subprocess.Popen([CLI, 'convert', *self.directories, '--yes'], stdout=subprocess.DEVNULL, stderr=theirs)
        os.close(theirs)
        seen, narrowed_at = b'', None
        try:
            while piece := os.read(ours, 4096):
                seen += piece
                if narrowed_at is None and b'left' in seen:
                    size(40)
                    narrowed_at = len(seen)
        except OSError:  # the end of a terminal
            pass
        self.assertEqual(process.wait(timeout=60), 0)
        drawn = [len(line) for line in seen.decode()[:narrowed_at].replace('\x1b[K', '').split('\r')]
        self.assertLess(max(drawn), 80)
        self.assertGreater(max(drawn), 40)
        drawn = [len(line) for line in seen.decode()[narrowed_at:].split('Conversion')[0].replace('\x1b[K', '').split('\r')]
        self.assertLess(max(drawn[2:]), 40)  # the first one may have been on its way

    def test_closed_descriptors_receive_no_file(self):
        self.office(5, 0)
        report = self.path('r.txt')
        done = subprocess.run(['bash', '-c', f'{CLI} convert {" ".join(self.directories)} --yes --report {report} 0<&- 1>&- 2>&-'])
        self.assertEqual(done.returncode, 1)  # the summary was not told
        self.assertEqual(read_file(report).decode().splitlines()[0], 'Report of a conversion')
        self.assertNotIn('corvix-cli:', read_file(report).decode())
        self.assertEqual(len(self.dump()), 5)
        self.assert_sound()

    def test_an_interrupt_asks_and_stops_after_the_record(self):
        self.office(60000, 0)
        process = subprocess.Popen([CLI, 'convert', *self.directories, '--yes', '--json'], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   text=True)
        time.sleep(0.3)
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(input='s\n', timeout=120)
        result = json.loads(out)
        self.assertEqual(process.returncode, 3, err)
        self.assertIn('Conversion Temporarily Halted', err)
        self.assertEqual(result['status'], 'Conversion Cancelled')
        self.assertEqual(result['messages'], ['Conversion complete. (%d records)' % result['records']])
        self.assertLess(result['records'], 60000)
        self.assertEqual(result['added'], result['records'])
        self.assert_sound()

    def test_bad_input_is_told_and_changes_nothing(self):
        self.office(20, 0)
        good = read_file(self.database)

        def attempt(expected_number, *expected_texts):
            done, result = self.convert('--yes')
            self.assertEqual(done.returncode, 1, done.stderr)
            self.assertEqual(result.get('error', {}).get('number'), expected_number, done.stderr)
            for text in expected_texts:
                self.assertIn(text, done.stderr)

        os.chmod(self.database, 0o444)
        attempt(3051, 'read-only')
        os.chmod(self.database, 0o644)
        os.rename(os.path.join(self.source, 'CENTRAL.CDX'), self.path('away'))
        done, result = self.convert('--yes')
        self.assertIn('the index file CENTRAL.CDX is missing', done.stderr)
        self.assertEqual((done.returncode, result['added'], len(result['rebuilt_indexes'])), (0, 20, 1))
        os.rename(self.path('away'), os.path.join(self.source, 'CENTRAL.CDX'))
        write_file(self.database, b'no database at all' * 1000)
        attempt(3343)
        write_file(self.database, good[:5 * 4096])
        attempt(3049, 'FOLVANE.MDB')
        os.remove(self.database)
        attempt(None, 'File not found.  Correct and try again', 'FOLVANE.MDB')
        write_file(self.database, good)
        os.remove(os.path.join(self.source, 'PHOTO.DBF'))
        attempt(None, 'PHOTO.DBF was not found.  Please correct and try again.')


if __name__ == '__main__':
    unittest.main()
