"""Several programs at one database, devices that fail, ends from outside: nobody waits, nothing is lost or left.

Usage: sharing_test.py PATH-OF-CORVIX-CLI
"""
import json
import os
import resource
import shutil
import signal
import subprocess
import sys
import time
import unittest

sys.path.append(os.path.join(os.path.dirname(__file__), '..', 'support'))
from office_case import CLI, OfficeCase, read_file, run, small_files, write_file  # noqa: E402

RECORDS = 20000
BUSY = 'is in use by user Admin on computer '


class Sharing(OfficeCase):
    def start(self, *options, **keywords):
        """A conversion that has the database open."""
        process = subprocess.Popen([CLI, 'convert', *self.directories, '--yes', '--json', *options],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **keywords)
        self.addCleanup(process.kill)
        while not os.path.exists(self.path('new/FOLVANE.ldb')) and process.poll() is None:
            time.sleep(0.001)
        return process

    def finish(self, process, answers=''):
        out, err = process.communicate(answers.encode(), timeout=120)
        return process.returncode, json.loads(out), err.decode()

    def wait_for_text(self, process, text):
        seen = b''
        while text.encode() not in seen:
            piece = os.read(process.stderr.fileno(), 4096)
            self.assertTrue(piece, seen)
            seen += piece
        return seen.decode()

    def limited(self, size):
        """Starts a conversion that cannot write files beyond this size."""
        return self.start('--duplicates', 'source', **small_files(size))

    def assert_left_alone(self):
        self.assertEqual(os.listdir(self.target), ['FOLVANE.MDB'])
        self.assert_sound()

    def test_while_one_writes_the_others_are_told_who(self):
        self.office()
        writer = self.start('--duplicates', 'ask')
        self.wait_for_text(writer, 'Overwrite?')
        copy = self.path('copy.mdb')
        write_file(copy, read_file(self.database))
        for command in (['convert', *self.directories, '--yes'], ['convert', *self.directories, '--yes', '--backup'],
                        ['preview', *self.directories], ['dump', self.database, 'COMPS'], ['check', self.target],
                        ['inspect', self.target], ['restore', copy, '--target', self.target]):
            done = run(*command)
            self.assertEqual(done.returncode, 1, command)
            self.assertIn(BUSY, done.stderr, command)
            self.assertIn('3051', done.stderr, command)
        self.assertEqual(self.finish(writer, 'a\ny\n')[0], 0)
        self.assert_left_alone()

    def test_readers_share_and_keep_writers_out(self):
        self.office(RECORDS)
        reader = subprocess.Popen([CLI, 'dump', self.database, 'COMPS'], stdout=subprocess.PIPE)
        first = reader.stdout.readline()  # more is to come than a pipe holds
        done = run('convert', *self.directories, '--yes')
        self.assertIn('3051', done.stderr)
        rows = self.dump()
        with reader.stdout:
            self.assertEqual(len(rows), len((first + reader.stdout.read()).splitlines()))
        self.assertEqual(reader.wait(), 0)
        self.assert_left_alone()

    def test_all_at_once(self):
        self.office(2000)
        convert = ['convert', *self.directories, '--yes', '--duplicates', 'source']
        for _ in range(4):
            programs = [subprocess.Popen([CLI, *command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
                        for command in (convert, convert, ['dump', self.database, 'COMPS'], ['check', self.database])]
            for program in programs:
                out, err = program.communicate(timeout=120)
                if program.returncode != 0:
                    self.assertEqual(program.returncode, 1, err)
                    self.assertIn('3051', err)
                    self.assertNotIn('problem:', out)
        self.succeed(*convert)
        self.assertEqual(len(self.dump()), 2000)
        self.assert_left_alone()

    def test_ends_from_outside(self):
        self.office(RECORDS)
        signal.signal(signal.SIGHUP, signal.SIG_DFL)
        for number in (signal.SIGTERM, signal.SIGHUP):
            process = self.start('--duplicates', 'target', '--no-photos')
            time.sleep(0.02)
            process.send_signal(number)
            code, result, err = self.finish(process)
            self.assertEqual((code, result['status']), (3, 'Conversion Cancelled'), err)
            self.assertLess(result['records'], RECORDS)
            self.assert_left_alone()
        waiting = self.start('--duplicates', 'ask')
        self.wait_for_text(waiting, 'Overwrite?')
        waiting.send_signal(signal.SIGTERM)
        self.assertEqual(waiting.wait(timeout=30), 3)
        self.assert_left_alone()

    def test_an_end_from_outside_ends_the_list_of_offices(self):
        self.office(RECORDS)
        jobs = self.path('jobs.txt')
        write_file(jobs, b'old new\n' * 3)
        process = subprocess.Popen([CLI, 'convert', '--jobs', jobs, '--yes', '--duplicates', 'source'],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.wait_for_text(process, 'Office of line 1 ')
        process.send_signal(signal.SIGTERM)
        out, err = process.communicate(timeout=120)
        self.assertEqual(process.returncode, 3, err)
        self.assertIn(b'stopped at line 1, 2 not begun', out)
        self.assert_left_alone()

    def test_a_hang_up_that_is_ignored_stays_ignored(self):
        self.office(2000)
        process = self.start('--duplicates', 'target',
                             preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        process.send_signal(signal.SIGHUP)
        self.assertEqual(self.finish(process)[0], 0)

    def test_a_full_disk_and_retry(self):
        self.office(3000)
        size = os.path.getsize(self.database)
        twin = self.path('twin')
        shutil.copytree(self.target, twin)
        self.succeed('convert', '--source', self.source, '--target', twin, '--yes', '--duplicates', 'source')
        undisturbed = self.dump(os.path.join(twin, 'FOLVANE.MDB'))
        self.assertEqual(len(undisturbed), 3000)
        process = self.limited(size + 100000)
        text = self.wait_for_text(process, 'Abort, retry or ignore?')
        self.assertIn('Disk full: could not write', text)
        self.assertIn('Error # 61 in module ', text)
        resource.prlimit(process.pid, resource.RLIMIT_FSIZE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))
        code, result, _ = self.finish(process, 'r\n')
        self.assertEqual((code, result['records']), (0, 3000))
        self.assert_left_alone()
        self.assertTrue(self.dump() == undisturbed)

    def test_what_a_full_disk_left_is_restored_and_told(self):
        self.office(3000)
        rows = self.dump()
        code, result, err = self.finish(self.limited(os.path.getsize(self.database) + 100000), 'a\na\n')
        self.assertEqual((code, result['error']['number']), (1, 61), err)
        for command in (['dump', self.database, 'COMPS'], ['check', self.database], ['inspect', self.database],
                        ['preview', *self.directories]):
            done = run(*command)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(done.stderr.count('FOLVANE.MDB was left in the middle of a change at '), 1, command)
            self.assertIn('this shows its last checkpoint', done.stderr, command)
        self.assertTrue(self.dump() == rows)
        done = run('convert', *self.directories, '--yes', '--duplicates', 'target')
        self.assertEqual(done.returncode, 0)
        self.assertIn('it has been restored to its last checkpoint', done.stderr)
        self.assert_left_alone()


if __name__ == '__main__':
    unittest.main()
