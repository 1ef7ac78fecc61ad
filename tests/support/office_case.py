"""What the tests of whole programs share: the command-line program, and an office in a directory that goes away.

The path of corvix-cli is the first argument of the test's command line.
"""
import json
import os
import resource
import shutil
import subprocess
import sys
import tempfile
import unittest

CLI = os.path.abspath(sys.argv.pop(1))
CHECKOUT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SHARED = os.environ.get('CORVIX_SHARED', os.path.join(os.path.dirname(CHECKOUT), 'shared'))


def run(*arguments, text_in='', **options):
    return subprocess.run([CLI, *arguments], input=text_in, capture_output=True, text=True, timeout=240, **options)


def lines(text):
    return [json.loads(line) for line in text.splitlines()]


def read_file(path):
    with open(path, 'rb') as file:
        return file.read()


def write_file(path, content):
    with open(path, 'wb') as file:
        file.write(content)


def small_files(limit):
    """Options of a program that cannot write files beyond this size."""
    return {'preexec_fn': lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, resource.RLIM_INFINITY))}


class OfficeCase(unittest.TestCase):
    """Source tables and target stand in directories `old` and `new`."""

    def setUp(self):
        self.directory = tempfile.mkdtemp(prefix='corvix-')
        self.addCleanup(shutil.rmtree, self.directory)
        self.source, self.target = self.path('old'), self.path('new')
        os.mkdir(self.target)
        self.database = os.path.join(self.target, 'FOLVANE.MDB')
        self.directories = ['--source', self.source, '--target', self.target]

    def path(self, name):
        return os.path.join(self.directory, name)

    def succeed(self, *arguments, **options):
        done = run(*arguments, **options)
        self.assertEqual(done.returncode, 0, (arguments, done.stdout[-2000:], done.stderr[-2000:]))
        return done.stdout

    def office(self, records=300, duplicates=40):
        self.succeed('sample', self.source, '--records', str(records), '--duplicates', str(duplicates))
        os.rename(os.path.join(self.source, 'FOLVANE.MDB'), self.database)

    def dump(self, path=None, table='COMPS'):
        return lines(self.succeed('dump', path or self.database, table))

    def assert_sound(self):
        self.succeed('check', self.source, self.target)
